// Rays on their way through the grid, one per lane, and their step. Masks choose where a ray on its own would branch.
#if defined(ZAM_TRACER_WALK) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_TRACER_WALK
#undef ZAM_TRACER_WALK
#else
#define ZAM_TRACER_WALK
#endif

#include <hwy/highway.h>

#include <cstdint>

#include "modules/zam/volume/ray_packet.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {  // only ray_march.cpp includes this

namespace hn = hwy::HWY_NAMESPACE;

using F = hn::CappedTag<float, 16>;
using I = hn::Rebind<std::int32_t, F>;
using Floats = hn::Vec<F>;
using Ints = hn::Vec<I>;
using Mask = hn::Mask<F>;
inline constexpr int kLanes = static_cast<int>(hn::MaxLanes(F()));

/// The axis across which each lane's ray steps: in every lane one of the masks is set.
struct Crossed {
    Mask x, y, z;
};

/// Rays on their way from cell to cell.
struct Walk {
    Floats t;             // parameter at the last crossing
    Floats next[3];       // of the next crossing on each axis
    Floats increment[3];  // from crossing to crossing
    Ints left[3];         // steps that stay within the grid; negative once the ray has left it

    /// Steps into the next cell. Of equal crossings x comes before z, y before x and before z.
    HWY_INLINE Crossed step() {
        const Mask x_before_y = hn::Gt(next[1], next[0]);
        const Floats nearer = hn::IfThenElse(x_before_y, next[0], next[1]);
        const Mask z = hn::Gt(nearer, next[2]);
        const Crossed crossed{hn::AndNot(z, x_before_y), hn::Not(hn::Or(x_before_y, z)), z};
        t = hn::IfThenElse(z, next[2], nearer);
        next[0] = add_where(crossed.x, next[0], increment[0]);
        next[1] = add_where(crossed.y, next[1], increment[1]);
        next[2] = add_where(crossed.z, next[2], increment[2]);
        left[0] = decrement_where(crossed.x, left[0]);
        left[1] = decrement_where(crossed.y, left[1]);
        left[2] = decrement_where(crossed.z, left[2]);
        return crossed;
    }

    /// The rays that have not left the grid.
    HWY_INLINE Mask is_inside() const {
        const Ints any = hn::Or(hn::Or(left[0], left[1]), left[2]);
        return hn::Not(hn::RebindMask(F(), hn::Lt(any, hn::Zero(I()))));
    }

    /// @param lane  the first one of the packet's rays that is meant
    template <class Node>
    HWY_INLINE void start(const Packet<Node>& rays, int lane) {
        t = hn::Load(F(), rays.t + lane);
        for (int a = 0; a < 3; ++a) {
            next[a] = hn::Load(F(), rays.next[a] + lane);
            increment[a] = hn::Load(F(), rays.increment[a] + lane);
            left[a] = hn::Load(I(), rays.left[a] + lane);
        }
    }

private:
    /// The sum where the mask is set, the first value elsewhere.
    HWY_INLINE static Floats add_where(Mask mask, Floats a, Floats b) {
#if HWY_TARGET == HWY_AVX3
        return hn::IfThenElse(mask, hn::Add(a, b), a);
#else
        return hn::Add(a, hn::IfThenElseZero(mask, b));
#endif
    }
    HWY_INLINE static Ints decrement_where(Mask mask, Ints a) {
#if HWY_TARGET == HWY_AVX3
        return hn::IfThenElse(hn::RebindMask(I(), mask), hn::Sub(a, hn::Set(I(), 1)), a);
#else
        return hn::Add(a, hn::VecFromMask(I(), hn::RebindMask(I(), mask)));  // masks are -1
#endif
    }
};

/// As Walk, from cell face to cell face: knows which face was crossed and where.
struct FaceWalk : Walk {
    Crossed crossed;  // by the last step, or by the entry
    Floats last[3];   // parameter of the last crossing on each axis

    HWY_INLINE void step() {
        crossed = Walk::step();
        last[0] = hn::IfThenElse(crossed.x, t, last[0]);
        last[1] = hn::IfThenElse(crossed.y, t, last[1]);
        last[2] = hn::IfThenElse(crossed.z, t, last[2]);
    }

    template <class Node>
    HWY_INLINE void start(const Packet<Node>& rays, int lane) {
        Walk::start(rays, lane);
        const Ints axis = hn::Load(I(), rays.face_axis + lane);
        const auto is = [&](int a) HWY_ATTR { return hn::RebindMask(F(), hn::Eq(axis, hn::Set(I(), a))); };
        crossed = {is(0), is(1), is(2)};
        for (int a = 0; a < 3; ++a) last[a] = hn::Load(F(), rays.last[a] + lane);
    }
};

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
