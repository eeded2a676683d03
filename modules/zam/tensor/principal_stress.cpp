// Jacobi rotations take the same operations for every tensor, so that several are turned at once.
#include "modules/zam/tensor/principal_stress.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/tensor/principal_stress.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::ScalableTag<double> kDoubles;
constexpr hn::Rebind<float, hn::ScalableTag<double>> kFloats;
constexpr std::size_t kLanes = hn::MaxLanes(kDoubles);
using Doubles = hn::Vec<decltype(kDoubles)>;
using Floats = hn::Vec<decltype(kFloats)>;
using Mask = hn::Mask<decltype(kDoubles)>;

// Tensors processed together: several vectors, which hide each other's latency.
constexpr std::size_t kTensors = 32;
constexpr std::size_t kVectors = kTensors / kLanes;

/// One number per tensor.
struct Numbers {
    alignas(64) double of[kTensors];

    HWY_INLINE Doubles get(std::size_t vector) const { return hn::Load(kDoubles, of + vector * kLanes); }
    HWY_INLINE void set(std::size_t vector, Doubles values) { hn::Store(values, kDoubles, of + vector * kLanes); }
};

/// Tensors on their way to being diagonal.
struct Tensors {
    Numbers element[3][3];  // upper triangle
    Numbers axis[3][3];     // [column][component]: the rotations so far
    Numbers limit;          // squared threshold of the elements off the diagonal
    Numbers stressed;       // 1 or 0
};

// --- Rotations ---

HWY_INLINE Doubles squared(Doubles values) { return hn::Mul(values, values); }

/// Where the elements off the diagonal are above the threshold.
HWY_INLINE Mask is_active(const Tensors& work, std::size_t vector) {
    const auto xy = work.element[0][1].get(vector);
    const auto xz = work.element[0][2].get(vector);
    const auto yz = work.element[1][2].get(vector);
    const auto rest = hn::Add(hn::Add(squared(xy), squared(xz)), squared(yz));
    return hn::Gt(rest, work.limit.get(vector));
}

HWY_INLINE void turn(std::size_t vector, Doubles cosine, Doubles sine, Numbers& p, Numbers& q) {
    const auto first = p.get(vector);
    const auto second = q.get(vector);
    p.set(vector, hn::Sub(hn::Mul(cosine, first), hn::Mul(sine, second)));
    q.set(vector, hn::Add(hn::Mul(sine, first), hn::Mul(cosine, second)));
}

/// Turns axes p and q, p < q, of active tensors by the smaller angle that makes their element 0.
template <std::size_t p, std::size_t q>
HWY_INLINE void rotate(Tensors& work, std::size_t vector, Mask active) {
    constexpr std::size_t kOther = 3 - p - q;
    const auto one = hn::Set(kDoubles, 1.0);
    const auto diagonal_p = work.element[p][p].get(vector);
    const auto diagonal_q = work.element[q][q].get(vector);
    const auto element = work.element[p][q].get(vector);
    const auto twice = hn::IfThenElseZero(active, hn::Add(element, element));
    const auto gap = hn::Sub(diagonal_q, diagonal_p);
    const auto root = hn::Sqrt(hn::Add(squared(gap), squared(twice)));
    // the smallest normal number only prevents 0 / 0
    const auto divisor = hn::Add(hn::Add(hn::Abs(gap), root), hn::Set(kDoubles, std::numeric_limits<double>::min()));
    const auto tangent = hn::Div(hn::Xor(twice, hn::And(gap, hn::SignBit(kDoubles))), divisor);
    const auto cosine = hn::Div(one, hn::Sqrt(hn::Add(one, squared(tangent))));
    const auto sine = hn::Mul(tangent, cosine);
    const auto shift = hn::Mul(tangent, element);
    // what is finished is not to lose the sign of a zero
    work.element[p][p].set(vector, hn::IfThenElse(active, hn::Sub(diagonal_p, shift), diagonal_p));
    work.element[q][q].set(vector, hn::IfThenElse(active, hn::Add(diagonal_q, shift), diagonal_q));
    work.element[p][q].set(vector, hn::IfThenZeroElse(active, element));
    turn(vector, cosine, sine, work.element[std::min(p, kOther)][std::max(p, kOther)],
         work.element[std::min(q, kOther)][std::max(q, kOther)]);
    turn(vector, cosine, sine, work.axis[p][0], work.axis[q][0]);
    turn(vector, cosine, sine, work.axis[p][1], work.axis[q][1]);
    turn(vector, cosine, sine, work.axis[p][2], work.axis[q][2]);
}

