// The two marchers: from voxel to voxel, and from cell face to cell face. Each exists once, for every layout of the
// volume. A ray on its own takes ray_lone.h.
//
// Rays are any source with `bool next(Ray& ray, std::uint8_t*& pixel)`, which keeps returning false at its end. A lane
// whose ray has ended takes the next one, so that no lane waits for the others; one for which there is no other ray is
// parked.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "modules/zam/volume/ray_entry.h"
#include "modules/zam/volume/ray_lanes.h"
#include "modules/zam/volume/ray_voxels.h"

namespace zam::tracer {

/// Writes the four bytes of a pixel: clamped, then truncated. What is not a number becomes 0.
inline void write_pixel(std::uint8_t* pixel, Color color) {
    const auto clamped = [](float value, float top) { return value > 0 ? std::min(value, top) : 0.0F; };
    pixel[0] = static_cast<std::uint8_t>(static_cast<double>(clamped(color[0], 1)) * 255.0);
    for (int i = 1; i < 4; ++i) pixel[i] = static_cast<std::uint8_t>(clamped(color[i], 255));
}

/// Not 0 if one of four nodes is visible. Spelled out: a loop over lanes goes through memory.
template <class Voxels, class Nodes>
__attribute__((always_inline)) inline unsigned any_visible(const Voxels& voxels, const Nodes& node) {
    const auto visible = [&](auto one) { return voxels.visible(static_cast<std::size_t>(one)); };
    return visible(node[0]) | visible(node[1]) | visible(node[2]) | visible(node[3]);
}

/// Four rays that collect the values of voxels, constant inside each, times the exact length of the ray in it.
template <class Node, class Voxels>
class CellRays {
public:
    static constexpr Cells kCells = Cells::voxels;

    void start(int lane, const GridEntry& entry) {
        walk_.start(lane, entry);
        opacity_[lane] = 0;
        colors_.clear(lane);
    }

    /// Moves on to the next voxels.
    /// @return not 0 if the voxels just left have to be added
    unsigned advance(const Voxels& voxels) {
        node_ = walk_.node;
        const unsigned visible = any_visible(voxels, node_);
        const Floats entered = walk_.t;
        walk_.advance();
        length_ = walk_.t - entered;
        return visible;
    }

    /// Adds the voxels just left.
    /// @return negative in the lanes whose rays are saturated
    Mask add(const Voxels& voxels, double scale) {
        const auto opacity = [&](int i) { return voxels.opacity(static_cast<std::size_t>(node_[i])); };
        const auto length = widen(length_);
        const Floats added = narrow(
            {length.low * scale * gather<DoublePair>(opacity), length.high * scale * gather<DoublePair, 2>(opacity)});
        const Mask adds = added > 0;
        const Mask saturates = adds & (opacity_ + added >= 1);
        // deliberate: colours add up without (1 - opacity so far); only the saturating step uses what is left of it
        const Floats weight = select(saturates, 1 - opacity_, keep(adds, added));
        colors_.add(voxels, node_, weight);
        opacity_ = select(saturates, broadcast<Floats>(1), opacity_ + weight);
        return saturates;
    }

    /// Negative in the lanes whose rays have left the volume.
    Ints left() const { return walk_.left(); }

    Color color(int lane) const {
        Color color = colors_.color(lane);
        color[0] = opacity_[lane];
        return color;
    }

private:
    WalkQuad<Node> walk_;
    typename WalkQuad<Node>::Nodes node_;  // of the voxels just left
    Floats length_;                        // of the way through them
    Floats opacity_;
    typename Voxels::Sum colors_;
};

/// Four rays that collect values interpolated on cell faces, by the trapezoid rule between faces.
template <class Node, class Voxels>
class FaceRays {
public:
    static constexpr Cells kCells = Cells::between_nodes;

    void start(int lane, const GridEntry& entry) {
        walk_.start(lane, entry);
        for (Floats& channel : sum_.channel) channel[lane] = 0;
        walk_.get_face(face_[now_]);
        visible_ = 1;
        added_ = false;
    }

    /// Moves on to the next faces.
    /// @return not 0 if the segments just passed have to be added, that is, if any node of the faces at their ends is
    /// visible
    unsigned advance(const Voxels& voxels) {
        const unsigned was_visible = visible_;
        const Floats entered = walk_.t;
        now_ = 1 - now_;
        walk_.advance();
        walk_.get_face(face_[now_]);
        length_ = walk_.t - entered;
        const auto& node = face_[now_].node;
        visible_ = any_visible(voxels, node[0]) | any_visible(voxels, node[1]) | any_visible(voxels, node[2]) |
                   any_visible(voxels, node[3]);
        sampled_ = std::exchange(added_, false);
        return visible_ | was_visible;
    }

