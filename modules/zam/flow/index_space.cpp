// The Jacobian of a node is inverted by its adjugate: no branch, no pivot, so that several nodes are processed at once.
// Products of two floats are exact in double precision, hence every cofactor is right to the last bit and only the sum
// that makes the determinant can cancel. Where no inverse is left, the host's own operation decides.
#include "modules/zam/flow/index_space.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "modules/support/lanes.h"
#include "modules/zam/lic_jacobi.h"

namespace zam {
namespace {

// Nodes processed together.
constexpr int kNodes = 128;

// A determinant this small compared with its terms is what rounding leaves of a zero.
constexpr double kSingular = 1e-15;

namespace any_processor {
#define ZAM_LANES
#include "modules/zam/flow/index_space_lanes.inc"
#undef ZAM_LANES
}  // namespace any_processor

#if defined(__x86_64__) && !defined(_WIN32)
namespace wide_registers {
#define ZAM_LANES __attribute__((target("avx2")))
#include "modules/zam/flow/index_space_lanes.inc"
#undef ZAM_LANES
}  // namespace wide_registers

bool has_wide_registers() { return __builtin_cpu_supports("avx2") != 0; }
#else
namespace wide_registers = any_processor;

bool has_wide_registers() { return false; }
#endif

/// The nodes of a structured grid in the order in which they are stored.
template <int N, class Arithmetic>
class Grid {
public:
    Grid(const std::array<xp_long, N>& dims, const float* positions) : dims_(dims), positions_(positions) {}

    /// Differences of the positions of `count` nodes from `first` on along an axis, node after node.
    void differences(std::size_t axis, xp_long first, xp_long count, float* out) const {
        xp_long stride = 1;
        for (std::size_t a = 0; a < axis; ++a) stride *= dims_[a];
        const xp_long nodes = dims_[axis];
        if (nodes == 1) return fill_unit_vectors(axis, count, out);
        xp_long index = first / stride % nodes;
        xp_long done = first % stride;  // nodes of this index that lie before `first`
        while (count > 0) {             // runs of nodes that have the same neighbours missing
            const bool inside = axis == 0 && index > 0 && index < nodes - 1;
            const xp_long run = std::min(count, inside ? nodes - 1 - index : stride - done);
            const xp_long back = index > 0 ? stride * N : 0;
            const xp_long ahead = index < nodes - 1 ? stride * N : 0;
            // a missing neighbour adds nothing
            Arithmetic::difference(positions_ + first * N, back, ahead, back > 0 && ahead > 0 ? 0.5F : 1.0F, run * N,
                                   out);
            first += run;
            count -= run;
            out += run * N;
            done = 0;
            index += inside ? run : 1;
            if (index == nodes) index = 0;
        }
    }

private:
    static void fill_unit_vectors(std::size_t axis, xp_long count, float* out) {
        for (xp_long m = 0; m < count * N; ++m) out[m] = m % N == static_cast<xp_long>(axis) ? 1.0F : 0.0F;
    }

    std::array<xp_long, N> dims_;
    const float* positions_;
};

/// Expresses the vectors whose results are not finite once more, with the host's inverses of their matrices.
/// @param differences  along each axis, of `count` nodes
template <int N>
void express_by_host(const float* const (&differences)[N], xp_long count, const float* vectors, MatrixInverse inverse,
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

template <int N, class Arithmetic>
void express_grid(const std::array<xp_long, N>& dims, const float* positions, const float* vectors, xp_long nodes,
                  MatrixInverse inverse, float* result) {
    const Grid<N, Arithmetic> grid(dims, positions);
    float differences[N][kNodes * N] = {};
    const float* axes[N];
    for (std::size_t axis = 0; axis < N; ++axis) axes[axis] = differences[axis];
    for (xp_long first = 0; first < nodes; first += kNodes) {
        const xp_long count = std::min<xp_long>(kNodes, nodes - first);
        for (std::size_t axis = 0; axis < N; ++axis) grid.differences(axis, first, count, differences[axis]);
        const float* from = vectors + first * N;
        float* to = result + first * N;
        bool finite = true;
        if (count == kNodes) {
            finite = Arithmetic::template express<N>(axes, from, to);
        } else {  // places after the last node are computed as well, but not used
            float in[kNodes * N] = {};
            float out[kNodes * N];
            std::copy_n(from, count * N, in);
            finite = Arithmetic::template express<N>(axes, in, out);
            std::copy_n(out, count * N, to);
        }
        if (!finite) express_by_host<N>(axes, count, from, inverse, to);
    }
}

}  // namespace

template <int N>
void to_index_space(const std::array<xp_long, N>& dims, std::span<const float> positions,
                    std::span<const float> vectors, std::span<float> result, Registers registers,
                    MatrixInverse inverse) {
    const auto nodes = static_cast<xp_long>(result.size() / N);
    const bool wide = registers == Registers::widest && has_wide_registers();
    const auto express =
        wide ? express_grid<N, wide_registers::Arithmetic> : express_grid<N, any_processor::Arithmetic>;
    express(dims, positions.data(), vectors.data(), nodes, inverse, result.data());
}

template void to_index_space<2>(const std::array<xp_long, 2>&, std::span<const float>, std::span<const float>,
                                std::span<float>, Registers, MatrixInverse);
template void to_index_space<3>(const std::array<xp_long, 3>&, std::span<const float>, std::span<const float>,
                                std::span<float>, Registers, MatrixInverse);

}  // namespace zam
