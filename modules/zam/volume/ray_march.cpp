// The marchers on lanes: two vectors of rays at a time, which hide each other's latency. While all rays are in what is
// empty, they only step (lanes/walk.h); elsewhere they collect (lanes/cell_rays.h, lanes/face_rays.h).
#include "modules/zam/volume/ray_march.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/volume/ray_march.cpp"
#include "base/lanes.h"
// on these lanes, in any order
#include "modules/zam/volume/lanes/cell_rays.h"
#include "modules/zam/volume/lanes/face_rays.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {

/// The number of steps that all of the active rays can take through what is empty, as far as the blocks know.
template <class Node>
HWY_INLINE int free_steps(const Packet<Node>& rays, int lane, const Walk& walk, Mask active, const Blocks& blocks) {
    Ints block = hn::Zero(I());
    for (int a = 0; a < 3; ++a) {
        const Ints flipped = hn::Xor(walk.left[a], hn::Load(I(), rays.flip[a] + lane));
        const Ints cell = hn::Add(flipped, hn::Load(I(), rays.origin[a] + lane));
        block = hn::Add(block, hn::Mul(hn::ShiftRight<Blocks::kShift>(cell), hn::Set(I(), blocks.stride(a))));
    }
    const auto counts = hn::RebindMask(I(), active);
    const Ints steps = hn::GatherIndex(I(), blocks.steps(), hn::IfThenElseZero(counts, block));
    constexpr int kMost = 24;  // so that rays do not go on and on outside
    return std::min(kMost, hn::GetLane(hn::MinOfLanes(I(), hn::IfThenElse(counts, steps, hn::Set(I(), kMost)))));
}

/// Works on copies, which stay in registers.
template <class WalkType>
HWY_INLINE void only_step(WalkType& first, WalkType& second, int steps) {
    WalkType a = first, b = second;
    for (int i = 0; i < steps; ++i) {
        a.step();
        b.step();
    }
    first = a;
    second = b;
}

/// Marches two vectors of rays, from `lane` on, until all have ended. Every few steps the blocks are asked for empty
/// space.
template <class Rays, class Node>
HWY_INLINE void march_two(Packet<Node>& packet, int lane, const Volume& volume) {
    constexpr int kStepsBetweenLooks = 6;
    const bool has_blocks = volume.blocks && volume.blocks->steps();
    const auto resume = [&](Rays& rays) HWY_ATTR {
        if constexpr (std::is_same_v<FaceWalk, decltype(rays.walk)>) rays.resume(volume);
    };
    Rays a, b;
    a.start(packet, lane);
    b.start(packet, lane + kLanes);
    bool is_fresh = false;  // whether the last steps were not of the walks alone
    while (a.ends.any() || b.ends.any()) {
        const auto free = [&](const Rays& rays, int at) HWY_ATTR {
            return free_steps(packet, at, rays.walk, rays.ends.active(), *volume.blocks);
        };
        const int steps = has_blocks ? std::min(free(a, lane), free(b, lane + kLanes)) : 0;
        if (steps > 0) {
            only_step(a.walk, b.walk, steps);
            a.end_outside();
            b.end_outside();
            is_fresh = false;
            continue;
        }
        if (!is_fresh) {
            resume(a);
            resume(b);
            is_fresh = true;
        }
        for (int i = 0; i < kStepsBetweenLooks; ++i) {
            a.step(volume);
            b.step(volume);
        }
    }
}

template <template <class, class> class Rays, class Node>
HWY_INLINE void march(Packet<Node>& packet, const Volume& volume) {
    for (int lane = 0; lane < Packet<Node>::kRays; lane += 2 * kLanes) {
        if (volume.veclen == 4)
            march_two<Rays<Node, RgbaVoxels>>(packet, lane, volume);
        else
            march_two<Rays<Node, TableVoxels>>(packet, lane, volume);
    }
}

void march_narrow_cells(Packet<std::uint32_t>& rays, const Volume& volume) { march<CellRays>(rays, volume); }
void march_wide_cells(Packet<std::int64_t>& rays, const Volume& volume) { march<CellRays>(rays, volume); }
void march_narrow_faces(Packet<std::uint32_t>& rays, const Volume& volume) { march<FaceRays>(rays, volume); }
void march_wide_faces(Packet<std::int64_t>& rays, const Volume& volume) { march<FaceRays>(rays, volume); }

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam::tracer {

ZAM_EXPORT(march_narrow_cells);
ZAM_EXPORT(march_wide_cells);
ZAM_EXPORT(march_narrow_faces);
ZAM_EXPORT(march_wide_faces);

void march_cells(Packet<std::uint32_t>& rays, const Volume& volume) { ZAM_DISPATCH(march_narrow_cells)(rays, volume); }
void march_cells(Packet<std::int64_t>& rays, const Volume& volume) { ZAM_DISPATCH(march_wide_cells)(rays, volume); }
void march_faces(Packet<std::uint32_t>& rays, const Volume& volume) { ZAM_DISPATCH(march_narrow_faces)(rays, volume); }
void march_faces(Packet<std::int64_t>& rays, const Volume& volume) { ZAM_DISPATCH(march_wide_faces)(rays, volume); }

}  // namespace zam::tracer
#endif
