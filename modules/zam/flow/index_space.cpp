// The Jacobian of a node is inverted by its adjugate: no branch, no pivot, so that several nodes are processed at once.
// Products of two floats are exact in double precision, hence every cofactor is right to the last bit and only the sum
// that makes the determinant can cancel. Where no inverse is left, the host's own operation decides.
#include "modules/zam/flow/index_space.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <hwy/cache_control.h>

#include "modules/zam/lic_jacobi.h"

#ifndef ZAM_CURVILINEAR
#define ZAM_CURVILINEAR
namespace zam {
namespace {

// Nodes of a block, whose differences stay in the nearest cache.
constexpr xp_long kNodes = 128;

template <int N>
struct Curvilinear {
    std::array<xp_long, N> dims;
    const float* positions;
    const float* vectors;
    xp_long size;   // values of either: nodes x N
    xp_long slice;  // nodes between neighbours along the last axis
};

}  // namespace
}  // namespace zam
#endif

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/flow/index_space.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// As many nodes at once as there are lanes of doubles.
constexpr hn::ScalableTag<double> kDoubles;
constexpr auto kLanes = static_cast<xp_long>(hn::MaxLanes(kDoubles));
constexpr hn::Rebind<float, hn::ScalableTag<double>> kFloats;
using Doubles = hn::Vec<decltype(kDoubles)>;
using Floats = hn::Vec<decltype(kFloats)>;

// --- One step. Its loops are unrolled, since GCC at -O2 would keep the matrices in memory ---

/// A matrix per node: [row][column].
template <int N>
struct Matrices {
    Doubles at[N][N];
};

HWY_INLINE void load_nodes(const float* from, Floats (&to)[2]) { hn::LoadInterleaved2(kFloats, from, to[0], to[1]); }
HWY_INLINE void load_nodes(const float* from, Floats (&to)[3]) {
    hn::LoadInterleaved3(kFloats, from, to[0], to[1], to[2]);
}
HWY_INLINE void store_nodes(const Floats (&from)[2], float* to) {
    hn::StoreInterleaved2(from[0], from[1], kFloats, to);
}
HWY_INLINE void store_nodes(const Floats (&from)[3], float* to) {
    hn::StoreInterleaved3(from[0], from[1], from[2], kFloats, to);
}

/// a b - c d
HWY_INLINE Doubles cross(Doubles a, Doubles b, Doubles c, Doubles d) { return hn::Sub(hn::Mul(a, b), hn::Mul(c, d)); }

HWY_INLINE void fill_adjugate(const Matrices<2>& jacobian, Matrices<2>& out) {
    const auto& [along_i, along_j] = jacobian.at;
    out.at[0][0] = along_j[1];
    out.at[0][1] = hn::Neg(along_i[1]);
    out.at[1][0] = hn::Neg(along_j[0]);
    out.at[1][1] = along_i[0];
}

HWY_INLINE void fill_adjugate(const Matrices<3>& jacobian, Matrices<3>& out) {
    const auto& [xi, yi, zi] = jacobian.at[0];
    const auto& [xj, yj, zj] = jacobian.at[1];
    const auto& [xk, yk, zk] = jacobian.at[2];
    out.at[0][0] = cross(yj, zk, zj, yk);
    out.at[0][1] = cross(zi, yk, yi, zk);
    out.at[0][2] = cross(yi, zj, zi, yj);
    out.at[1][0] = cross(zj, xk, xj, zk);
    out.at[1][1] = cross(xi, zk, zi, xk);
    out.at[1][2] = cross(zi, xj, xi, zj);
    out.at[2][0] = cross(xj, yk, yj, xk);
    out.at[2][1] = cross(yi, xk, xi, yk);
    out.at[2][2] = cross(xi, yj, yi, xj);
}

/// 1 / determinant; not finite where there is no inverse.
template <int N>
HWY_INLINE Doubles inverse_determinant(const Matrices<N>& jacobian, const Matrices<N>& adjugate) {
    // a determinant this small compared with its terms is what rounding leaves of a zero
    const auto singular = hn::Set(kDoubles, 1e-15);
    auto determinant = hn::Mul(jacobian.at[0][0], adjugate.at[0][0]);
    auto size = hn::Abs(determinant);
#pragma GCC unroll 3
    for (int c = 1; c < N; ++c) {
        const auto term = hn::Mul(jacobian.at[0][c], adjugate.at[c][0]);
        determinant = hn::Add(determinant, term);
        size = hn::Add(size, hn::Abs(term));
    }
    const auto regular = hn::Gt(hn::Abs(determinant), hn::Mul(singular, size));
    return hn::IfThenElse(regular, hn::Div(hn::Set(kDoubles, 1.0), determinant), hn::Inf(kDoubles));
}

