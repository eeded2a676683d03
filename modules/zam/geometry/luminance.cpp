// Luminance of colours, several at once where they have four bytes.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "modules/zam/threshcolor.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/geometry/luminance.cpp"
#include "base/lanes.h"

#ifndef ZAM_LUMINANCE
#define ZAM_LUMINANCE
namespace zam {
namespace {

constexpr double kRed = 0.298912;
constexpr double kGreen = 0.586611;
constexpr double kBlue = 0.114478;

}  // namespace
}  // namespace zam
#endif

HWY_BEFORE_NAMESPACE();
namespace zam::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
xp_long append_to_lanes(const std::byte* /*from*/, xp_long /*nodes*/, int /*min*/, int /*max*/, std::byte* /*to*/) {
    return 0;
}
#else
/// Appends the byte to as many of `nodes` nodes of four bytes as fit whole lanes. @return how many these are
xp_long append_to_lanes(const std::byte* from, xp_long nodes, int min, int max, std::byte* to) {
    constexpr hn::ScalableTag<double> doubles;
    constexpr hn::Rebind<std::int32_t, decltype(doubles)> ints;
    constexpr hn::Repartition<std::uint8_t, decltype(ints)> int_bytes;
    constexpr hn::Rebind<std::uint32_t, decltype(doubles)> words;
    constexpr hn::Rebind<std::uint64_t, decltype(doubles)> pairs;
    constexpr hn::Repartition<std::uint8_t, decltype(pairs)> bytes;
    constexpr auto kLanes = static_cast<xp_long>(hn::MaxLanes(doubles));
    alignas(16) constexpr std::uint8_t kFiveOfEight[16] = {0, 1, 2, 3, 4, 8, 9, 10, 11, 12};
    const auto places = hn::LoadDup128(bytes, kFiveOfEight);
    // what is stored for two nodes ends in those that follow
    xp_long node = 0;
    for (; node + kLanes + 2 <= nodes; node += kLanes) {
        const auto colors =
            hn::BitCast(ints, hn::LoadU(int_bytes, reinterpret_cast<const std::uint8_t*>(from) + 4 * node));
        // deliberate: bytes from 128 up count as negative
        const auto red = hn::ShiftRight<24>(hn::ShiftLeft<16>(colors));
        const auto green = hn::ShiftRight<24>(hn::ShiftLeft<8>(colors));
        const auto blue = hn::ShiftRight<24>(colors);
        const auto weighted = [&](double weight, auto values) HWY_ATTR {
            return hn::Mul(hn::Set(doubles, weight), hn::PromoteTo(doubles, values));
        };
        const auto sum = hn::Add(hn::Add(weighted(kGreen, green), weighted(kRed, red)), weighted(kBlue, blue));
        const auto above = hn::Gt(hn::Max(hn::Max(red, green), blue), hn::Set(ints, min));
        const auto below = hn::Lt(hn::Min(hn::Min(red, green), blue), hn::Set(ints, max));
        const auto luminance = hn::IfThenElseZero(hn::And(above, below), hn::DemoteTo(ints, sum));

        const auto wide = [&](auto values) HWY_ATTR { return hn::PromoteTo(pairs, hn::BitCast(words, values)); };
        const auto appended = hn::Or(wide(colors), hn::ShiftLeft<32>(wide(luminance)));
        alignas(64) std::uint8_t packed[8 * kLanes];
        hn::Store(hn::TableLookupBytes(hn::BitCast(bytes, appended), places), bytes, packed);
        for (xp_long k = 0; k < kLanes; k += 2) std::memcpy(to + 5 * (node + k), packed + 8 * k, 16);
    }
    return node;
}
#endif

}  // namespace
}  // namespace zam::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam {
namespace {

ZAM_EXPORT(append_to_lanes);

/// @param color  opacity or whatever else, red, green, blue
std::byte luminance_of(const std::byte* color, int min, int max) {
    const auto value = [&](int k) { return static_cast<int>(static_cast<std::int8_t>(color[k])); };
    const auto [lowest, highest] = std::minmax({value(1), value(2), value(3)});
    if (highest <= min || lowest >= max) return std::byte{0};
    return static_cast<std::byte>(static_cast<int>(kGreen * value(2) + kRed * value(1) + kBlue * value(3)));
}

void append_to_each(const std::byte* from, std::size_t size, xp_long nodes, int min, int max, std::byte* to) {
    for (xp_long node = 0; node < nodes; ++node) {
        std::memcpy(to, from, size);
        to[size] = luminance_of(from, min, max);
        from += size;
        to += size + 1;
    }
}

}  // namespace

void append_luminance(std::span<const std::byte> from, int veclen, xp_long nodes, int min, int max,
                      std::span<std::byte> to) {
    const auto size = static_cast<std::size_t>(veclen);
    const xp_long whole = std::min<xp_long>(nodes, static_cast<xp_long>(from.size() / size));
    const xp_long done = veclen == 4 ? ZAM_DISPATCH(append_to_lanes)(from.data(), whole, min, max, to.data()) : 0;
    append_to_each(from.data() + done * veclen, size, whole - done, min, max, to.data() + done * (xp_long{veclen} + 1));
    auto rest = to.subspan(static_cast<std::size_t>(whole) * (size + 1));
    std::ranges::fill(rest, std::byte{0});
    if (whole == nodes) return;  // else one node is cut short or missing, and those after it are black
    const auto begun = from.subspan(static_cast<std::size_t>(whole) * size);
    std::vector<std::byte> node(size);
    std::ranges::copy(begun, node.begin());
    append_to_each(node.data(), size, 1, min, max, rest.data());
}

}  // namespace zam
#endif