void make_diagonal(Tensors& work) {
    constexpr int kMaxSweeps = 100;
    struct {
        std::size_t vector;
        Mask tensors;
    } active[kVectors];
    for (int sweep = 0; sweep < kMaxSweeps; ++sweep) {
        std::size_t count = 0;
        for (std::size_t vector = 0; vector < kVectors; ++vector) {
            const auto tensors = is_active(work, vector);
            if (!hn::AllFalse(kDoubles, tensors)) active[count++] = {vector, tensors};
        }
        if (count == 0) return;
        for (std::size_t k = 0; k < count; ++k) rotate<0, 1>(work, active[k].vector, active[k].tensors);
        for (std::size_t k = 0; k < count; ++k) rotate<0, 2>(work, active[k].vector, active[k].tensors);
        for (std::size_t k = 0; k < count; ++k) rotate<1, 2>(work, active[k].vector, active[k].tensors);
    }
}

// --- Input ---

/// Places without stress hold zeros.
/// @param components  of each tensor in turn: xx yy zz xy yz zx
HWY_INLINE void load(const float (&components)[6][kTensors], std::size_t vector, Tensors& work) {
    // Elements off the diagonal count as zero at 1e-6 of the step between neighbouring floats of the tensor's size:
    // what is stored as float cannot tell the difference.
    constexpr double kThreshold = 1e-6 * std::numeric_limits<float>::epsilon();
    const auto at = [&](std::size_t k) HWY_ATTR { return hn::Load(kFloats, components[k] + vector * kLanes); };
    auto sum = at(0);
    auto finite = hn::IsFinite(sum);
    for (std::size_t k = 1; k < 6; ++k) {
        sum = hn::Add(sum, at(k));
        finite = hn::And(finite, hn::IsFinite(at(k)));
    }
    // deliberate: the test is on the sum, so tensors whose components cancel count as zero
    const auto stressed = hn::And(finite, hn::Ne(sum, hn::Zero(kFloats)));
    work.stressed.set(vector, hn::PromoteTo(kDoubles, hn::IfThenElseZero(stressed, hn::Set(kFloats, 1.0F))));

    Numbers* const places[6] = {&work.element[0][0], &work.element[1][1], &work.element[2][2],
                                &work.element[0][1], &work.element[1][2], &work.element[0][2]};
    auto squares = hn::Zero(kDoubles);
    for (std::size_t k = 0; k < 6; ++k) {
        const auto value = hn::PromoteTo(kDoubles, hn::IfThenElseZero(stressed, at(k)));
        places[k]->set(vector, value);
        squares = hn::Add(squares, hn::Mul(k < 3 ? value : hn::Add(value, value), value));
    }
    work.limit.set(vector, hn::Mul(hn::Set(kDoubles, kThreshold * kThreshold), squares));
    for (std::size_t column = 0; column < 3; ++column) {
        for (std::size_t k = 0; k < 3; ++k)
            work.axis[column][k].set(vector, hn::Set(kDoubles, column == k ? 1.0 : 0.0));
    }
}

// --- Output ---

/// How a selection sort swaps three values, the largest of the remaining ones first, of equal ones the one that it
/// finds first.
struct Order {
    Mask second_first, third_first, last_two;
};

