// Merging of images by depth, a run of pixels at a time.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace zam {

/// Depths up to this mark empty pixels. It is the largest float up to 1e-6, so comparing with it in single precision is
/// comparing with 1e-6.
constexpr float kEmptyDepth = 1e-6F;

using Background = std::array<std::uint8_t, 3>;  // red, green, blue

/// A run of pixels of a merged image.
struct MergedPixels {
    std::span<std::uint8_t> colors;  // pixels x 4: 0, red, green, blue
    std::span<float> depths;         // pixels; what a capture has to exceed, at least kEmptyDepth
};

/// The same run of a capture.
struct CapturedPixels {
    std::span<const std::uint8_t> colors;  // pixels x 4: opacity, red, green, blue
    std::span<const float> depths;         // pixels; larger is nearer
};

/// Colours from the first three of `values`, each 0 to 1: times 255 and truncated. Values beyond that range become its
/// nearest end; missing ones and NaNs become 0.
Background background_bytes(std::span<const float> values);

/// Covers the pixels with the background, as empty ones.
void clear_pixels(MergedPixels merged, Background background);

/// Whether any captured depth is strictly greater.
/// @pre  both runs have the same length
bool any_nearer(std::span<const float> merged, std::span<const float> captured);

/// Takes red, green, blue and depth of every captured pixel whose depth is strictly greater. The opacity byte stays.
/// NaNs are never greater.
/// @pre  both runs have the same length and do not overlap
void merge_pixels(MergedPixels merged, CapturedPixels captured);

}  // namespace zam
