// The marchers on lanes: two vectors of rays at a time, which hide each other's latency. Masks choose where a walk on
// its own would branch. While all rays are in what is empty, they only step.
#include "modules/zam/volume/ray_march.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/volume/ray_march.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using F = hn::CappedTag<float, 16>;
using I = hn::Rebind<std::int32_t, F>;
using Floats = hn::Vec<F>;
using Ints = hn::Vec<I>;
using Mask = hn::Mask<F>;
constexpr int kLanes = static_cast<int>(hn::MaxLanes(F()));

// --- The step ---

/// The axis that each lane's ray crosses: one mask is set per lane.
struct Crossed {
    Mask x, y, z;
};

/// The sum where the mask is set, the first value elsewhere.
HWY_INLINE Floats add_where(Mask mask, Floats a, Floats b) {
#if HWY_TARGET == HWY_AVX3
    return hn::IfThenElse(mask, hn::Add(a, b), a);
#else
    return hn::Add(a, hn::IfThenElseZero(mask, b));
#endif
}
HWY_INLINE Ints decrement_where(Mask mask, Ints a) {
#if HWY_TARGET == HWY_AVX3
    return hn::IfThenElse(hn::RebindMask(I(), mask), hn::Sub(a, hn::Set(I(), 1)), a);
#else
    return hn::Add(a, hn::VecFromMask(I(), hn::RebindMask(I(), mask)));  // masks are -1
#endif
}

/// Rays on their way from cell to cell.
struct Walk {
    Floats t;             // parameter at the last crossing
    Floats next[3];       // of the next crossing on each axis
    Floats increment[3];  // from crossing to crossing
    Ints left[3];         // steps that stay within the grid; negative once the ray has left it

    template <class Node>
    HWY_INLINE void start(const Packet<Node>& rays, int lane) {
        t = hn::Load(F(), rays.t + lane);
        for (int a = 0; a < 3; ++a) {
            next[a] = hn::Load(F(), rays.next[a] + lane);
            increment[a] = hn::Load(F(), rays.increment[a] + lane);
            left[a] = hn::Load(I(), rays.left[a] + lane);
        }
    }

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

    HWY_INLINE Mask is_inside() const {
        const Ints any = hn::Or(hn::Or(left[0], left[1]), left[2]);
        return hn::Not(hn::RebindMask(F(), hn::Lt(any, hn::Zero(I()))));
    }
};

/// As Walk, from cell face to cell face.
struct FaceWalk : Walk {
    Crossed crossed;  // by the last step, or by the entry
    Floats last[3];   // parameter of the last crossing on each axis

    template <class Node>
    HWY_INLINE void start(const Packet<Node>& rays, int lane) {
        Walk::start(rays, lane);
        const Ints axis = hn::Load(I(), rays.face_axis + lane);
        const auto is = [&](int a) HWY_ATTR { return hn::RebindMask(F(), hn::Eq(axis, hn::Set(I(), a))); };
        crossed = {is(0), is(1), is(2)};
        for (int a = 0; a < 3; ++a) last[a] = hn::Load(F(), rays.last[a] + lane);
    }

    HWY_INLINE void step() {
        crossed = Walk::step();
        last[0] = hn::IfThenElse(crossed.x, t, last[0]);
        last[1] = hn::IfThenElse(crossed.y, t, last[1]);
        last[2] = hn::IfThenElse(crossed.z, t, last[2]);
    }
};

// --- Double precision ---

#if HWY_TARGET == HWY_SCALAR
constexpr int kParts = 1;
#else
constexpr int kParts = 2;
#endif
using D = hn::CappedTag<double, kLanes / kParts>;

/// Lanes in as many vectors as their doubles need.
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

HWY_INLINE Floats narrow(const Doubles& values) {
#if HWY_TARGET == HWY_SCALAR
    return hn::Set(F(), static_cast<float>(hn::GetLane(values.part[0])));  // DemoteTo would end at the largest float
#else
    const hn::Half<F> half;
    return hn::Combine(F(), hn::DemoteTo(half, values.part[1]), hn::DemoteTo(half, values.part[0]));
#endif
}

/// The results of `make(part, ...)` for both parts.
template <class Make, class... Parts>
HWY_INLINE Floats in_doubles(const Make& make, const Parts&... wide) {
    Doubles made;
    made.part[0] = make(wide.part[0]...);
    if constexpr (kParts == 2) made.part[kParts - 1] = make(wide.part[kParts - 1]...);
    return narrow(made);
}

