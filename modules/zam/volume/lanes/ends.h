// The ends of rays: which are on their way, and what becomes of those that end.
#if defined(ZAM_TRACER_ENDS) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_TRACER_ENDS
#undef ZAM_TRACER_ENDS
#else
#define ZAM_TRACER_ENDS
#endif

#include <cstddef>

#include "modules/zam/volume/lanes/nodes.h"
#include "modules/zam/volume/lanes/voxels.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {  // only ray_march.cpp includes this

/// Which rays are on their way; stores the colours of those that end.
template <class Node>
class Ends {
public:
    HWY_INLINE void start(Packet<Node>& rays, int lane, Mask inside) {
        colors_ = &rays.color[0][lane];
        active_ = inside;
    }
    HWY_INLINE Mask active() const { return active_; }
    HWY_INLINE bool any() const { return !hn::AllFalse(F(), active_); }

    /// Ends the rays of these lanes, as far as they have not yet ended.
    HWY_INLINE void end(Mask ended, const Colors& sum, Nodes<Node>& nodes) {
        const Mask now = hn::And(active_, ended);
        if (HWY_LIKELY(hn::AllFalse(F(), now))) return;
        for (int c = 0; c < 4; ++c)
            hn::BlendedStore(sum.channel[c], now, F(), colors_ + std::ptrdiff_t{c} * Packet<Node>::kRays);
        active_ = hn::AndNot(now, active_);
        nodes.end(now);
    }

private:
    float* colors_;
    Mask active_;
};

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
