// Merging by depth a pixel and a byte at a time: what the module's blocks have to equal, and are measured against.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace plain {

struct DepthImage {
    std::vector<std::uint8_t> colors;  // pixels x 4: opacity, red, green, blue
    std::vector<float> depths;         // pixels
};

/// @param background  red, green, blue
/// @return pixels x 4: 0, red, green, blue
inline std::vector<std::uint8_t> merge(const std::vector<DepthImage>& captures, const std::uint8_t* background) {
    const std::size_t pixels = captures.front().depths.size();
    std::vector<std::uint8_t> colors(4 * pixels);
    std::vector<float> depths(pixels, 0.0F);
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        for (std::size_t k = 0; k < 3; ++k) colors[4 * pixel + 1 + k] = background[k];
    }
    for (const DepthImage& capture : captures) {
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            const float depth = capture.depths[pixel];
            if (!(static_cast<double>(depth) > 1e-6) || !(depth > depths[pixel])) continue;
            depths[pixel] = depth;
            for (std::size_t k = 1; k < 4; ++k) colors[4 * pixel + k] = capture.colors[4 * pixel + k];
        }
    }
    return colors;
}

}  // namespace plain
