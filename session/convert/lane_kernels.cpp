#include "session/convert/lane_kernels.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "base/element_types.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "session/convert/lane_kernels.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::session::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using zam::HWY_NAMESPACE::load_neighbours;

/// Calls `step(lanes, i)` for i = 0, as many as there are lanes of doubles, and so on; with one lane for each value
/// left.
template <class Step>
HWY_INLINE void for_lanes(xp_long count, const Step& step) {
    const hn::ScalableTag<double> all;
    const hn::CappedTag<double, 1> one;
    const auto width = static_cast<xp_long>(hn::Lanes(all));
    xp_long i = 0;
    for (; i + width <= count; i += width) step(all, i);
    for (; i < count; ++i) step(one, i);
}

template <class T>
const T* elements_at(const std::byte* values) {
    return reinterpret_cast<const T*>(values);
}
template <class T>
T* elements_at(std::byte* values) {
    return reinterpret_cast<T*>(values);
}

// --- Elements as doubles, and back ---

/// Elements as doubles, and which of them are null.
template <class D>
struct Doubles {
    hn::Vec<D> values;
    hn::Mask<D> nulls;
};

template <class T, class D>
HWY_INLINE Doubles<D> load_doubles(D lanes, const T* from, const T* null_value) {
    const hn::Rebind<T, D> elements;
    const auto loaded = hn::LoadU(elements, from);
    hn::Vec<D> values;
    if constexpr (std::is_same_v<T, double>) {
        values = loaded;
    } else if constexpr (sizeof(T) == 8) {
        values = hn::ConvertTo(lanes, loaded);
    } else if constexpr (sizeof(T) == 4) {
        values = hn::PromoteTo(lanes, loaded);
    } else {
        values = hn::PromoteTo(lanes, hn::PromoteTo(hn::Rebind<std::int32_t, D>(), loaded));
    }
    if (!null_value) return {values, hn::MaskFromVec(hn::Zero(lanes))};
    if constexpr (sizeof(T) == 8) {  // two of long may be the same double
        return {values, hn::RebindMask(lanes, hn::Eq(loaded, hn::Set(elements, *null_value)))};
    } else {
        return {values, hn::Eq(values, hn::Set(lanes, static_cast<double>(*null_value)))};
    }
}

/// The nearest whole number, the even one of two as near: adding this number leaves no bits for a fraction.
template <class D>
HWY_INLINE hn::Vec<D> nearest_small(D lanes, hn::Vec<D> values) {
    const auto no_fraction = hn::Set(lanes, 6755399441055744.0);  // 1.5 x 2^52
    return hn::Sub(hn::Add(values, no_fraction), no_fraction);
}

/// As above, for values of any size.
template <class D>
HWY_INLINE hn::Vec<D> nearest_large(D lanes, hn::Vec<D> values) {
    const auto no_fraction = hn::Set(lanes, 4503599627370496.0);  // 2^52; values from there on have none
    const auto size = hn::Abs(values);
    const auto rounded = hn::CopySign(hn::Sub(hn::Add(size, no_fraction), no_fraction), values);
    return hn::IfThenElse(hn::Lt(size, no_fraction), rounded, values);
}

/// The nearest elements. @pre  whole types: in the type's range, where 2^63, its end for long, becomes the largest
template <class T, class D>
HWY_INLINE void store_nearest(D lanes, hn::Vec<D> values, T* to) {
    const hn::Rebind<T, D> elements;
    if constexpr (std::is_same_v<T, double>) {
        hn::StoreU(values, elements, to);
    } else if constexpr (std::is_same_v<T, float>) {
#if HWY_TARGET == HWY_SCALAR
        *to = static_cast<float>(hn::GetLane(values));  // DemoteTo would make the largest float of infinity
#else
        hn::StoreU(hn::DemoteTo(elements, values), elements, to);
#endif
    } else if constexpr (sizeof(T) == 8) {
        const auto fits = hn::Lt(values, hn::Set(lanes, 0x1p63));
        const auto whole = hn::ConvertTo(elements, hn::IfThenElseZero(fits, nearest_large(lanes, values)));
        const auto largest = hn::Set(elements, std::numeric_limits<T>::max());
        hn::StoreU(hn::IfThenElse(hn::RebindMask(elements, fits), whole, largest), elements, to);
    } else {
        const hn::Rebind<std::int32_t, D> ints;
        const auto whole = hn::DemoteTo(ints, nearest_small(lanes, values));
        if constexpr (sizeof(T) == 4) {
            hn::StoreU(whole, ints, to);
        } else {
            hn::StoreU(hn::DemoteTo(elements, whole), elements, to);
        }
    }
}

// --- Scaling ---

