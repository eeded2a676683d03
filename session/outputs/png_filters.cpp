#include "session/outputs/png_filters.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "session/outputs/png_filters.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::session::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Lanes = hn::CappedTag<std::uint8_t, PngRow::kMargin>;
using Bytes = hn::Vec<Lanes>;

/// Half the sum, rounded down.
HWY_INLINE Bytes average(Bytes a, Bytes b) {
    const auto half = hn::And(hn::Xor(a, b), hn::Set(Lanes(), std::uint8_t{1}));
    return hn::Sub(hn::AverageRound(a, b), half);
}

/// That of left, up and upper left which is nearest to left + up - upper left; of equally near ones the first.
HWY_INLINE Bytes paeth(Bytes left, Bytes up, Bytes corner) {
    const auto zero = hn::Zero(Lanes());
    const auto up_above = hn::SaturatedSub(up, corner);
    const auto up_below = hn::SaturatedSub(corner, up);
    const auto left_above = hn::SaturatedSub(left, corner);
    const auto left_below = hn::SaturatedSub(corner, left);
    const auto from_left = hn::Or(up_above, up_below);
    const auto from_up = hn::Or(left_above, left_below);
    // where left and up lie on different sides of the corner, their distances from it cancel, else they add up: cut at
    // 255, they are still no less than either
    const auto sides = hn::Or(hn::Min(up_above, left_below), hn::Min(up_below, left_above));
    const auto apart = hn::Or(hn::SaturatedSub(from_left, from_up), hn::SaturatedSub(from_up, from_left));
    const auto from_corner = hn::IfThenElse(hn::Eq(sides, zero), hn::SaturatedAdd(from_left, from_up), apart);

    const auto at_most = [zero](Bytes a, Bytes b) HWY_ATTR { return hn::Eq(hn::SaturatedSub(a, b), zero); };
    const auto other = hn::IfThenElse(at_most(from_up, from_corner), up, corner);
    return hn::IfThenElse(hn::And(at_most(from_left, from_up), at_most(from_left, from_corner)), left, other);
}

/// The sum of up to 64 magnitudes.
HWY_INLINE std::uint64_t sum_of_magnitudes(Bytes bytes) {
    const auto magnitudes = hn::Min(bytes, hn::Sub(hn::Zero(Lanes()), bytes));
#if HWY_TARGET == HWY_SCALAR
    return hn::GetLane(magnitudes);
#else
    return hn::GetLane(hn::SumOfLanes(hn::Repartition<std::uint64_t, Lanes>(), hn::SumsOf8(magnitudes)));
#endif
}

/// @param predict  of the bytes left, above, and above the left one
template <class Predict>
HWY_INLINE std::uint64_t filter_with(const PngRow& row, const PngRow& above, std::size_t pixel, PngRow& to,
                                     const Predict& predict) {
    const Lanes lanes;
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < row.room(); i += hn::Lanes(lanes)) {
        const std::uint8_t* const at = row.data() + i;
        const std::uint8_t* const up = above.data() + i;
        const auto predicted =
            predict(hn::LoadU(lanes, at - pixel), hn::LoadU(lanes, up), hn::LoadU(lanes, up - pixel));
        const auto rest = hn::Sub(hn::LoadU(lanes, at), predicted);
        hn::StoreU(rest, lanes, to.data() + i);
        sum += sum_of_magnitudes(rest);
    }
    return sum;
}

std::uint64_t filter_row(PngFilter filter, const PngRow& row, const PngRow& above, std::size_t pixel, PngRow& to) {
    const auto with = [&](const auto& predict) HWY_ATTR { return filter_with(row, above, pixel, to, predict); };
    switch (filter) {
        case PngFilter::sub: return with([](Bytes left, Bytes, Bytes) HWY_ATTR { return left; });
        case PngFilter::up: return with([](Bytes, Bytes up, Bytes) HWY_ATTR { return up; });
        case PngFilter::average: return with([](Bytes left, Bytes up, Bytes) HWY_ATTR { return average(left, up); });
        case PngFilter::paeth:
            return with([](Bytes left, Bytes up, Bytes corner) HWY_ATTR { return paeth(left, up, corner); });
        case PngFilter::none: break;
    }
    return with([](Bytes, Bytes, Bytes) HWY_ATTR { return hn::Zero(Lanes()); });
}

}  // namespace
}  // namespace zam::session::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam::session {

ZAM_EXPORT(filter_row);

std::uint64_t filter_row(PngFilter filter, const PngRow& row, const PngRow& above, std::size_t pixel, PngRow& to) {
    return ZAM_DISPATCH(filter_row)(filter, row, above, pixel, to);
}

}  // namespace zam::session
#endif