// --- Nodes and what they hold ---

/// Numbers of the nodes of cells: those that name them, and the others of a face.
template <class Node>
class Nodes {
public:
    HWY_INLINE void start(Packet<Node>& rays, int lane) {
        rays_ = &rays;
        lane_ = lane;
    }

    /// The nodes that name the cells.
    HWY_INLINE void of_cells(const Walk& walk, Node* to) const {
        if constexpr (sizeof(Node) == 4) {
            hn::Store(first(walk), U(), to);
        } else {
            const Scalars scalars(walk);
            for (int i = 0; i < kLanes; ++i) to[i] = first(scalars, i);
        }
    }

    /// The faces just crossed. Their first axis is x, or y on a face across x; their second is z, or y on a face across
    /// z. Along an axis that the ray does not move along, both nodes are the same and the second has weight 0.
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

    /// Leaves out what has ended: its node is 0 from now on.
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

/// Opacity, red, green, blue.
struct Colors {
    Floats channel[4];
};

/// One byte per node: an entry of the table.
struct TableVoxels {
    static constexpr bool kInDoubles = true;  // colours of cells are added in double precision, as by get_rgb()

    template <class Node>
    HWY_INLINE static std::uint32_t read(const Volume& volume, Node node) {
        return volume.bytes[node];
    }
    HWY_INLINE static unsigned visible(const Volume& volume, std::uint32_t value) { return volume.visible[value]; }

    HWY_INLINE static Colors colors(const Volume& volume, const std::uint32_t* values) {
#if HWY_TARGET == HWY_SCALAR
        const float* const color = volume.colors[values[0]];
        return {{hn::Set(F(), color[0]), hn::Set(F(), color[1]), hn::Set(F(), color[2]), hn::Set(F(), color[3])}};
#else
        // the entries of every fourth ray in one vector, whose blocks of four are then transposed
        const Floats a = entries(F(), volume, values), b = entries(F(), volume, values + 1);
        const Floats c = entries(F(), volume, values + 2), d = entries(F(), volume, values + 3);
        const hn::Repartition<double, F> twos;
        const auto two = [&](Floats v) HWY_ATTR { return hn::BitCast(twos, v); };
        const auto ab_low = two(hn::InterleaveLower(F(), a, b)), ab_high = two(hn::InterleaveUpper(F(), a, b));
        const auto cd_low = two(hn::InterleaveLower(F(), c, d)), cd_high = two(hn::InterleaveUpper(F(), c, d));
        return {{hn::BitCast(F(), hn::InterleaveLower(twos, ab_low, cd_low)),
                 hn::BitCast(F(), hn::InterleaveUpper(twos, ab_low, cd_low)),
                 hn::BitCast(F(), hn::InterleaveLower(twos, ab_high, cd_high)),
                 hn::BitCast(F(), hn::InterleaveUpper(twos, ab_high, cd_high))}};
#endif
    }

    HWY_INLINE static Doubles opacity(const Colors& colors, const std::uint32_t* /*values*/) {
        return widen(colors.channel[0]);
    }

private:
#if HWY_TARGET != HWY_SCALAR
    template <class Lanes>
    HWY_INLINE static hn::Vec<Lanes> entries(Lanes lanes, const Volume& volume, const std::uint32_t* values) {
        constexpr std::size_t kCount = hn::MaxLanes(Lanes());
        if constexpr (kCount == 4) {
            return hn::Load(lanes, volume.colors[values[0]]);
        } else {
            const hn::Half<Lanes> half;
            return hn::Combine(lanes, entries(half, volume, values + kCount / 2), entries(half, volume, values));
        }
    }
#endif
};

/// The 255th part of bytes, rounded as by a division: the factor has two parts, the first so short that its product
/// with a byte is exact.
template <class T>
struct Share {
    using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    static constexpr T kFirst = std::bit_cast<T>(std::bit_cast<Bits>(T{1} / 255) & ~Bits{255});
    static constexpr auto kSecond = static_cast<T>(1 / 255.0L - kFirst);

    static constexpr bool is_exact() {
        for (int i = 0; i < 256; ++i) {
            const auto byte = static_cast<T>(i);
            if (byte * kFirst + byte * kSecond != static_cast<T>(i / 255.0)) return false;
        }
        return true;
    }

    template <class Lanes>
    HWY_INLINE static hn::Vec<Lanes> of(Lanes lanes, hn::Vec<Lanes> bytes) {
        static_assert(is_exact());
        return hn::Add(hn::Mul(bytes, hn::Set(lanes, kFirst)), hn::Mul(bytes, hn::Set(lanes, kSecond)));
    }
};

/// Four bytes per node: opacity, red, green, blue.
struct RgbaVoxels {
    static constexpr bool kInDoubles = false;

