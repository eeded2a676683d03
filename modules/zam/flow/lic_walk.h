// Steps of streamlines from pixel to pixel, side by side in lanes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zam::lic {

/// Bits of a word that tells how a streamline came into a pixel: over which grid line, none at its start. No bit is
/// set once it has halted. A word of a vector tells over which lines it leads, and whether its pixel is white.
constexpr std::uint64_t kLower = 1, kUpper = 2, kRight = 4, kLeft = 8, kGoing = 16, kWhite = 32;

/// What walks need to know of a pixel.
struct Pixel {
    double slope_x;  // vx / vy; 0 for a division by 0: the crossing is then level with the position
    double words;    // not a number: the bits of the vector's word, and above these the opposite one's
    double slope_y;  // vy / vx
};
constexpr int kWordBits = 8;

/// Makes pixels of their vectors, one per vector; white where the noise is not 0.
void make_pixels(std::span<const double> vx, std::span<const double> vy, std::span<const std::uint8_t> noise,
                 Pixel* pixels);

/// Rows of pixels, one after another, within a frame of pixels without a vector, where walks that leave end.
struct Pixels {
    const Pixel* first;  // of the frame's lower row, the left one
    std::size_t stride;  // from row to row

    /// Where the pixel of a column and row lies, in bytes.
    std::uint64_t offset(std::int64_t column, std::int64_t row) const {
        return sizeof(Pixel) * (static_cast<std::size_t>(row + 1) * stride + static_cast<std::size_t>(column + 1));
    }
};

/// Streamlines walked in step: one alone would wait for its own arithmetic at every pixel. A multiple of all widths.
constexpr std::size_t kTogether = 32;

/// Where they stand, how far they go, and what they met: noise times weight, and weights.
struct Walks {
    alignas(64) std::uint64_t offset[kTogether];  // of their pixels
    alignas(64) double x[kTogether];
    alignas(64) double y[kTogether];
    alignas(64) double noise[kTogether];
    alignas(64) double weight[kTogether];
    alignas(64) std::uint64_t code[kTogether];  // how they came there
    alignas(64) double end[kTogether];          // steps after which they halt
};

/// Walks a step per weight, or until all have halted. One that has halted stands still and counts nothing.
/// @param way    0: with the vectors, 1: against them
/// @param taken  steps that have been taken
/// @return whether any goes on
bool take_steps(const Pixels& pixels, int way, std::span<const double> weights, std::int64_t taken, Walks& walks);

/// A step of one streamline.
struct Step {
    double dx, dy;       // 0 where it halts
    std::uint64_t code;  // with which it comes into the next pixel
};
/// Follows a vector, even one of length 0.
Step leave_pixel(double x, double y, double vx, double vy, std::uint64_t code);

}  // namespace zam::lic