HWY_INLINE Order find_order(Doubles a, Doubles b, Doubles c) {
    const auto second_first = hn::Gt(b, a);
    const auto third_first = hn::Gt(c, hn::IfThenElse(second_first, b, a));
    const auto second = hn::IfThenElse(hn::AndNot(third_first, second_first), a, b);
    const auto third = hn::IfThenElse(third_first, a, c);
    return {second_first, third_first, hn::Gt(third, second)};
}

HWY_INLINE void sort(const Order& order, Doubles& a, Doubles& b, Doubles& c) {
    const auto first = hn::IfThenElse(order.third_first, c, hn::IfThenElse(order.second_first, b, a));
    const auto second = hn::IfThenElse(hn::AndNot(order.third_first, order.second_first), a, b);
    const auto third = hn::IfThenElse(order.third_first, a, c);
    a = first;
    b = hn::IfThenElse(order.last_two, third, second);
    c = hn::IfThenElse(order.last_two, second, third);
}

/// @param values  3 per tensor
/// @param axes    3 per tensor in each row
HWY_INLINE void store(const Tensors& work, std::size_t vector, float* values, float (&axes)[3][3 * kTensors]) {
    auto a = work.element[0][0].get(vector);
    auto b = work.element[1][1].get(vector);
    auto c = work.element[2][2].get(vector);
    const auto order = find_order(a, b, c);
    sort(order, a, b, c);
    hn::StoreInterleaved3(to_floats(kFloats, a), to_floats(kFloats, b), to_floats(kFloats, c), kFloats,
                          values + 3 * kLanes * vector);

    const auto stressed = hn::Gt(work.stressed.get(vector), hn::Zero(kDoubles));
    Floats sorted[3][3];
#pragma GCC unroll 3
    for (std::size_t k = 0; k < 3; ++k) {
        a = work.axis[0][k].get(vector);
        b = work.axis[1][k].get(vector);
        c = work.axis[2][k].get(vector);
        sort(order, a, b, c);
        sorted[0][k] = to_floats(kFloats, hn::IfThenElseZero(stressed, a));
        sorted[1][k] = to_floats(kFloats, hn::IfThenElseZero(stressed, b));
        sorted[2][k] = to_floats(kFloats, hn::IfThenElseZero(stressed, c));
    }
#pragma GCC unroll 3
    for (std::size_t place = 0; place < 3; ++place)
        hn::StoreInterleaved3(sorted[place][0], sorted[place][1], sorted[place][2], kFloats,
                              axes[place] + 3 * kLanes * vector);
}

void solve(const float* tensors, std::size_t nodes, float* values, float* axes) {
    alignas(64) float components[6][kTensors] = {};
    alignas(64) float sorted_values[3 * kTensors];
    alignas(64) float sorted_axes[3][3 * kTensors];
    Tensors work;
    for (std::size_t first = 0; first < nodes; first += kTensors) {
        const std::size_t count = std::min(kTensors, nodes - first);  // after the last: what was there before
        for (std::size_t n = 0; n < count; ++n) {
            for (std::size_t k = 0; k < 6; ++k) components[k][n] = tensors[6 * (first + n) + k];
        }
        for (std::size_t vector = 0; vector < kVectors; ++vector) load(components, vector, work);
        make_diagonal(work);
        for (std::size_t vector = 0; vector < kVectors; ++vector) store(work, vector, sorted_values, sorted_axes);
        std::copy_n(sorted_values, 3 * count, values + 3 * first);
        for (std::size_t n = 0; n < count; ++n) {
            for (std::size_t place = 0; place < 3; ++place)
                std::copy_n(sorted_axes[place] + 3 * n, 3, axes + 9 * (first + n) + 3 * place);
        }
    }
}

}  // namespace
}  // namespace zam::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam {
namespace {

ZAM_EXPORT(solve);

}  // namespace

void principal_stresses(std::span<const float> tensors, std::span<float> values, std::span<float> axes) {
    ZAM_DISPATCH(solve)(tensors.data(), values.size() / 3, values.data(), axes.data());
}

}  // namespace zam
#endif
