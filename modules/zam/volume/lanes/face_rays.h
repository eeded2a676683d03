// Rays that collect values interpolated on cell faces, by the trapezoid rule between faces.
#if defined(ZAM_TRACER_FACE_RAYS) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_TRACER_FACE_RAYS
#undef ZAM_TRACER_FACE_RAYS
#else
#define ZAM_TRACER_FACE_RAYS
#endif

#include "modules/zam/volume/lanes/ends.h"
#include "modules/zam/volume/lanes/faces.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {  // only ray_march.cpp includes this

template <class Node, class Voxels>
class FaceRays {
public:
    FaceWalk walk;
    Ends<Node> ends;

    /// Moves on to the next faces, and adds the segments between these and the last ones.
    HWY_INLINE void step(const Volume& volume) {
        const Floats entered = walk.t;
        walk.step();
        now_ = 1 - now_;
        read_faces(volume);
        Mask ended = hn::Not(walk.is_inside());
        if (visible_ || faces_[now_].any_visible(volume) || !volume.is_finite) {
            if (!sampled_) sample_ = faces_[1 - now_].sample(volume, visible_);
            // the sample goes without a name, since g++ copies one that has it
            ended = hn::Or(ended,
                           add(hn::Sub(walk.t, entered), faces_[now_].sample(volume, visible_), volume.opacity_scale));
            sampled_ = true;
        } else {
            sampled_ = false;
        }
        ends.end(ended, sum_, nodes_);
    }

    /// To be called after steps of the walk alone.
    HWY_INLINE void end_outside() { ends.end(hn::Not(walk.is_inside()), sum_, nodes_); }

    HWY_INLINE void start(Packet<Node>& rays, int lane) {
        walk.start(rays, lane);
        nodes_.start(rays, lane);
        ends.start(rays, lane, walk.is_inside());
        for (int a = 0; a < 3; ++a) speed_[a] = hn::Load(F(), rays.speed[a] + lane);
        for (Floats& channel : sum_.channel) channel = hn::Zero(F());
    }

    /// Reads the faces just crossed; to be called before step() if the last steps were of the walk alone, or none.
    HWY_INLINE void resume(const Volume& volume) {
        read_faces(volume);
        visible_ = faces_[now_].any_visible(volume);
        sampled_ = false;
    }

private:
    HWY_INLINE void read_faces(const Volume& volume) { faces_[now_].read(volume, nodes_, walk, speed_); }

    /// Adds segments. @return  the lanes whose rays are opaque
    HWY_INLINE Mask add(Floats length, const Colors& next, double scale) {
        const Floats one = hn::Set(F(), 1), half = hn::Set(F(), 0.5F);
        Floats& opacity = sum_.channel[0];
        Floats added = hn::Mul(hn::Add(sample_.channel[0], next.channel[0]), hn::Mul(length, half));
        // deliberate: limited before it is scaled, so that a scale above 1 can lead past 1
        added = hn::IfThenElse(hn::Gt(hn::Add(opacity, added), one), hn::Sub(one, opacity), added);
        const Floats scaled =
            in_doubles([&](auto part) HWY_ATTR { return hn::Mul(part, hn::Set(D(), scale)); }, widen(added));
        for (int c = 1; c < 4; ++c) {
            const Floats both = hn::Add(sample_.channel[c], next.channel[c]);
            sum_.channel[c] = hn::Add(sum_.channel[c], hn::Mul(hn::Mul(both, scaled), half));
        }
        opacity = hn::Add(opacity, scaled);
        sample_ = next;
        return hn::Ge(opacity, one);
    }

    Nodes<Node> nodes_;
    Floats speed_[3];         // |direction|
    Faces<Voxels> faces_[2];  // just crossed, and before that
    int now_ = 0;             // index of those just crossed
    bool visible_ = false;    // whether a node of the faces just crossed is
    Colors sum_;
    Colors sample_;  // at the faces before, if these have been sampled
    bool sampled_ = false;
};

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
