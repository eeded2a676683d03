// Which nodes belong to the cells and faces that rays are at: their numbers.
#if defined(ZAM_TRACER_NODES) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_TRACER_NODES
#undef ZAM_TRACER_NODES
#else
#define ZAM_TRACER_NODES
#endif

#include <cstdint>

#include "modules/zam/volume/lanes/walk.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {  // only ray_march.cpp includes this

/// 32-bit numbers are computed on lanes, 64-bit ones one after the other.
template <class Node>
class Nodes {
public:
    HWY_INLINE void start(Packet<Node>& rays, int lane) {
        rays_ = &rays;
        lane_ = lane;
    }

    /// The nodes that name the rays' cells.
    HWY_INLINE void of_cells(const Walk& walk, Node* to) const {
        if constexpr (sizeof(Node) == 4) {
            hn::Store(first(walk), U(), to);
        } else {
            const Scalars scalars(walk);
            for (int i = 0; i < kLanes; ++i) to[i] = first(scalars, i);
        }
    }

    /// The four nodes of each face just crossed, the one that names the cell first. The faces' first axis is x, or y on
    /// a face across x; their second is z, or y on a face across z. Along an axis that the ray does not move along,
    /// both nodes are the same and the second has weight 0.
    HWY_INLINE void of_faces(const FaceWalk& walk, Node (*to)[kLanes]) const {
        if constexpr (sizeof(Node) == 4) {
            const hn::Vec<U> node = first(walk), y = stride(1);
            const auto across = [](Mask mask) HWY_ATTR { return hn::RebindMask(U(), mask); };
            const hn::Vec<U> first_stride = hn::IfThenElse(across(walk.crossed.x), y, stride(0));
            const hn::Vec<U> second_stride = hn::IfThenElse(across(walk.crossed.z), y, stride(2));
            const hn::Vec<U> second = hn::Add(node, second_stride);
            hn::Store(node, U(), to[0]);
            hn::Store(hn::Add(node, first_stride), U(), to[1]);
            hn::Store(second, U(), to[2]);
            hn::Store(hn::Add(second, first_stride), U(), to[3]);
        } else {
            const Scalars scalars(walk);
            alignas(64) std::int32_t across_x[kLanes], across_z[kLanes];
            hn::Store(hn::VecFromMask(I(), hn::RebindMask(I(), walk.crossed.x)), I(), across_x);
            hn::Store(hn::VecFromMask(I(), hn::RebindMask(I(), walk.crossed.z)), I(), across_z);
            for (int i = 0; i < kLanes; ++i) {
                const auto* const stride = rays_->stride;
                const Node first_stride = stride[across_x[i] ? 1 : 0][lane_ + i];
                const Node second_stride = stride[across_z[i] ? 1 : 2][lane_ + i];
                to[0][i] = first(scalars, i);
                to[1][i] = to[0][i] + first_stride;
                to[2][i] = to[0][i] + second_stride;
                to[3][i] = to[2][i] + first_stride;
            }
        }
    }

    /// For rays that have ended: their node is 0 from now on, wherever they step.
    HWY_INLINE void end(Mask ended) {
        alignas(64) std::int32_t has_ended[kLanes];
        hn::Store(hn::VecFromMask(I(), hn::RebindMask(I(), ended)), I(), has_ended);
        for (int i = 0; i < kLanes; ++i) {
            if (!has_ended[i]) continue;
            rays_->node[lane_ + i] = 0;
            for (auto& stride : rays_->stride) stride[lane_ + i] = 0;
        }
    }

private:
    using U = hn::Rebind<std::uint32_t, F>;

    struct Scalars {
        alignas(64) std::int32_t left[3][kLanes];
        HWY_INLINE explicit Scalars(const Walk& walk) {
            for (int a = 0; a < 3; ++a) hn::Store(walk.left[a], I(), left[a]);
        }
    };

    HWY_INLINE Node first(const Scalars& walk, int i) const {
        Node node = rays_->node[lane_ + i];
        for (int a = 0; a < 3; ++a) node -= walk.left[a][i] * rays_->stride[a][lane_ + i];
        return node;
    }
    HWY_INLINE hn::Vec<U> stride(int axis) const { return hn::Load(U(), rays_->stride[axis] + lane_); }
    HWY_INLINE hn::Vec<U> first(const Walk& walk) const {
        const auto ahead = [&](int a) HWY_ATTR { return hn::Mul(hn::BitCast(U(), walk.left[a]), stride(a)); };
        return hn::Sub(hn::Load(U(), rays_->node + lane_), hn::Add(hn::Add(ahead(0), ahead(1)), ahead(2)));
    }

    Packet<Node>* rays_;
    int lane_;
};

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
