// Streamlines through a field of vectors that are constant in each pixel, walked from pixel to pixel.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

#include "modules/zam/flow/lic_kernel.h"
#include "modules/zam/flow/lic_walk.h"

namespace zam::lic {

struct Vector {
    float x, y;
};

/// Nodes of `veclen` floats each, whatever the bytes are. What lies beyond them is 0.
class NodeFloats {
public:
    NodeFloats(std::span<const std::byte> bytes, int veclen)
        : bytes_(bytes), veclen_(veclen), whole_(static_cast<std::int64_t>(bytes.size() / sizeof(float)) / veclen) {}

    float at(std::int64_t node, int comp) const { return node < whole_ ? read(node, comp) : read_end(node, comp); }

private:
    float read(std::int64_t node, int comp) const {
        float value;
        std::memcpy(&value, bytes_.data() + 4 * (node * veclen_ + comp), sizeof value);
        return value;
    }
    float read_end(std::int64_t node, int comp) const;

    std::span<const std::byte> bytes_;
    std::int64_t veclen_;
    std::int64_t whole_;  // nodes that have all their bytes
};

/// Two components of a field as the vectors of a plane.
class VectorValues {
public:
    VectorValues(const NodeFloats& floats, int x, int y) : floats_(floats), x_(x), y_(y) {}

    /// A vector that is not finite counts as zero.
    Vector at(std::int64_t node) const {
        const Vector v{floats_.at(node, x_), floats_.at(node, y_)};
        return std::isfinite(v.x) && std::isfinite(v.y) ? v : Vector{0, 0};
    }

private:
    NodeFloats floats_;
    int x_, y_;
};

/// What a walk needs to know of each pixel, within a frame of pixels without a vector, where walks that leave end.
class Flow {
public:
    /// @param noise  width * height grey levels, 0 or 255
    /// @throws std::bad_alloc
    Flow(const VectorValues& vectors, std::span<const std::uint8_t> noise, int width, int height);

    /// Memory that the walks over an image need: the number of pixels, frame included, and the bytes per pixel.
    static std::int64_t pixels(int width, int height) { return (std::int64_t{width} + 2) * (std::int64_t{height} + 2); }
    static constexpr std::size_t kPixelBytes = sizeof(Pixel);

    Pixels pixels() const { return {pixels_.get(), stride_}; }

private:
    std::size_t stride_;
    std::unique_ptr<Pixel[]> pixels_;  // NOLINT(modernize-avoid-c-arrays): a vector would fill it
};

/// The pixel from whose centre a streamline is followed.
struct Start {
    int column, row;
    int steps;  // at most, in each direction; at least one is taken
};

/// What a streamline met: noise times weight, and weights.
struct Tally {
    double noise = 0;
    double weight = 0;
};

/// Follows the streamline of each start, first with the vectors, then against them. It ends after its steps, where it
/// would turn back, at a vector of length 0 and at the border; unless it goes round, also at the kernel's last weight.
/// @param starts   at most kTogether, in pixels of the flow
/// @param tallies  one per start
void follow(const Flow& flow, std::span<const Start> starts, const Kernel& kernel, std::span<Tally> tallies);

}  // namespace zam::lic