template <class From, class To>
HWY_INLINE void scale_elements(const From* from, xp_long count, const From* null_value, LinearScale scale, To* to) {
    for_lanes(count, [&](auto lanes, xp_long i) HWY_ATTR {
        const auto lowest = hn::Set(lanes, scale.lowest);
        const auto highest = hn::Set(lanes, scale.highest);
        const auto [values, nulls] = load_doubles(lanes, from + i, null_value);
        const auto moved = hn::Sub(hn::Mul(values, hn::Set(lanes, scale.share)), hn::Set(lanes, scale.start));
        const auto scaled = hn::Add(hn::Mul(moved, hn::Set(lanes, scale.factor)), lowest);
        const auto raised = hn::IfThenElse(hn::Gt(scaled, lowest), scaled, lowest);  // not-a-number too
        const auto limited = hn::IfThenElse(hn::Lt(raised, highest), raised, highest);
        store_nearest(lanes, hn::IfThenElse(nulls, lowest, limited), to + i);
    });
}

void scale_all(int from_type, const std::byte* from, xp_long count, const std::byte* null_value,
               const LinearScale& scale, int to_type, std::byte* to) {
    with_type(from_type, [&](auto a) HWY_ATTR {
        with_type(to_type, [&](auto b) HWY_ATTR {
            using From = decltype(a);
            using To = decltype(b);
            if constexpr (std::is_integral_v<To>)
                scale_elements(elements_at<From>(from), count, elements_at<From>(null_value), scale,
                               elements_at<To>(to));
        });
    });
}

// --- Limits ---

/// The smallest and the largest values so far, lane by lane.
template <class T, class D>
struct LimitLanes {
    LimitLanes()
        : low(hn::Set(D(), std::numeric_limits<T>::max())), high(hn::Set(D(), std::numeric_limits<T>::lowest())) {}
    hn::Vec<D> low, high;
};

template <class T, class D>
HWY_INLINE void take(D lanes, const T* from, const T* null_value, LimitLanes<T, D>& limits) {
    const auto most = hn::Set(lanes, std::numeric_limits<T>::max());
    const auto least = hn::Set(lanes, std::numeric_limits<T>::lowest());
    const auto values = hn::LoadU(lanes, from);
    auto below = values;  // what does not count as small, and as large, as no other can be
    auto above = values;
    if constexpr (std::is_floating_point_v<T>) {
        const auto finite = hn::Le(hn::Abs(values), most);
        below = hn::IfThenElse(finite, values, most);
        above = hn::IfThenElse(finite, values, least);
    }
    if (null_value) {
        const auto nulls = hn::Eq(values, hn::Set(lanes, *null_value));
        below = hn::IfThenElse(nulls, most, below);
        above = hn::IfThenElse(nulls, least, above);
    }
    limits.low = hn::IfThenElse(hn::Lt(below, limits.low), below, limits.low);
    limits.high = hn::IfThenElse(hn::Gt(above, limits.high), above, limits.high);
}

template <class T>
HWY_INLINE void widen(const T* values, xp_long count, const T* null_value, ValueLimits& limits) {
    using All = hn::ScalableTag<T>;
    using One = hn::CappedTag<T, 1>;
    const auto width = static_cast<xp_long>(hn::Lanes(All()));
    LimitLanes<T, All> first, second;  // two runs, which do not wait for one another
    LimitLanes<T, One> last;
    xp_long i = 0;
    for (; i + 2 * width <= count; i += 2 * width) {
        take(All(), values + i, null_value, first);
        take(All(), values + i + width, null_value, second);
    }
    for (; i < count; ++i) take(One(), values + i, null_value, last);

    constexpr std::size_t kWidth = hn::MaxLanes(All());
    T low[2 * kWidth + 1], high[2 * kWidth + 1];
    hn::StoreU(first.low, All(), low);
    hn::StoreU(first.high, All(), high);
    hn::StoreU(second.low, All(), low + kWidth);
    hn::StoreU(second.high, All(), high + kWidth);
    hn::StoreU(last.low, One(), low + 2 * kWidth);
    hn::StoreU(last.high, One(), high + 2 * kWidth);
    const T smallest = *std::min_element(std::begin(low), std::end(low));
    const T largest = *std::max_element(std::begin(high), std::end(high));
    if (smallest > largest) return;
    // which of two zeros comes first depends on the lanes; adding 0 takes the sign away
    limits.smallest = std::min(limits.smallest, static_cast<double>(smallest) + 0.0);
    limits.largest = std::max(limits.largest, static_cast<double>(largest) + 0.0);
}

void widen_all(int type, const std::byte* values, xp_long count, const std::byte* null_value, ValueLimits& limits) {
    with_type(type, [&](auto zero) HWY_ATTR {
        using T = decltype(zero);
        widen(elements_at<T>(values), count, elements_at<T>(null_value), limits);
    });
}

// --- Interpolation ---

