#include "modules/zam/capture/depth_merge.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "modules/support/lanes.h"

namespace zam {
namespace {

// Four pixels at once.
constexpr int kPixels = 4;
using Depths = Lanes<float, kPixels>;
using Words = Lanes<std::uint32_t, kPixels>;  // the four bytes of each pixel

constexpr auto kColorMask = std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{0, 255, 255, 255});

/// Merges kPixels pixels.
void merge_four(std::uint8_t* colors, float* depths, const std::uint8_t* captured_colors,
                const float* captured_depths) {
    const auto own = load<Words>(colors);
    const auto other = load<Words>(captured_colors);
    const auto nearest = load<Depths>(depths);
    const auto depth = load<Depths>(captured_depths);
    // deliberate: larger is nearer, and the first of equals stays
    const MaskOf<Depths> nearer = depth > nearest;
    store(select(nearer, other & kColorMask, own), colors);
    store(select(nearer, depth, nearest), depths);
}

}  // namespace

Background background_bytes(std::span<const float> values) {
    Background bytes{};
    for (std::size_t i = 0; i < std::min(bytes.size(), values.size()); ++i) {
        const float value = values[i] > 0 ? std::min(values[i], 1.0F) : 0.0F;
        bytes[i] = static_cast<std::uint8_t>(static_cast<int>(static_cast<double>(value) * 255.0));
    }
    return bytes;
}

void clear_pixels(MergedPixels merged, Background background) {
    const auto word =
        std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{0, background[0], background[1], background[2]});
    for (std::size_t at = 0; at < merged.colors.size(); at += sizeof word)
        std::memcpy(&merged.colors[at], &word, sizeof word);
    // as good as a depth of 0, and one comparison less per pixel
    std::fill(merged.depths.begin(), merged.depths.end(), kEmptyDepth);
}

void merge_pixels(MergedPixels merged, CapturedPixels captured) {
    const std::size_t pixels = merged.depths.size();
    const std::size_t whole = pixels - pixels % kPixels;
    for (std::size_t pixel = 0; pixel < whole; pixel += kPixels) {
        merge_four(&merged.colors[4 * pixel], &merged.depths[pixel], &captured.colors[4 * pixel],
                   &captured.depths[pixel]);
    }
    for (std::size_t pixel = whole; pixel < pixels; ++pixel) {
        if (!(captured.depths[pixel] > merged.depths[pixel])) continue;
        merged.depths[pixel] = captured.depths[pixel];
        std::copy_n(&captured.colors[4 * pixel + 1], 3, &merged.colors[4 * pixel + 1]);
    }
}

}  // namespace zam
