#include "modules/zam/capture/depth_merge.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

namespace zam {
namespace {

// The compiler's vectors (GCC and clang), of the width that every 64-bit processor has: four pixels at once.
typedef float Depths __attribute__((vector_size(16)));
typedef std::uint32_t Words __attribute__((vector_size(16)));  // the four bytes of each pixel
constexpr std::size_t kPixels = 4;

constexpr auto kColorMask = std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{0, 255, 255, 255});

/// Merges kPixels pixels.
void merge_four(std::uint8_t* colors, float* depths, const std::uint8_t* captured_colors,
                const float* captured_depths) {
    Words own, other;
    Depths nearest, depth;
    std::memcpy(&own, colors, sizeof own);
    std::memcpy(&other, captured_colors, sizeof other);
    std::memcpy(&nearest, depths, sizeof nearest);
    std::memcpy(&depth, captured_depths, sizeof depth);
    // deliberate: larger is nearer, and the first of equals stays
    const auto nearer = std::bit_cast<Words>(depth > nearest);
    own ^= (own ^ (other & kColorMask)) & nearer;
    const auto kept = std::bit_cast<Words>(nearest);
    const auto chosen = kept ^ ((kept ^ std::bit_cast<Words>(depth)) & nearer);
    std::memcpy(colors, &own, sizeof own);
    std::memcpy(depths, &chosen, sizeof chosen);
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
