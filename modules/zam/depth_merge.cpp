#include "modules/zam/depth_merge.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

namespace zam {
namespace {

using Word = std::uint32_t;  // the four bytes of a pixel

constexpr Word kColorMask = std::bit_cast<Word>(std::array<std::uint8_t, 4>{0, 255, 255, 255});

Word load(const std::uint8_t* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
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
    const auto word = std::bit_cast<Word>(std::array<std::uint8_t, 4>{0, background[0], background[1], background[2]});
    for (std::size_t at = 0; at < merged.colors.size(); at += sizeof word)
        std::memcpy(&merged.colors[at], &word, sizeof word);
    // as good as a depth of 0, and one comparison a pixel less
    std::fill(merged.depths.begin(), merged.depths.end(), kEmptyDepth);
}

void merge_pixels(MergedPixels merged, CapturedPixels captured) {
    // selections instead of branches: the compiler works on several pixels at once
    std::uint8_t* __restrict colors = merged.colors.data();
    float* __restrict depths = merged.depths.data();
    const std::uint8_t* __restrict captured_colors = captured.colors.data();
    const float* __restrict captured_depths = captured.depths.data();
    const std::size_t pixels = merged.depths.size();
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        const float depth = captured_depths[pixel];
        const float nearest = depths[pixel];
        // deliberate: larger is nearer, and the first of equals stays
        const Word nearer = depth > nearest ? ~Word{0} : Word{0};
        const Word own = load(colors + 4 * pixel);
        const Word other = load(captured_colors + 4 * pixel) & kColorMask;
        const Word chosen = own ^ ((own ^ other) & nearer);
        std::memcpy(colors + 4 * pixel, &chosen, sizeof chosen);
        depths[pixel] = std::bit_cast<float>(std::bit_cast<Word>(nearest) ^
                                             ((std::bit_cast<Word>(nearest) ^ std::bit_cast<Word>(depth)) & nearer));
    }
}

}  // namespace zam