/// Expresses the vectors of as many nodes as there are lanes in index space.
/// @param differences  of the positions along each axis
/// @param unusual      not zero afterwards where a result is not finite, as those without an inverse never are
template <int N>
HWY_INLINE void express(const float* const (&differences)[N], const float* vectors, float* result, Floats& unusual) {
    Matrices<N> jacobian, adjugate;
#pragma GCC unroll 3
    for (int axis = 0; axis < N; ++axis) {
        Floats row[N];
        load_nodes(differences[axis], row);
#pragma GCC unroll 3
        for (int c = 0; c < N; ++c) jacobian.at[axis][c] = hn::PromoteTo(kDoubles, row[c]);
    }
    fill_adjugate(jacobian, adjugate);
    const auto factor = inverse_determinant<N>(jacobian, adjugate);
    Floats in[N], out[N];
    load_nodes(vectors, in);
#pragma GCC unroll 3
    for (int c = 0; c < N; ++c) {
#pragma GCC unroll 3
        for (int r = 0; r < N; ++r) {
            const auto product = hn::Mul(in[r], to_floats(kFloats, hn::Mul(adjugate.at[r][c], factor)));
            out[c] = r == 0 ? product : hn::Add(out[c], product);
        }
        out[c] = hn::Add(out[c], hn::Zero(kFloats));                     // the translation of the matrix
        unusual = hn::Add(unusual, hn::Mul(out[c], hn::Zero(kFloats)));  // not a number, unless finite
    }
    store_nodes(out, result);
}

// --- Differences ---

/// Sums of the differences to a value `back` places before and one `ahead` places after each of `size` values, times
/// `scale`.
HWY_INLINE void fill_differences(const float* here, xp_long back, xp_long ahead, float scale, xp_long size,
                                 float* out) {
    const auto step = [&](auto lanes, xp_long m) HWY_ATTR {
        const auto middle = hn::LoadU(lanes, here + m);
        const auto before = hn::Sub(middle, hn::LoadU(lanes, here + m - back));
        const auto after = hn::Sub(hn::LoadU(lanes, here + m + ahead), middle);
        hn::StoreU(hn::Mul(hn::Add(before, after), hn::Set(lanes, scale)), lanes, out + m);
    };
    const hn::ScalableTag<float> all;
    const auto width = static_cast<xp_long>(hn::Lanes(all));
    xp_long m = 0;
    for (; m + width <= size; m += width) step(all, m);
    if (m < size && m > 0) return step(all, size - width);  // some a second time
    const hn::CappedTag<float, 1> one;
    for (; m < size; ++m) step(one, m);
}

/// Differences of the positions of `count` nodes from `first` on along an axis, node after node.
template <int N>
HWY_INLINE void fill_axis(const Curvilinear<N>& grid, std::size_t axis, xp_long first, xp_long count, float* out) {
    xp_long stride = 1;
    for (std::size_t a = 0; a < axis; ++a) stride *= grid.dims[a];
    const xp_long nodes = grid.dims[axis];
    if (nodes == 1) {  // unit vectors
        for (xp_long m = 0; m < count * N; ++m) out[m] = m % N == static_cast<xp_long>(axis) ? 1.0F : 0.0F;
        return;
    }
    xp_long index = first / stride % nodes;
    xp_long done = first % stride;  // nodes of this index that lie before `first`
    while (count > 0) {             // runs of nodes that have the same neighbours missing
        const bool inside = axis == 0 && index > 0 && index < nodes - 1;
        const xp_long run = std::min(count, inside ? nodes - 1 - index : stride - done);
        const xp_long back = index > 0 ? stride * N : 0;
        const xp_long ahead = index < nodes - 1 ? stride * N : 0;
        // a missing neighbour adds nothing
        fill_differences(grid.positions + first * N, back, ahead, back > 0 && ahead > 0 ? 0.5F : 1.0F, run * N, out);
        first += run;
        count -= run;
        out += run * N;
        done = 0;
        index += inside ? run : 1;
        if (index == nodes) index = 0;
    }
}

// --- Blocks of nodes ---

/// Fetches the values of a step's nodes into the caches. Those beyond the last of `size` values are not touched.
template <int N>
HWY_INLINE void prefetch(const float* values, xp_long node, xp_long size) {
    constexpr xp_long kLine = 64 / sizeof(float);
    for (xp_long at = 0; at < kLanes * N; at += kLine) hwy::Prefetch(values + std::min(node * N + at, size - 1));
}

