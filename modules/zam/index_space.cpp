// The Jacobian of a node is inverted by its adjugate: no branch, no pivot, so that the compiler works on several nodes
// at once. Products of two floats are exact in double precision, hence every cofactor is right to the last bit and only
// the sum that makes the determinant can cancel.
#include "modules/zam/index_space.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

namespace zam {
namespace {

// Nodes worked on together, a component after the other. All loops over them have this length, and are vectorised.
constexpr int kNodes = 128;

template <class T, int Count>
using Lanes = std::array<std::array<T, kNodes>, Count>;

// A determinant this small beside its terms is what rounding leaves of a zero.
constexpr double kSingular = 1e-15;

template <int N>
struct Jacobians {
    std::array<Lanes<float, N>, N> rows;  // [axis][component]
    Lanes<double, N * N> adjugate;        // row-major
    std::array<double, kNodes> factor;    // 1 / determinant, not finite where there is no inverse
};

void fill_adjugate(Jacobians<2>& jacobians) {
    const auto& [along_i, along_j] = jacobians.rows;
    auto& out = jacobians.adjugate;
    for (std::size_t n = 0; n < kNodes; ++n) {
        out[0][n] = static_cast<double>(along_j[1][n]);
        out[1][n] = -static_cast<double>(along_i[1][n]);
        out[2][n] = -static_cast<double>(along_j[0][n]);
        out[3][n] = static_cast<double>(along_i[0][n]);
    }
}

void fill_adjugate(Jacobians<3>& jacobians) {
    const auto& [along_i, along_j, along_k] = jacobians.rows;
    auto& out = jacobians.adjugate;
    for (std::size_t n = 0; n < kNodes; ++n) {
        const double xi = along_i[0][n], yi = along_i[1][n], zi = along_i[2][n];
        const double xj = along_j[0][n], yj = along_j[1][n], zj = along_j[2][n];
        const double xk = along_k[0][n], yk = along_k[1][n], zk = along_k[2][n];
        out[0][n] = yj * zk - zj * yk;
        out[1][n] = zi * yk - yi * zk;
        out[2][n] = yi * zj - zi * yj;
        out[3][n] = zj * xk - xj * zk;
        out[4][n] = xi * zk - zi * xk;
        out[5][n] = zi * xj - xi * zj;
        out[6][n] = xj * yk - yj * xk;
        out[7][n] = yi * xk - xi * yk;
        out[8][n] = xi * yj - yi * xj;
    }
}

template <int N>
void fill_factor(Jacobians<N>& jacobians) {
    for (std::size_t n = 0; n < kNodes; ++n) {
        double determinant = 0;
        double size = 0;
        for (std::size_t c = 0; c < N; ++c) {
            const double term = static_cast<double>(jacobians.rows[0][c][n]) * jacobians.adjugate[c * N][n];
            determinant += term;
            size += std::fabs(term);
        }
        jacobians.factor[n] = 1.0 / (std::fabs(determinant) > kSingular * size ? determinant : 0.0);
    }
}

/// An element of the inverse, row-major; not finite where a float cannot hold it.
template <int N>
float inverse_element(const Jacobians<N>& jacobians, std::size_t element, std::size_t node) {
    return static_cast<float>(jacobians.adjugate[element][node] * jacobians.factor[node]);
}

template <int N>
void multiply(const Lanes<float, N>& vectors, const Jacobians<N>& jacobians, Lanes<float, N>& result) {
    for (std::size_t c = 0; c < N; ++c) {
        for (std::size_t n = 0; n < kNodes; ++n) {
            float sum = vectors[0][n] * inverse_element(jacobians, c, n);
            for (std::size_t r = 1; r < N; ++r) sum += vectors[r][n] * inverse_element(jacobians, r * N + c, n);
            result[c][n] = sum + 0.0F;  // the translation of the matrix
        }
    }
}

/// Zero vectors for the nodes without an inverse. These, and few others, have results that are not finite.
template <int N>
void clear_singular(const Jacobians<N>& jacobians, Lanes<float, N>& result) {
    int unusual = 0;
    for (const auto& component : result) {
        for (const float value : component) unusual |= std::fabs(value) <= std::numeric_limits<float>::max() ? 0 : 1;
    }
    if (unusual == 0) return;
    for (std::size_t n = 0; n < kNodes; ++n) {
        bool invertible = true;
        for (std::size_t e = 0; e < N * N; ++e)
            invertible = invertible && std::isfinite(inverse_element(jacobians, e, n));
        for (std::size_t c = 0; c < N && !invertible; ++c) result[c][n] = 0;
    }
}

/// The nodes of a structured grid in the order in which they are stored.
template <int N>
class Grid {
public:
    Grid(const std::array<xp_long, N>& dims, const float* positions) : dims_(dims), positions_(positions) {}

