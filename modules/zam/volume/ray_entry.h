// Rays, and where a ray enters a grid: one ray at a time. From there on ray_march.cpp walks rays side by side.
//
// Everything is in index space: a ray is start + t * direction with a direction of unit length, so t measures voxels.
// The walk goes from crossing to crossing, which gives the exact length of the ray in every cell.
// Source: Amanatides & Woo, "A Fast Voxel Traversal Algorithm for Ray Tracing", Eurographics 1987.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "modules/zam/tracer.h"

namespace zam::tracer {

using Ray = TracerRay;

/// Voxels fill the box [0, n]; the cells between the nodes fill [0, n - 1]. A ray names the cell between two nodes by
/// the node that it comes from, so going down that is the upper one.
enum class Cells { voxels, between_nodes };

struct Grid {
    int nodes[3];

    /// Distance of neighbours along an axis, in nodes.
    std::int64_t stride(int axis) const {
        const std::int64_t row = nodes[0];
        return axis == 0 ? 1 : axis == 1 ? row : row * nodes[1];
    }
    std::int64_t node_count() const { return stride(2) * nodes[2]; }

    /// Whether there are nodes, and their bytes (up to four each) can be counted.
    bool is_countable() const {
        return *std::min_element(nodes, nodes + 3) >= 1 &&
               stride(2) <= std::numeric_limits<std::int64_t>::max() / 4 / nodes[2];
    }
};

/// A ray's walk along one axis at the moment of entry.
struct AxisWalk {
    float last;               // parameter of the crossing before the entry; the entry itself on the entry axis
    float next;               // of the first crossing after it
    float increment;          // from crossing to crossing
    float speed;              // |direction|
    std::int32_t steps_left;  // steps that stay within the grid
    std::int64_t stride;      // of a step, in nodes; 0 along an axis that the ray does not move along
    std::int32_t cell;        // index of the first cell
    std::int32_t step;        // of that index: 1, -1 or 0
};

struct GridEntry {
    AxisWalk axis[3];
    int face_axis;      // the face that the ray enters by is perpendicular to this axis
    float t;            // parameter at the entry
    std::int64_t node;  // the node that names the first cell
};

namespace detail {

constexpr double kLeastLength = 5e-5;  // rays that spend less in the box only graze it, and miss
constexpr float kAlwaysInside = 1e9F;  // along an axis with direction 0 the box reaches from -1e9 to 1e9

/// Where a ray meets the two planes that bound the box on one axis.
struct Slab {
    float entry, exit, increment;
    int step;   // 1, -1 or 0
    int first;  // index of the cell at the entry plane; of the ray's own cell if step is 0
    int count;  // cells from there to the exit plane
};

inline std::optional<Slab> meet_slab(float start, float direction, float reciprocal, int nodes, Cells cells) {
    const int count = cells == Cells::voxels ? nodes : nodes - 1;
    const auto top = static_cast<float>(count);
    if (direction == 0) {
        const bool inside = start >= 0 && (cells == Cells::voxels ? start < top : start <= top);
        if (!inside) return std::nullopt;
        // beyond 2^24 `top` may be the float above the count
        const auto index = static_cast<int>(std::min(static_cast<std::int64_t>(start), std::int64_t{nodes} - 1));
        return Slab{-kAlwaysInside, kAlwaysInside, 0, 0, index, 1};
    }
    if (direction > 0) return Slab{(0 - start) * reciprocal, (top - start) * reciprocal, reciprocal, 1, 0, count};
    return Slab{(top - start) * reciprocal, (0 - start) * reciprocal, -reciprocal, -1, nodes - 1, count};
}

/// Goes forward along one axis to the cell where the ray is at `t`.
/// @return the number of cells passed
inline int pass_cells(AxisWalk& walk, const Slab& slab, float t) {
    // rounding may count one cell too many: the ray then enters by the last one, and leaves it at once
    const int most = slab.count - 1;
    const float crossed = (t - slab.entry) / slab.increment;
    const int passed = crossed < static_cast<float>(most) ? std::max(static_cast<int>(crossed), 0) : most;
    walk.last = slab.entry + static_cast<float>(passed) * slab.increment;
    return passed;
}

}  // namespace detail

/// Where a ray enters the grid.
/// @return `nullopt` for a ray that misses the box or only grazes it, that does not move, or that is not finite
inline std::optional<GridEntry> enter_grid(const Ray& ray, const Grid& grid, Cells cells) {
    detail::Slab slab[3];
    float sum = 0;  // stays 0 as long as everything is finite
    for (int a = 0; a < 3; ++a) {
        const auto met = detail::meet_slab(ray.start[a], ray.direction[a], ray.reciprocal[a], grid.nodes[a], cells);
        if (!met) return std::nullopt;
        slab[a] = *met;
        sum += (slab[a].entry - slab[a].entry) + (slab[a].exit - slab[a].exit);
    }
    const bool moves = (slab[0].step | slab[1].step | slab[2].step) != 0;
    if (sum != 0 || std::isnan(sum) || !moves) return std::nullopt;

    GridEntry entry{};
    const bool by_x = slab[0].entry > slab[1].entry && slab[0].entry > slab[2].entry;
    entry.face_axis = by_x ? 0 : slab[1].entry > slab[2].entry ? 1 : 2;
    entry.t = slab[entry.face_axis].entry;
    if (entry.t + detail::kLeastLength > std::min({slab[0].exit, slab[1].exit, slab[2].exit})) return std::nullopt;

    for (int a = 0; a < 3; ++a) {
        AxisWalk& walk = entry.axis[a];
        walk.last = slab[a].entry;
        const int passed = slab[a].step == 0 || a == entry.face_axis ? 0 : detail::pass_cells(walk, slab[a], entry.t);
        walk.increment = slab[a].increment;
        // an axis without movement never has the next crossing
        walk.next = slab[a].step == 0 ? std::numeric_limits<float>::infinity() : walk.last + walk.increment;
        walk.speed = std::fabs(ray.direction[a]);
        walk.steps_left = slab[a].count - 1 - passed;
        walk.stride = slab[a].step * grid.stride(a);
        walk.step = slab[a].step;
        walk.cell = slab[a].first + passed * slab[a].step;
        entry.node += walk.cell * grid.stride(a);
    }
    return entry;
}

}  // namespace zam::tracer
