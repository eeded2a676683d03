#include "modules/zam/capture/depth_merge.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/capture/depth_merge.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
/// Merges as many pixels as there are lanes.
HWY_INLINE void merge_lanes(std::uint8_t* colors, float* depths, const std::uint8_t* captured_colors,
                            const float* captured_depths) {
    const hn::ScalableTag<float> lanes;
    const hn::ScalableTag<std::uint32_t> words;  // the four bytes of each pixel
    const hn::ScalableTag<std::uint8_t> bytes;
    const auto color_bytes =
        hn::Set(words, std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{0, 255, 255, 255}));
    const auto own = hn::BitCast(words, hn::LoadU(bytes, colors));
    const auto other = hn::BitCast(words, hn::LoadU(bytes, captured_colors));
    const auto nearest = hn::LoadU(lanes, depths);
    const auto depth = hn::LoadU(lanes, captured_depths);
    // deliberate: larger is nearer, and the first of equals stays
    const auto nearer = hn::Gt(depth, nearest);
    const auto merged = hn::IfThenElse(hn::RebindMask(words, nearer), hn::And(other, color_bytes), own);
    hn::StoreU(hn::BitCast(bytes, merged), bytes, colors);
    hn::StoreU(hn::IfThenElse(nearer, depth, nearest), lanes, depths);
}
#endif

bool any_nearer(const float* merged, const float* captured, std::size_t pixels) {
    std::size_t pixel = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<float> lanes;
    for (; pixel + hn::Lanes(lanes) <= pixels; pixel += hn::Lanes(lanes)) {
        const auto nearer = hn::Gt(hn::LoadU(lanes, captured + pixel), hn::LoadU(lanes, merged + pixel));
        if (!hn::AllFalse(lanes, nearer)) return true;
    }
#endif
    for (; pixel < pixels; ++pixel) {
        if (captured[pixel] > merged[pixel]) return true;
    }
    return false;
}

void merge(std::uint8_t* colors, float* depths, const std::uint8_t* captured_colors, const float* captured_depths,
           std::size_t pixels) {
    std::size_t pixel = 0;
#if HWY_TARGET != HWY_SCALAR
    constexpr std::size_t kPixels = hn::MaxLanes(hn::ScalableTag<float>());
    for (; pixel + kPixels <= pixels; pixel += kPixels)
        merge_lanes(colors + 4 * pixel, depths + pixel, captured_colors + 4 * pixel, captured_depths + pixel);
#endif
    for (; pixel < pixels; ++pixel) {
        if (!(captured_depths[pixel] > depths[pixel])) continue;
        depths[pixel] = captured_depths[pixel];
        std::copy_n(captured_colors + 4 * pixel + 1, 3, colors + 4 * pixel + 1);
    }
}

}  // namespace
}  // namespace zam::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam {
namespace {

ZAM_EXPORT(any_nearer);
ZAM_EXPORT(merge);

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

bool any_nearer(std::span<const float> merged, std::span<const float> captured) {
    return ZAM_DISPATCH(any_nearer)(merged.data(), captured.data(), merged.size());
}

void merge_pixels(MergedPixels merged, CapturedPixels captured) {
    ZAM_DISPATCH(merge)
    (merged.colors.data(), merged.depths.data(), captured.colors.data(), captured.depths.data(), merged.depths.size());
}

}  // namespace zam
#endif
