// A ray on its own, for callers that pick or probe: the same walks and sums as in lanes/, one lane wide and without
// tables of its own, so that a short ray costs little more than its way through the grid.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "modules/zam/volume/ray_entry.h"
#include "modules/zam/volume/tracer_tables.h"

namespace zam::tracer {

/// Opacity (0 to 1), red, green, blue (0 to 255).
using Color = std::array<float, 4>;

/// Four bytes per node: opacity, red, green, blue.
class RgbaVoxels {
public:
    explicit RgbaVoxels(const std::uint8_t* bytes) : bytes_(bytes) {}

    bool visible(std::size_t node) const { return bytes_[4 * node] != 0; }
    double opacity(std::size_t node) const { return bytes_[4 * node] / 255.0; }
    Color color(std::size_t node) const {
        const std::uint8_t* const from = bytes_ + 4 * node;
        return {static_cast<float>(opacity(node)), static_cast<float>(from[1]), static_cast<float>(from[2]),
                static_cast<float>(from[3])};
    }
    /// Adds a node's weighted colour (not its opacity) to a sum.
    void add(std::size_t node, float weight, Color& sum) const {
        for (std::size_t c = 1; c < 4; ++c) sum[c] += static_cast<float>(bytes_[4 * node + c]) * weight;
    }

private:
    const std::uint8_t* bytes_;
};

/// One byte per node, looked up in the caller's colour table.
class LookedUpVoxels {
public:
    /// @param table  as for classify()
    LookedUpVoxels(const std::uint8_t* bytes, const TracerColor* table) : bytes_(bytes), table_(table) {}

    bool visible(std::size_t node) const { return opacity(node) != 0; }
    double opacity(std::size_t node) const {
        const std::uint8_t value = bytes_[node];
        return static_cast<double>(table_ ? table_[value].opacity : get_alpha(value, nullptr));
    }
    Color color(std::size_t node) const {
        const TracerColor entry = classify(bytes_[node], table_);
        return Color{entry.opacity, entry.red, entry.green, entry.blue};
    }
    /// Adds a node's weighted colour (not its opacity) to a sum.
    void add(std::size_t node, float weight, Color& sum) const {
        float rgb[3] = {sum[1], sum[2], sum[3]};
        get_rgb(bytes_[node], table_, static_cast<double>(weight), &rgb[0], &rgb[1], &rgb[2]);
        sum = Color{sum[0], rgb[0], rgb[1], rgb[2]};
    }

private:
    const std::uint8_t* bytes_;
    const TracerColor* table_;
};

namespace detail {

/// Steps into the next cell. Of equal crossings x comes before z, y before x and before z.
/// @return whether the ray is still within the grid
inline bool advance(GridEntry& walk) {
    auto& [x, y, z] = walk.axis;
    const auto cross = [&walk](AxisWalk& crossed, int axis) {
        walk.face_axis = axis;
        walk.t = crossed.last = crossed.next;
        crossed.next += crossed.increment;
        --crossed.steps_left;
        walk.node += crossed.stride;
    };
    const bool x_before_y = y.next > x.next;
    if ((x_before_y ? x : y).next > z.next)
        cross(z, 2);
    else if (x_before_y)
        cross(x, 0);
    else
        cross(y, 1);
    return (x.steps_left | y.steps_left | z.steps_left) >= 0;
}

/// The nodes of the face just crossed with their weights, as in lanes/faces.h.
struct Face {
    std::size_t node[4];
    float weight[4];

    explicit Face(const GridEntry& walk) {
        const AxisWalk& first = walk.axis[walk.face_axis == 0 ? 1 : 0];
        const AxisWalk& second = walk.axis[walk.face_axis == 2 ? 1 : 2];
        node[0] = static_cast<std::size_t>(walk.node);
        node[1] = static_cast<std::size_t>(walk.node + first.stride);
        node[2] = static_cast<std::size_t>(walk.node + second.stride);
        node[3] = static_cast<std::size_t>(walk.node + first.stride + second.stride);
        const float a = (walk.t - first.last) * first.speed;
        const float b = (walk.t - second.last) * second.speed;
        weight[0] = (1 - a) * (1 - b);
        weight[1] = a * (1 - b);
        weight[2] = (1 - a) * b;
        weight[3] = a * b;
    }

    template <class Voxels>
    bool visible(const Voxels& voxels) const {
        bool any = false;
        for (const std::size_t n : node) any |= voxels.visible(n) != 0;
        return any;
    }
    template <class Voxels>
    Color sample(const Voxels& voxels) const {
        Color sum = voxels.color(node[0]);
        for (float& channel : sum) channel *= weight[0];
        for (int i = 1; i < 4; ++i) {
            const Color color = voxels.color(node[i]);
            for (std::size_t c = 0; c < 4; ++c) sum[c] += weight[i] * color[c];
        }
        return sum;
    }
};

}  // namespace detail

/// As in lanes/cell_rays.h.
template <class Voxels>
Color march_lone_cells(GridEntry walk, const Voxels& voxels, double scale) {
    const bool always = !std::isfinite(scale);
    Color sum{};
    for (bool inside = true; inside;) {
        const auto node = static_cast<std::size_t>(walk.node);
        const float entered = walk.t;
        inside = detail::advance(walk);
        const double voxel = voxels.opacity(node);
        if (voxel == 0 && !always) continue;
        const float opacity = sum[0];
        const auto added = static_cast<float>(static_cast<double>(walk.t - entered) * scale * voxel);
        if (!(added > 0)) continue;
        const bool saturates = opacity + added >= 1;
        const float weight = saturates ? 1 - opacity : added;
        voxels.add(node, weight, sum);
        sum[0] = saturates ? 1 : opacity + weight;
        if (saturates) break;
    }
    return sum;
}

/// As in lanes/face_rays.h.
template <class Voxels>
Color march_lone_faces(GridEntry walk, const Voxels& voxels, double scale) {
    const bool always = !std::isfinite(scale);
    Color sum{}, sample{};
    bool sampled = false;  // whether `sample` is of the face before
    detail::Face face(walk);
    bool visible = face.visible(voxels);
    for (bool inside = true; inside && !(sum[0] >= 1);) {
        const detail::Face before = face;
        const bool was_visible = visible;
        const float entered = walk.t;
        inside = detail::advance(walk);
        face = detail::Face(walk);
        visible = face.visible(voxels);
        if (!was_visible && !visible && !always) {
            sampled = false;
            continue;
        }
        const Color previous = sampled ? sample : before.sample(voxels);
        sample = face.sample(voxels);
        sampled = true;
        const float opacity = sum[0];
        const float limited = (previous[0] + sample[0]) * ((walk.t - entered) * 0.5F);
        const float added = opacity + limited > 1 ? 1 - opacity : limited;
        const auto scaled = static_cast<float>(static_cast<double>(added) * scale);
        for (std::size_t c = 1; c < 4; ++c) sum[c] += (previous[c] + sample[c]) * scaled * 0.5F;
        sum[0] = opacity + scaled;
    }
    return sum;
}

}  // namespace zam::tracer
