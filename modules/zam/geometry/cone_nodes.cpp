// The rim of a cone, several nodes at once. Its sines and cosines are the C library's, rounded to float: what the lanes
// compute is nearer to them than what tells two floats apart, except for one in tens of thousands, which the library is
// asked for.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "modules/zam/cone.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/geometry/cone_nodes.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::ScalableTag<double> kDoubles;
constexpr hn::Rebind<std::uint64_t, hn::ScalableTag<double>> kBits;
constexpr hn::Rebind<float, hn::ScalableTag<double>> kFloats;
constexpr hn::Rebind<std::uint32_t, hn::ScalableTag<double>> kFloatBits;
constexpr auto kLanes = static_cast<int>(hn::MaxLanes(kDoubles));
using Doubles = hn::Vec<decltype(kDoubles)>;
using Floats = hn::Vec<decltype(kFloats)>;

/// sum + x product
HWY_INLINE Doubles next_term(double sum, Doubles x, Doubles product) {
    return hn::Add(hn::Set(kDoubles, sum), hn::Mul(x, product));
}

// Of the Taylor series about 0: x^13, x^11, .. x^3 and x^14, x^12, .. x^2.
constexpr std::array<double, 6> kOdd{1.0 / 6227020800, -1.0 / 39916800, 1.0 / 362880, -1.0 / 5040, 1.0 / 120, -1.0 / 6};
constexpr std::array<double, 7> kEven{
    -1.0 / 87178291200, 1.0 / 479001600, -1.0 / 3628800, 1.0 / 40320, -1.0 / 720, 1.0 / 24, -0.5};

/// Cosines and sines of angles from 0 to 7, to 2^-45 of their size: Taylor series about the nearest quarter of a turn.
HWY_INLINE void fill_cosine_and_sine(Doubles angle, Doubles& cosine, Doubles& sine) {
    const auto no_fraction = hn::Set(kDoubles, 6755399441055744.0);  // 1.5 x 2^52: what is added to it becomes whole
    const auto rounded = hn::Add(hn::Mul(angle, hn::Set(kDoubles, 0.6366197723675814)), no_fraction);  // 2 / pi
    const auto quarters = hn::Sub(rounded, no_fraction);
    // a quarter turn in three parts; products with the first two are exact
    auto x = hn::Sub(angle, hn::Mul(quarters, hn::Set(kDoubles, 0x1.921fb544p+0)));
    x = hn::Sub(x, hn::Mul(quarters, hn::Set(kDoubles, 0x1.0b4611a6p-34)));
    x = hn::Sub(x, hn::Mul(quarters, hn::Set(kDoubles, 0x1.3198a2e037073p-69)));
    const auto xx = hn::Mul(x, x);

    auto odd = hn::Set(kDoubles, kOdd[0]);
#pragma GCC unroll 5
    for (std::size_t k = 1; k < kOdd.size(); ++k) odd = next_term(kOdd[k], xx, odd);
    const auto sine_x = hn::Add(x, hn::Mul(hn::Mul(x, xx), odd));
    auto even = hn::Set(kDoubles, kEven[0]);
#pragma GCC unroll 6
    for (std::size_t k = 1; k < kEven.size(); ++k) even = next_term(kEven[k], xx, even);
    const auto cosine_x = next_term(1.0, xx, even);

    const auto count = hn::BitCast(kBits, rounded);  // in the lowest bits
    const auto swapped = hn::RebindMask(kDoubles, hn::TestBit(count, hn::Set(kBits, 1)));
    const auto sign = [](auto half_turns) HWY_ATTR {
        return hn::BitCast(kDoubles, hn::ShiftLeft<62>(hn::And(half_turns, hn::Set(kBits, 2))));
    };
    sine = hn::Xor(hn::IfThenElse(swapped, cosine_x, sine_x), sign(count));
    cosine = hn::Xor(hn::IfThenElse(swapped, sine_x, cosine_x), sign(hn::Add(count, hn::Set(kBits, 1))));
}

/// Rounds values that may be off by 2^-44 of their size. @return whether that makes no difference
HWY_INLINE bool round_surely(Doubles values, Floats& rounded) {
    rounded = to_floats(kFloats, hn::Mul(values, hn::Set(kDoubles, 1 - 0x1p-44)));
    const auto above = to_floats(kFloats, hn::Mul(values, hn::Set(kDoubles, 1 + 0x1p-44)));
    return hn::AllTrue(kFloatBits, hn::Eq(hn::BitCast(kFloatBits, rounded), hn::BitCast(kFloatBits, above)));
}

void fill_rim(const Cone& cone, double segment, float* rim) {
    const auto base = static_cast<float>(cone.offset);
    const auto radius = hn::Set(kDoubles, cone.radius);
    auto numbers = hn::Iota(kDoubles, 0.0);
    for (int k = 0; k < cone.div;) {
        const int end = k + std::min(kLanes, cone.div - k);
        Doubles cosine, sine;
        fill_cosine_and_sine(hn::Mul(numbers, hn::Set(kDoubles, segment)), cosine, sine);
        numbers = hn::Add(numbers, hn::Set(kDoubles, double{kLanes}));
        Floats y, z;
        const bool sure = round_surely(hn::Mul(radius, cosine), y) && round_surely(hn::Mul(radius, sine), z);
        if (sure && end - k == kLanes) {
            hn::StoreInterleaved3(hn::Set(kFloats, base), y, z, kFloats, rim + 3 * std::ptrdiff_t{k});
            k = end;
        }
        for (; k < end; ++k) {
            float* const node = rim + 3 * std::ptrdiff_t{k};
            node[0] = base;
            node[1] = static_cast<float>(cone.radius * std::cos(k * segment));
            node[2] = static_cast<float>(cone.radius * std::sin(k * segment));
        }
    }
}

}  // namespace
}  // namespace zam::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam {
namespace {

ZAM_EXPORT(fill_rim);

}  // namespace

void cone_nodes(const Cone& cone, std::span<float> coord) {
    // deliberate: not 2 pi, but twice 3.141592652589793
    constexpr double kFullTurn = 6.283185305179586;
    const std::array<float, 6> axis{static_cast<float>(cone.offset), 0, 0,
                                    static_cast<float>(cone.offset + cone.length)};
    std::copy(axis.begin(), axis.end(), coord.data());
    ZAM_DISPATCH(fill_rim)(cone, kFullTurn / cone.div, coord.data() + axis.size());
}

}  // namespace zam
#endif