/// Expresses the vectors of `count` nodes, at most kNodes, from `first` on, and leaves the differences along each axis.
/// @param differences  along each axis: room for kNodes nodes
/// @return whether all results are finite
template <int N>
HWY_INLINE bool express_block(const Curvilinear<N>& grid, xp_long first, xp_long count, float* const* differences,
                              float* result) {
    for (std::size_t axis = 0; axis < N; ++axis) fill_axis<N>(grid, axis, first, count, differences[axis]);
    float in[kLanes * N] = {};  // places after the last node are computed as well, but not used
    float out[kLanes * N];
    auto unusual = hn::Zero(kFloats);
    for (xp_long n = 0; n < count; n += kLanes) {
        const xp_long next = first + n + kNodes;  // of the next block, whose differences come without a pause
        prefetch<N>(grid.positions, next + grid.slice, grid.size);
        prefetch<N>(grid.vectors, next, grid.size);
        prefetch<N>(result, next, grid.size);
        const float* here[N];
        for (int axis = 0; axis < N; ++axis) here[axis] = differences[axis] + n * N;
        const xp_long at = (first + n) * N;
        if (n + kLanes <= count) {
            express<N>(here, grid.vectors + at, result + at, unusual);
        } else {
            std::copy_n(grid.vectors + at, (count - n) * N, in);
            express<N>(here, in, out, unusual);
            std::copy_n(out, (count - n) * N, result + at);
        }
    }
    return hn::AllTrue(kFloats, hn::Eq(unusual, hn::Zero(kFloats)));
}

bool express_2d(const Curvilinear<2>& grid, xp_long first, xp_long count, float* const* differences, float* result) {
    return express_block<2>(grid, first, count, differences, result);
}
bool express_3d(const Curvilinear<3>& grid, xp_long first, xp_long count, float* const* differences, float* result) {
    return express_block<3>(grid, first, count, differences, result);
}

}  // namespace
}  // namespace zam::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam {
namespace {

ZAM_EXPORT(express_2d);
ZAM_EXPORT(express_3d);

/// Expresses the vectors whose results are not finite once more, with the host's inverses of their matrices.
/// @param differences  along each axis, of `count` nodes
template <int N>
void express_by_host(const float* const* differences, xp_long count, const float* vectors, MatrixInverse inverse,
                     float* result) {
    constexpr int kSide = N + 1;
    for (xp_long at = 0; at < count * N; at += N) {
        float* vector = result + at;
        if (std::all_of(vector, vector + N, [](float value) { return std::isfinite(value); })) continue;
        float matrix[kSide * kSide] = {};
        for (int axis = 0; axis < N; ++axis) std::copy_n(differences[axis] + at, N, matrix + kSide * axis);
        matrix[kSide * kSide - 1] = 1;
        std::copy_n(vectors + at, N, vector);
        if (inverse(matrix, matrix) != 1)
            std::fill_n(vector, N, 0.0F);
        else if constexpr (N == 2)
            MATvec2_mat3_multiply(vector, matrix);
        else
            MATvec3_mat4_multiply(vector, matrix);
    }
}

}  // namespace

template <int N>
void to_index_space(const std::array<xp_long, N>& dims, std::span<const float> positions,
                    std::span<const float> vectors, std::span<float> result, MatrixInverse inverse) {
    alignas(64) float values[N][kNodes * N] = {};
    float* differences[N];
    for (int axis = 0; axis < N; ++axis) differences[axis] = values[axis];
    const auto size = static_cast<xp_long>(result.size());
    const Curvilinear<N> grid{dims, positions.data(), vectors.data(), size, N == 2 ? dims[0] : dims[0] * dims[1]};
    for (xp_long first = 0; first < size / N; first += kNodes) {
        const xp_long count = std::min(kNodes, size / N - first);
        bool finite = true;
        if constexpr (N == 2)
            finite = ZAM_DISPATCH(express_2d)(grid, first, count, differences, result.data());
        else
            finite = ZAM_DISPATCH(express_3d)(grid, first, count, differences, result.data());
        if (!finite)
            express_by_host<N>(differences, count, vectors.data() + first * N, inverse, result.data() + first * N);
    }
}

template void to_index_space<2>(const std::array<xp_long, 2>&, std::span<const float>, std::span<const float>,
                                std::span<float>, MatrixInverse);
template void to_index_space<3>(const std::array<xp_long, 3>&, std::span<const float>, std::span<const float>,
                                std::span<float>, MatrixInverse);

}  // namespace zam
#endif
