// What several kernels do with lanes; part of base/lanes.h.
#if defined(ZAM_LANE_VALUES) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_LANE_VALUES
#undef ZAM_LANE_VALUES
#else
#define ZAM_LANE_VALUES
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace zam::HWY_NAMESPACE {

/// To the nearest floats, infinite ones beyond their range.
template <class D>
HWY_INLINE hwy::HWY_NAMESPACE::Vec<D> to_floats(D floats,
                                                hwy::HWY_NAMESPACE::Vec<hwy::HWY_NAMESPACE::Rebind<double, D>> values) {
    namespace hn = hwy::HWY_NAMESPACE;
#if HWY_TARGET == HWY_SCALAR
    return hn::Set(floats, static_cast<float>(hn::GetLane(values)));  // DemoteTo knows no infinity there
#else
    return hn::DemoteTo(floats, values);
#endif
}

/// Two neighbours in memory per lane.
template <class D>
struct Neighbours {
    hwy::HWY_NAMESPACE::Vec<D> first, second;
};

#if HWY_TARGET != HWY_SCALAR
/// The neighbours of every second lane from kFirst on.
template <std::size_t kFirst, class D, class At>
HWY_INLINE hwy::HWY_NAMESPACE::Vec<D> load_pairs(D lanes, const At& at) {
    namespace hn = hwy::HWY_NAMESPACE;
    if constexpr (hn::MaxLanes(D()) == 2) {
        const hn::Repartition<std::uint8_t, D> bytes;
        return hn::BitCast(lanes, hn::LoadU(bytes, reinterpret_cast<const std::uint8_t*>(at(kFirst))));
    } else {
        const hn::Half<D> half;
        constexpr std::size_t kNext = kFirst + hn::MaxLanes(hn::Half<D>());
        return hn::Combine(lanes, load_pairs<kNext>(half, at), load_pairs<kFirst>(half, at));
    }
}
#endif

/// Loads neighbours of 8 bytes each.
/// @param at  at(i): where those of lane i lie, aligned or not, 16 bytes
template <class D, class At>
HWY_INLINE Neighbours<D> load_neighbours(D lanes, const At& at) {
    namespace hn = hwy::HWY_NAMESPACE;
#if HWY_TARGET == HWY_SCALAR
    hn::TFromV<hn::Vec<D>> pair[2];
    hwy::CopyBytes<sizeof pair>(at(0), pair);
    return {hn::Set(lanes, pair[0]), hn::Set(lanes, pair[1])};
#else
    const auto even = load_pairs<0>(lanes, at);
    const auto odd = load_pairs<1>(lanes, at);
    return {hn::InterleaveLower(lanes, even, odd), hn::InterleaveUpper(lanes, even, odd)};
#endif
}

}  // namespace zam::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