    template <class Node>
    HWY_INLINE static std::uint32_t read(const Volume& volume, Node node) {
        const std::uint8_t* const from = volume.bytes + std::size_t{4} * static_cast<std::size_t>(node);
        return std::uint32_t{from[0]} | std::uint32_t{from[1]} << 8 | std::uint32_t{from[2]} << 16 |
               std::uint32_t{from[3]} << 24;
    }
    HWY_INLINE static unsigned visible(const Volume& /*volume*/, std::uint32_t value) { return value & 255; }

    HWY_INLINE static Colors colors(const Volume& /*volume*/, const std::uint32_t* values) {
        const hn::Rebind<std::uint32_t, F> bits;
        const auto all = hn::Load(bits, values);
        const auto byte = hn::Set(bits, 255);
        const auto level = [](auto from) HWY_ATTR { return hn::ConvertTo(F(), hn::BitCast(I(), from)); };
        return {{Share<float>::of(F(), level(hn::And(all, byte))), level(hn::And(hn::ShiftRight<8>(all), byte)),
                 level(hn::And(hn::ShiftRight<16>(all), byte)), level(hn::ShiftRight<24>(all))}};
    }

    HWY_INLINE static Doubles opacity(const Colors& /*colors*/, const std::uint32_t* values) {
        const hn::Rebind<std::uint32_t, F> bits;
        const auto byte = hn::And(hn::Load(bits, values), hn::Set(bits, 255));
        Doubles wide = widen(hn::ConvertTo(F(), hn::BitCast(I(), byte)));
        for (auto& part : wide.part) part = Share<double>::of(D(), part);
        return wide;
    }
};

/// The values of nodes, one per lane. One after the other: gathers are no faster, and would read beyond the last byte.
template <class Voxels, class Node>
HWY_INLINE void read_nodes(const Volume& volume, const Node* nodes, std::uint32_t* values) {
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; ++i) values[i] = Voxels::read(volume, nodes[i]);
}

/// Whether one of the values is visible.
template <class Voxels>
HWY_INLINE bool any_visible(const Volume& volume, const std::uint32_t* values) {
    unsigned any = 0;
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; ++i) any |= Voxels::visible(volume, values[i]);
    return any != 0;
}
HWY_INLINE Mask visible(const Colors& colors) { return hn::Ne(colors.channel[0], hn::Zero(F())); }

// --- Rays that collect ---

/// Where the rays' colours go, and which of them are on their way.
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

/// Rays that collect the values of voxels.
template <class Node, class Voxels>
class CellRays {
public:
    Walk walk;
    Ends<Node> ends;

    HWY_INLINE void start(Packet<Node>& rays, int lane) {
        walk.start(rays, lane);
        nodes_.start(rays, lane);
        ends.start(rays, lane, walk.is_inside());
        for (Floats& channel : sum_.channel) channel = hn::Zero(F());
    }

    /// Moves on to the next voxels, and adds those just left.
    HWY_INLINE void step(const Volume& volume) {
        alignas(64) Node node[kLanes];
        alignas(64) std::uint32_t values[kLanes];
        nodes_.of_cells(walk, node);
        const Floats entered = walk.t;
        walk.step();
        Mask ended = hn::Not(walk.is_inside());
        read_nodes<Voxels>(volume, node, values);
        // what is visible mostly goes on, so that a look is not worth it
        if (visible_ || any_visible<Voxels>(volume, values))
            ended = hn::Or(ended, add(hn::Sub(walk.t, entered), values, volume));
        ends.end(ended, sum_, nodes_);
    }

    HWY_INLINE void end_outside() { ends.end(hn::Not(walk.is_inside()), sum_, nodes_); }

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

/// Rays that collect values interpolated on cell faces.
template <class Node, class Voxels>
class FaceRays {
public:
    FaceWalk walk;
    Ends<Node> ends;

    HWY_INLINE void start(Packet<Node>& rays, int lane) {
        walk.start(rays, lane);
        nodes_.start(rays, lane);
        ends.start(rays, lane, walk.is_inside());
        for (int a = 0; a < 3; ++a) speed_[a] = hn::Load(F(), rays.speed[a] + lane);
        for (Floats& channel : sum_.channel) channel = hn::Zero(F());
    }