    /// Adds the segments just passed.
    /// @return negative in the lanes whose rays are opaque
    Mask add(const Voxels& voxels, double scale) {
        const ColorQuad previous = sampled_ ? sample_ : sample(voxels, face_[1 - now_]);
        sample_ = sample(voxels, face_[now_]);
        added_ = true;
        Floats& opacity = sum_.channel[0];
        Floats added = (previous.channel[0] + sample_.channel[0]) * (length_ * 0.5F);
        // deliberate: limited before it is scaled, so that a scale above 1 can lead past 1
        added = select(opacity + added > 1, 1 - opacity, added);
        const auto wide = widen(added);
        const Floats scaled = narrow({wide.low * scale, wide.high * scale});
        for (std::size_t c = 1; c < 4; ++c)
            sum_.channel[c] += (previous.channel[c] + sample_.channel[c]) * scaled * 0.5F;
        opacity += scaled;
        return opacity >= 1;
    }

    /// Negative in the lanes whose rays have left the volume.
    Ints left() const { return walk_.left(); }

    Color color(int lane) const { return sum_.color(lane); }

private:
    /// Bilinear interpolation on the four faces.
    __attribute__((always_inline)) static ColorQuad sample(const Voxels& voxels, const FaceQuad<Node>& face) {
        const auto at = [&]<int kLane>(std::integral_constant<int, kLane>) {
            const auto term = [&](int n) {
                return broadcast<kLane>(face.weight[n]) * voxels.color(static_cast<std::size_t>(face.node[n][kLane]));
            };
            return term(0) + term(1) + term(2) + term(3);
        };
        return {transpose(at(std::integral_constant<int, 0>{}), at(std::integral_constant<int, 1>{}),
                          at(std::integral_constant<int, 2>{}), at(std::integral_constant<int, 3>{}))};
    }

    FaceWalkQuad<Node> walk_;
    FaceQuad<Node> face_[2];  // just crossed, and before that
    int now_ = 0;             // index of the one just crossed
    unsigned visible_ = 0;    // not 0 if a node of the faces just crossed is visible
    Floats length_;           // of the segments between the two
    ColorQuad sum_;
    ColorQuad sample_;      // at the faces that were added last:
    bool sampled_ = false;  // whether these are the faces before
    bool added_ = false;    // or the faces just crossed
};

/// The rays under way, kQuads times four, with their pixels.
template <class RayQuad, class Rays>
class RayBatch {
public:
    RayBatch(Rays& rays, const Grid& grid) : rays_(rays), grid_(grid) {
        for (int lane = 0; lane < kLanes; ++lane) take_next_ray(lane);
    }

    bool is_active() const { return active_ > 0; }
    RayQuad& quad(int i) { return quads_[i]; }

    /// Writes the pixels of rays that have ended, and starts others in their lanes.
    void end_rays(int quad, Ints ended) {
        for (int i = 0; i < kQuadLanes; ++i) {
            const int lane = quad * kQuadLanes + i;
            if (ended[i] >= 0 || !pixels_[lane]) continue;
            write_pixel(pixels_[lane], quads_[quad].color(i));
            --active_;
            take_next_ray(lane);
        }
    }

private:
    void take_next_ray(int lane) {
        RayQuad& quad = quads_[lane / kQuadLanes];
        for (Ray ray; rays_.next(ray, pixels_[lane]);) {
            if (const auto entry = enter_grid(ray, grid_, RayQuad::kCells)) {
                quad.start(lane % kQuadLanes, *entry);
                ++active_;
                return;
            }
            write_pixel(pixels_[lane], Color{});
        }
        // parked: steps in place, at node 0, until the others are done
        pixels_[lane] = nullptr;
        GridEntry nowhere{};
        for (AxisWalk& axis : nowhere.axis) axis.steps_left = std::numeric_limits<std::int32_t>::max();
        quad.start(lane % kQuadLanes, nowhere);
    }

    Rays& rays_;
    Grid grid_;
    int active_ = 0;
    RayQuad quads_[kQuads] = {};
    std::uint8_t* pixels_[kLanes] = {};  // null in parked lanes
};

/// Marches rays to their ends and writes their pixels.
template <class RayQuad, class Rays, class Voxels>
void march(Rays& rays, const Grid& grid, const Voxels& voxels, double opacity_scale) {
    RayBatch<RayQuad, Rays> batch(rays, grid);
    // what has no opacity adds nothing, unless the scale turns it into a NaN
    const unsigned always = std::isfinite(opacity_scale) ? 0 : 1;
    while (batch.is_active()) {
        unsigned adds[kQuads];
        Ints ended[kQuads], any = {};
        for (int q = 0; q < kQuads; ++q) {
            adds[q] = batch.quad(q).advance(voxels) | always;
            any |= ended[q] = batch.quad(q).left();
        }
        for (int q = 0; q < kQuads; ++q)
            if (adds[q] != 0) any |= ended[q] |= batch.quad(q).add(voxels, opacity_scale);
        if (!any_negative(any)) continue;
        for (int q = 0; q < kQuads; ++q) batch.end_rays(q, ended[q]);
    }
}

template <class Node, class Voxels, class Rays>
void march_cells(Rays& rays, const Grid& grid, const Voxels& voxels, double opacity_scale) {
    march<CellRays<Node, Voxels>>(rays, grid, voxels, opacity_scale);
}

template <class Node, class Voxels, class Rays>
void march_faces(Rays& rays, const Grid& grid, const Voxels& voxels, double opacity_scale) {
    march<FaceRays<Node, Voxels>>(rays, grid, voxels, opacity_scale);
}

}  // namespace zam::tracer
