// The Jacobian transform node by node with the host's matrix operations: the yardstick of to_index_space().
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "contract/mat.h"
#include "modules/zam/lic_jacobi.h"

namespace zam {

/// As to_index_space(). A matrix that the host cannot invert gives a zero vector.
template <int N>
std::vector<float> plain_index_space(const std::array<xp_long, N>& dims, const std::vector<float>& positions,
                                     const std::vector<float>& vectors) {
    constexpr int kSide = N + 1;
    std::vector<float> result = vectors;
    const auto nodes = static_cast<xp_long>(vectors.size()) / N;
    for (xp_long node = 0; node < nodes; ++node) {
        std::array<float, kSide * kSide> matrix{};
        matrix.back() = 1;
        xp_long stride = 1;
        for (std::size_t d = 0; d < N; stride *= dims[d], ++d) {
            const xp_long index = node / stride % dims[d];
            for (std::size_t c = 0; c < N; ++c) {
                const auto at = [&](xp_long n) { return positions[static_cast<std::size_t>(n * N) + c]; };
                float sum = 0;
                float count = 0;
                if (index > 0) sum += at(node) - at(node - stride), ++count;
                if (index < dims[d] - 1) sum += at(node + stride) - at(node), ++count;
                matrix[d * kSide + c] = count > 0 ? sum / count : (c == d ? 1.0F : 0.0F);
            }
        }
        float* vector = result.data() + node * N;
        const int invertible =
            N == 2 ? MATmat3_inverse(matrix.data(), matrix.data()) : MATmat4_inverse(matrix.data(), matrix.data());
        if (invertible != 1) std::fill_n(vector, N, 0.0F);
        if (invertible == 1 && N == 2) MATvec2_mat3_multiply(vector, matrix.data());
        if (invertible == 1 && N == 3) MATvec3_mat4_multiply(vector, matrix.data());
    }
    return result;
}

}  // namespace zam
