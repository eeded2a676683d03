// Cell faces, and what is interpolated on them.
#if defined(ZAM_TRACER_FACES) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_TRACER_FACES
#undef ZAM_TRACER_FACES
#else
#define ZAM_TRACER_FACES
#endif

#include <cstdint>

#include "modules/zam/volume/lanes/nodes.h"
#include "modules/zam/volume/lanes/voxels.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {  // only ray_march.cpp includes this

/// The faces where rays cross them: the values of their nodes and the weights of these.
template <class Voxels>
class Faces {
public:
    /// Bilinear interpolation.
    /// @param any_visible  set to whether a node of the faces is visible
    HWY_INLINE Colors sample(const Volume& volume, bool& any_visible) const {
        Colors sum = Voxels::colors(volume, values_[0]);
        Mask any = visible(sum);
        for (int c = 0; c < 4; ++c) sum.channel[c] = hn::Mul(weight_[0], sum.channel[c]);
        for (int n = 1; n < 4; ++n) {
            const Colors node = Voxels::colors(volume, values_[n]);
            any = hn::Or(any, visible(node));
            for (int c = 0; c < 4; ++c) sum.channel[c] = hn::Add(sum.channel[c], hn::Mul(weight_[n], node.channel[c]));
        }
        any_visible = !hn::AllFalse(F(), any);
        return sum;
    }

    HWY_INLINE bool any_visible(const Volume& volume) const {
        bool any = false;
        for (const auto& values : values_) any |= HWY_NAMESPACE::any_visible<Voxels>(volume, values);
        return any;
    }

    /// The faces just crossed.
    /// @param speed  |direction| by axis
    template <class Node>
    HWY_INLINE void read(const Volume& volume, const Nodes<Node>& from, const FaceWalk& walk, const Floats* speed) {
        alignas(64) Node nodes[4][kLanes];
        from.of_faces(walk, nodes);
        const auto way = [&](int a) HWY_ATTR { return hn::Mul(hn::Sub(walk.t, walk.last[a]), speed[a]); };
        const Floats one = hn::Set(F(), 1), way_y = way(1);
        const Floats first = hn::IfThenElse(walk.crossed.x, way_y, way(0));
        const Floats second = hn::IfThenElse(walk.crossed.z, way_y, way(2));
        weight_[0] = hn::Mul(hn::Sub(one, first), hn::Sub(one, second));
        weight_[1] = hn::Mul(first, hn::Sub(one, second));
        weight_[2] = hn::Mul(hn::Sub(one, first), second);
        weight_[3] = hn::Mul(first, second);
        for (int n = 0; n < 4; ++n) read_nodes<Voxels>(volume, nodes[n], values_[n]);
    }

private:
    alignas(64) std::uint32_t values_[4][kLanes];
    Floats weight_[4];
};

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