    /// Differences of the positions of `count` nodes from `first` on along an axis, node after node.
    void differences(std::size_t axis, xp_long first, xp_long count, float* out) const {
        xp_long stride = 1;
        for (std::size_t a = 0; a < axis; ++a) stride *= dims_[a];
        while (count > 0) {  // runs of nodes that are alike in having neighbours
            const xp_long index = first / stride % dims_[axis];
            const bool inside = axis == 0 && index > 0 && index < dims_[0] - 1;
            const xp_long run = std::min(count, inside ? dims_[0] - 1 - index : stride - first % stride);
            difference_run(axis, first, run, stride, index, out);
            first += run;
            count -= run;
            out += run * N;
        }
    }

private:
    void difference_run(std::size_t axis, xp_long first, xp_long count, xp_long stride, xp_long index,
                        float* out) const {
        const xp_long step = stride * N;
        const float* here = positions_ + first * N;
        const bool previous = index > 0;
        const bool next = index < dims_[axis] - 1;
        const xp_long size = count * N;
        if (previous && next) {
            for (xp_long m = 0; m < size; ++m) out[m] = ((here[m] - here[m - step]) + (here[m + step] - here[m])) / 2;
        } else if (previous) {
            for (xp_long m = 0; m < size; ++m) out[m] = here[m] - here[m - step];
        } else if (next) {
            for (xp_long m = 0; m < size; ++m) out[m] = here[m + step] - here[m];
        } else {
            for (xp_long m = 0; m < size; ++m) out[m] = m % N == static_cast<xp_long>(axis) ? 1.0F : 0.0F;
        }
    }

    std::array<xp_long, N> dims_;
    const float* positions_;
};

// Compilers find the shuffles for two components a node, but not the few that do for three.
void split(const float* values, Lanes<float, 2>& components) {
    for (std::size_t n = 0; n < kNodes; ++n) {
        components[0][n] = values[2 * n];
        components[1][n] = values[2 * n + 1];
    }
}

void split(const float* values, Lanes<float, 3>& components) {
    typedef float Floats __attribute__((vector_size(16)));
    for (std::size_t n = 0; n < kNodes; n += 4) {
        Floats quads[3];  // x0 y0 z0 x1, y1 z1 x2 y2, z2 x3 y3 z3
        std::memcpy(quads, values + 3 * n, sizeof quads);
        const Floats yz01 = __builtin_shufflevector(quads[0], quads[1], 1, 2, 4, 5);
        const Floats xy23 = __builtin_shufflevector(quads[1], quads[2], 2, 3, 5, 6);
        const Floats x = __builtin_shufflevector(quads[0], xy23, 0, 3, 4, 6);
        const Floats y = __builtin_shufflevector(yz01, xy23, 0, 2, 5, 7);
        const Floats z = __builtin_shufflevector(yz01, quads[2], 1, 3, 4, 7);
        std::memcpy(&components[0][n], &x, sizeof x);
        std::memcpy(&components[1][n], &y, sizeof y);
        std::memcpy(&components[2][n], &z, sizeof z);
    }
}

template <int N>
void join(const Lanes<float, N>& components, float* values) {
    for (std::size_t n = 0; n < kNodes; ++n) {
        for (std::size_t c = 0; c < N; ++c) values[N * n + c] = components[c][n];
    }
}

}  // namespace

template <int N>
void to_index_space(const std::array<xp_long, N>& dims, std::span<const float> positions,
                    std::span<const float> vectors, std::span<float> result) {
    const auto nodes = static_cast<xp_long>(result.size() / N);
    const Grid<N> grid(dims, positions.data());
    std::array<float, kNodes * N> buffer{};  // its tail, behind the last node, is computed with and not used
    Jacobians<N> jacobians;
    Lanes<float, N> in;
    Lanes<float, N> out;
    for (xp_long first = 0; first < nodes; first += kNodes) {
        const xp_long count = std::min<xp_long>(kNodes, nodes - first);
        for (std::size_t axis = 0; axis < N; ++axis) {
            grid.differences(axis, first, count, buffer.data());
            split(buffer.data(), jacobians.rows[axis]);
        }
        fill_adjugate(jacobians);
        fill_factor(jacobians);
        std::copy_n(vectors.data() + first * N, count * N, buffer.data());
        split(buffer.data(), in);
        multiply<N>(in, jacobians, out);
        clear_singular<N>(jacobians, out);
        join<N>(out, buffer.data());
        std::copy_n(buffer.data(), count * N, result.data() + first * N);
    }
}

template void to_index_space<2>(const std::array<xp_long, 2>&, std::span<const float>, std::span<const float>,
                                std::span<float>);
template void to_index_space<3>(const std::array<xp_long, 3>&, std::span<const float>, std::span<const float>,
                                std::span<float>);

}  // namespace zam
