// Rays that collect the values of voxels, constant inside each, times the exact length of the ray in it.
#if defined(ZAM_TRACER_CELL_RAYS) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_TRACER_CELL_RAYS
#undef ZAM_TRACER_CELL_RAYS
#else
#define ZAM_TRACER_CELL_RAYS
#endif

#include <cstdint>

#include "modules/zam/volume/lanes/ends.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {  // only ray_march.cpp includes this

template <class Node, class Voxels>
class CellRays {
public:
    Walk walk;
    Ends<Node> ends;

    /// Moves on to the next voxels, and adds those just left.
    HWY_INLINE void step(const Volume& volume) {
        alignas(64) Node node[kLanes];
        alignas(64) std::uint32_t values[kLanes];
        nodes_.of_cells(walk, node);
        const Floats entered = walk.t;
        walk.step();
        Mask ended = hn::Not(walk.is_inside());
        read_nodes<Voxels>(volume, node, values);
        // after something visible mostly more follows, so that checking first is not worth it
        if (visible_ || any_visible<Voxels>(volume, values))
            ended = hn::Or(ended, add(hn::Sub(walk.t, entered), values, volume));
        ends.end(ended, sum_, nodes_);
    }

    /// To be called after steps of the walk alone.
    HWY_INLINE void end_outside() { ends.end(hn::Not(walk.is_inside()), sum_, nodes_); }

    HWY_INLINE void start(Packet<Node>& rays, int lane) {
        walk.start(rays, lane);
        nodes_.start(rays, lane);
        ends.start(rays, lane, walk.is_inside());
        for (Floats& channel : sum_.channel) channel = hn::Zero(F());
    }

private:
    /// Adds voxels. @return  the lanes whose rays are saturated
    HWY_INLINE Mask add(Floats length, const std::uint32_t* values, const Volume& volume) {
        const Colors voxels = Voxels::colors(volume, values);
        visible_ = !hn::AllFalse(F(), visible(voxels));
        const auto scale = hn::Set(D(), volume.opacity_scale);
        const Floats one = hn::Set(F(), 1), opacity = sum_.channel[0];
        const Floats added =
            in_doubles([&](auto way, auto part) HWY_ATTR { return hn::Mul(hn::Mul(way, scale), part); }, widen(length),
                       Voxels::opacity(voxels, values));
        const Mask adds = hn::Gt(added, hn::Zero(F()));
        const Mask saturates = hn::And(adds, hn::Ge(hn::Add(opacity, added), one));
        // deliberate: colours add up without (1 - opacity so far); only the saturating step uses what is left of it
        const Floats weight = hn::IfThenElse(saturates, hn::Sub(one, opacity), hn::IfThenElseZero(adds, added));
        for (int c = 1; c < 4; ++c) {
            Floats& sum = sum_.channel[c];
            Floats added_color = voxels.channel[c];
            // else 0 times a colour that is not finite would add it after all
            if (!volume.is_finite) added_color = hn::IfThenElseZero(adds, added_color);
            if constexpr (Voxels::kInDoubles)
                sum = in_doubles([](auto so_far, auto color, auto part)
                                     HWY_ATTR { return hn::Add(so_far, hn::Mul(color, part)); },
                                 widen(sum), widen(added_color), widen(weight));
            else
                sum = hn::Add(sum, hn::Mul(added_color, weight));
        }
        sum_.channel[0] = hn::IfThenElse(saturates, one, hn::Add(opacity, weight));
        return saturates;
    }

    Nodes<Node> nodes_;
    Colors sum_;
    bool visible_ = false;  // whether one of the voxels just left is
};

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
