// Double precision for what is computed in it: lanes widened, and rounded back to float.
#if defined(ZAM_TRACER_DOUBLES) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_TRACER_DOUBLES
#undef ZAM_TRACER_DOUBLES
#else
#define ZAM_TRACER_DOUBLES
#endif

#include "base/lane_values.h"
#include "modules/zam/volume/lanes/walk.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {  // only ray_march.cpp includes this

/// Vectors of doubles per vector of floats.
#if HWY_TARGET == HWY_SCALAR
inline constexpr int kParts = 1;
#else
inline constexpr int kParts = 2;
#endif
using D = hn::CappedTag<double, kLanes / kParts>;

/// A double per lane.
struct Doubles {
    hn::Vec<D> part[kParts];
};

HWY_INLINE Doubles widen(Floats values) {
#if HWY_TARGET == HWY_SCALAR
    return {{hn::PromoteTo(D(), values)}};
#else
    const hn::Half<F> half;
    return {{hn::PromoteTo(D(), hn::LowerHalf(half, values)), hn::PromoteTo(D(), hn::UpperHalf(half, values))}};
#endif
}

/// Rounded to the nearest floats.
HWY_INLINE Floats narrow(const Doubles& values) {
    using zam::HWY_NAMESPACE::to_floats;
#if HWY_TARGET == HWY_SCALAR
    return to_floats(F(), values.part[0]);
#else
    const hn::Half<F> half;
    return hn::Combine(F(), to_floats(half, values.part[1]), to_floats(half, values.part[0]));
#endif
}

/// What `make(part, ...)` makes of each part, rounded to float.
template <class Make, class... Parts>
HWY_INLINE Floats in_doubles(const Make& make, const Parts&... wide) {
    Doubles made;
    made.part[0] = make(wide.part[0]...);
    if constexpr (kParts == 2) made.part[kParts - 1] = make(wide.part[kParts - 1]...);
    return narrow(made);
}

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