    /// Looks at the faces just crossed, after steps without a look.
    HWY_INLINE void resume(const Volume& volume) {
        read_face(volume);
        visible_ = any_visible(volume);
        sampled_ = false;
    }

    /// Moves on to the next faces, and adds the segments between these and the last ones.
    HWY_INLINE void step(const Volume& volume) {
        const Floats entered = walk.t;
        walk.step();
        now_ = 1 - now_;
        read_face(volume);
        Mask ended = hn::Not(walk.is_inside());
        if (visible_ || any_visible(volume) || !volume.is_finite) {
            if (!sampled_) sample_ = sample(volume, face_[1 - now_]);
            ended = hn::Or(ended, add(hn::Sub(walk.t, entered), sample(volume, face_[now_]), volume.opacity_scale));
            sampled_ = true;
        } else {
            sampled_ = false;
        }
        ends.end(ended, sum_, nodes_);
    }

    HWY_INLINE void end_outside() { ends.end(hn::Not(walk.is_inside()), sum_, nodes_); }

private:
    /// Cell faces: the values of their nodes and the weights of these.
    struct Faces {
        alignas(64) std::uint32_t values[4][kLanes];
        Floats weight[4];
    };

    HWY_INLINE void read_face(const Volume& volume) {
        Faces& face = face_[now_];
        alignas(64) Node nodes[4][kLanes];
        nodes_.of_faces(walk, nodes);
        const auto way = [&](int a) HWY_ATTR { return hn::Mul(hn::Sub(walk.t, walk.last[a]), speed_[a]); };
        const Floats one = hn::Set(F(), 1), way_y = way(1);
        const Floats first = hn::IfThenElse(walk.crossed.x, way_y, way(0));
        const Floats second = hn::IfThenElse(walk.crossed.z, way_y, way(2));
        face.weight[0] = hn::Mul(hn::Sub(one, first), hn::Sub(one, second));
        face.weight[1] = hn::Mul(first, hn::Sub(one, second));
        face.weight[2] = hn::Mul(hn::Sub(one, first), second);
        face.weight[3] = hn::Mul(first, second);
        for (int n = 0; n < 4; ++n) read_nodes<Voxels>(volume, nodes[n], face.values[n]);
    }

    HWY_INLINE bool any_visible(const Volume& volume) const {
        bool any = false;
        for (const auto& values : face_[now_].values) any |= HWY_NAMESPACE::any_visible<Voxels>(volume, values);
        return any;
    }

    /// Bilinear interpolation. Finds what is visible, too.
    HWY_INLINE Colors sample(const Volume& volume, const Faces& face) {
        Colors sum = Voxels::colors(volume, face.values[0]);
        Mask any = visible(sum);
        for (int c = 0; c < 4; ++c) sum.channel[c] = hn::Mul(face.weight[0], sum.channel[c]);
        for (int n = 1; n < 4; ++n) {
            const Colors node = Voxels::colors(volume, face.values[n]);
            any = hn::Or(any, visible(node));
            for (int c = 0; c < 4; ++c)
                sum.channel[c] = hn::Add(sum.channel[c], hn::Mul(face.weight[n], node.channel[c]));
        }
        visible_ = !hn::AllFalse(F(), any);
        return sum;
    }

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
    Floats speed_[3];       // |direction|
    Faces face_[2];         // just crossed, and before that
    int now_ = 0;           // index of the one just crossed
    bool visible_ = false;  // whether a node of the faces just crossed is
    Colors sum_;
    Colors sample_;  // at the faces before, if these have been sampled
    bool sampled_ = false;
};

// --- The march ---

/// Steps that rays may take without a look, as far as the blocks know.
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
    bool is_fresh = false;
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

HWY_EXPORT(march_narrow_cells);
HWY_EXPORT(march_wide_cells);
HWY_EXPORT(march_narrow_faces);
HWY_EXPORT(march_wide_faces);

void march_cells(Packet<std::uint32_t>& rays, const Volume& volume) { ZAM_DISPATCH(march_narrow_cells)(rays, volume); }
void march_cells(Packet<std::int64_t>& rays, const Volume& volume) { ZAM_DISPATCH(march_wide_cells)(rays, volume); }
void march_faces(Packet<std::uint32_t>& rays, const Volume& volume) { ZAM_DISPATCH(march_narrow_faces)(rays, volume); }
void march_faces(Packet<std::int64_t>& rays, const Volume& volume) { ZAM_DISPATCH(march_wide_faces)(rays, volume); }

}  // namespace zam::tracer
#endif
