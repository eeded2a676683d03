// The pixels of a convolved image.
#pragma once

#include <cstdint>
#include <span>

#include "modules/zam/flow/lic_flow.h"
#include "modules/zam/flow/lic_kernel.h"

namespace zam::lic {

struct Range {
    float min, max;
};

/// How a pixel's streamline becomes its colour.
struct Shading {
    int half_length;           // steps in each direction, at least 5 where the length varies
    bool by_kernel;            // divide by the whole kernel instead of what the streamline met of it
    bool magnitude_to_length;  // the greater the magnitude, the longer the streamline
    bool magnitude_to_color;   // bluish where it is small, reddish where it is great
};

/// No streamline is followed for more steps than this, however long the kernel, but for one that comes round exactly to
/// where it was: under a kernel of equal weights all its rounds count. A straight one always reaches the border.
int longest_walk(int width, int height);

/// Lengths of vectors, and their least and greatest.
Range measure(const VectorValues& vectors, std::span<float> magnitudes);

/// 255 where a random number exceeds `rate`, else 0. The same numbers every time.
void fill_noise(double rate, std::span<std::uint8_t> noise);

/// Vectors of three values, one after another: of unit length (zero stays zero), minus the unit vector of an axis.
/// @param bytes  floats, 0 beyond the end
/// @param axis   0, 1 or 2; any other number takes nothing away
void subtract_axis(std::span<const std::byte> bytes, int axis, std::span<float> vectors);

/// Draws image rows of a flow.
class RowPainter {
public:
    /// @param magnitudes  of all pixels
    RowPainter(const Flow& flow, int width, std::span<const float> magnitudes, Range range, const Kernel& kernel,
               const Shading& shading);

    /// @param pixels  width * 4 bytes: opacity, red, green, blue
    void paint(int row, std::span<std::uint8_t> pixels) const;

private:
    int steps_of(float magnitude) const;
    void color(float magnitude, const Tally& tally, std::uint8_t* pixel) const;

    const Flow& flow_;
    int width_;
    std::span<const float> magnitudes_;
    Range range_;
    const Kernel& kernel_;
    Shading shading_;
};

}  // namespace zam::lic