void load_all(int type, const std::byte* values, xp_long count, const std::byte* null_value, double* to) {
    with_type(type, [&](auto zero) HWY_ATTR {
        using T = decltype(zero);
        for_lanes(count, [&](auto lanes, xp_long i) HWY_ATTR {
            const auto loaded = load_doubles(lanes, elements_at<T>(values) + i, elements_at<T>(null_value));
            hn::StoreU(hn::IfThenElse(loaded.nulls, hn::NaN(lanes), loaded.values), lanes, to + i);
        });
    });
}

/// Moves values toward others by their shares; those with a share of 0 stay as they are.
template <class D>
HWY_INLINE hn::Vec<D> mix(D lanes, hn::Vec<D> from, hn::Vec<D> to, hn::Vec<D> shares) {
    const auto mixed = hn::Add(from, hn::Mul(hn::Sub(to, from), shares));
    return hn::IfThenElse(hn::Eq(shares, hn::Zero(lanes)), from, mixed);
}

void interpolate_all(const double* from, xp_long veclen, const xp_long* low, const double* weight, xp_long count,
                     double* to) {
    const hn::CappedTag<double, 4> some;
    const hn::CappedTag<double, 1> one;
    const auto width = static_cast<xp_long>(hn::Lanes(some));
    xp_long i = 0;
    for (; veclen == 1 && i + width <= count; i += width) {
        const auto [values, next] =
            load_neighbours(some, [=](std::size_t at) HWY_ATTR { return from + low[i + static_cast<xp_long>(at)]; });
        hn::StoreU(mix(some, values, next, hn::LoadU(some, weight + i)), some, to + i);
    }
    for (; i < count; ++i) {
        const auto share = hn::Set(one, weight[i]);
        const double* const node = from + low[i] * veclen;
        for (xp_long part = 0; part < veclen; ++part) {
            const auto value = hn::LoadU(one, node + part);
            hn::StoreU(mix(one, value, hn::LoadU(one, node + veclen + part), share), one, to + i * veclen + part);
        }
    }
}

template <class T>
HWY_INLINE void blend_elements(RowBlend blend, xp_long count, const T* null_value, T* to) {
    const auto null = null_value ? static_cast<double>(*null_value) : std::numeric_limits<double>::quiet_NaN();
    for_lanes(count, [&](auto lanes, xp_long i) HWY_ATTR {
        const auto row = [&](std::size_t number) HWY_ATTR { return hn::LoadU(lanes, blend.rows[number] + i); };
        const auto in_two = hn::Set(lanes, blend.in_two);
        const auto first = mix(lanes, row(0), row(1), in_two);
        const auto second = mix(lanes, row(2), row(3), in_two);
        const auto blended = mix(lanes, first, second, hn::Set(lanes, blend.of_twos));
        const auto nulls = hn::IsNaN(blended);
        store_nearest(lanes, hn::IfThenElse(nulls, hn::Set(lanes, null), blended), to + i);
        if constexpr (std::is_same_v<T, xp_long>) {  // whose null value may be no double
            const hn::Rebind<T, decltype(lanes)> elements;
            if (null_value)
                hn::BlendedStore(hn::Set(elements, *null_value), hn::RebindMask(elements, nulls), elements, to + i);
        }
    });
}

void blend_all(const RowBlend& blend, xp_long count, int type, const std::byte* null_value, std::byte* to) {
    with_type(type, [&](auto zero) HWY_ATTR {
        using T = decltype(zero);
        blend_elements(blend, count, elements_at<T>(null_value), elements_at<T>(to));
    });
}

}  // namespace
}  // namespace zam::session::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam::session {

ZAM_EXPORT(scale_all);
ZAM_EXPORT(widen_all);
ZAM_EXPORT(load_all);
ZAM_EXPORT(interpolate_all);
ZAM_EXPORT(blend_all);

void scale_values(int from_type, const std::byte* from, xp_long count, const std::byte* null_value,
                  const LinearScale& scale, int to_type, std::byte* to) {
    ZAM_DISPATCH(scale_all)(from_type, from, count, null_value, scale, to_type, to);
}

void widen_limits(int type, const std::byte* values, xp_long count, const std::byte* null_value, ValueLimits& limits) {
    ZAM_DISPATCH(widen_all)(type, values, count, null_value, limits);
}

void load_values(int type, const std::byte* values, xp_long count, const std::byte* null_value, double* to) {
    ZAM_DISPATCH(load_all)(type, values, count, null_value, to);
}

void interpolate_nodes(const double* from, xp_long veclen, const xp_long* low, const double* weight, xp_long count,
                       double* to) {
    ZAM_DISPATCH(interpolate_all)(from, veclen, low, weight, count, to);
}

void blend_rows(const RowBlend& blend, xp_long count, int type, const std::byte* null_value, std::byte* to) {
    ZAM_DISPATCH(blend_all)(blend, count, type, null_value, to);
}

}  // namespace zam::session
#endif
