// Rays that are marched together, and the volume as the marchers read it.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "modules/zam/volume/ray_blocks.h"
#include "modules/zam/volume/ray_entry.h"
#include "modules/zam/volume/tracer_tables.h"

namespace zam::tracer {

/// A volume of one byte per node, classified by a table, or of four: opacity, red, green, blue.
struct Volume {
    const std::uint8_t* bytes;
    int veclen;
    double opacity_scale;
    alignas(16) float colors[kTableSize][4];  // by the byte: opacity (0 to 1), red, green, blue (0 to 255)
    std::uint8_t visible[kTableSize];         // by the opacity's byte, or the only one: 1 if not transparent
    bool is_finite;                           // what is invisible adds nothing, also between faces
    const Blocks* blocks = nullptr;

    /// @param table  as for classify()
    Volume(const std::uint8_t* nodes, int bytes_per_node, const TracerColor* table, double scale)
        : bytes(nodes), veclen(bytes_per_node), opacity_scale(scale), is_finite(std::isfinite(scale)) {
        for (std::size_t i = 0; i < kTableSize; ++i) {
            const auto level = static_cast<std::uint8_t>(i);
            const auto [opacity, red, green, blue] =
                veclen == 4 ? TracerColor{static_cast<float>(level), 0, 0, 0} : classify(level, table);
            const float color[4] = {opacity, red, green, blue};
            std::copy_n(color, 4, colors[i]);
            visible[i] = opacity != 0 ? 1 : 0;
            for (const float channel : color) is_finite &= std::isfinite(channel);
        }
    }
};

/// Up to 32 rays on their way through a grid, an array of lanes for each of their properties.
/// Node is the type of node numbers. 32 bits serve up to 2^32 nodes: they are added modulo 2^32.
template <class Node>
struct Packet {
    static constexpr int kRays = 32;

    alignas(64) float t[kRays];               // parameter at the entry
    alignas(64) float next[3][kRays];         // of the first crossing on each axis after it
    alignas(64) float last[3][kRays];         // and before it
    alignas(64) float increment[3][kRays];    // from crossing to crossing
    alignas(64) float speed[3][kRays];        // |direction|
    alignas(64) std::int32_t left[3][kRays];  // steps that stay within the grid; negative once the ray has left it
    alignas(64) std::int32_t flip[3][kRays];  // the cell's index is (left ^ flip) + origin
    alignas(64) std::int32_t origin[3][kRays];
    alignas(64) std::int32_t face_axis[kRays];  // the face that the ray enters by is perpendicular to this axis
    alignas(64) Node node[kRays];               // the cell's node is node - the sum of left * stride
    alignas(64) Node stride[3][kRays];          // of a step along each axis, in nodes
    alignas(64) float color[4][kRays];          // what the ray has collected in the end

    void start(int lane, const GridEntry& entry) {
        t[lane] = entry.t;
        face_axis[lane] = entry.face_axis;
        std::int64_t end = entry.node;
        for (int a = 0; a < 3; ++a) {
            const AxisWalk& walk = entry.axis[a];
            next[a][lane] = walk.next;
            last[a][lane] = walk.last;
            increment[a][lane] = walk.increment;
            speed[a][lane] = walk.speed;
            left[a][lane] = walk.steps_left;
            flip[a][lane] = walk.step > 0 ? -1 : 0;
            origin[a][lane] = walk.cell - (walk.steps_left ^ flip[a][lane]);
            stride[a][lane] = static_cast<Node>(walk.stride);
            end += walk.steps_left * walk.stride;
        }
        node[lane] = static_cast<Node>(end);
    }

    /// Puts no ray in a lane: it has left the grid.
    void leave_out(int lane) {
        left[0][lane] = -1;
        node[lane] = 0;
        for (auto& along : stride) along[lane] = 0;
    }
};

}  // namespace zam::tracer
