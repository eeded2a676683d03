// Principal stresses one tensor at a time: what the module's lanes have to equal, to the last bit.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

namespace zam {

/// Jacobi rotations of one symmetric matrix in double precision.
struct PlainTensor {
    double element[3][3] = {};                              // upper triangle
    double axis[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // [column][component]

    void rotate(std::size_t p, std::size_t q) {
        const std::size_t other = 3 - p - q;
        const double twice = 2 * element[p][q];
        const double gap = element[q][q] - element[p][p];
        const double root = std::sqrt(gap * gap + twice * twice);
        const double tangent =
            std::copysign(1.0, gap) * twice / (std::fabs(gap) + root + std::numeric_limits<double>::min());
        const double cosine = 1 / std::sqrt(1 + tangent * tangent);
        const double sine = tangent * cosine;
        element[p][p] -= tangent * element[p][q];
        element[q][q] += tangent * element[p][q];
        element[p][q] = 0;
        const auto turn = [&](double& a, double& b) {
            const double before = a;
            a = cosine * before - sine * b;
            b = sine * before + cosine * b;
        };
        turn(element[std::min(p, other)][std::max(p, other)], element[std::min(q, other)][std::max(q, other)]);
        for (std::size_t k = 0; k < 3; ++k) turn(axis[p][k], axis[q][k]);
    }

    double rest() const {
        return element[0][1] * element[0][1] + element[0][2] * element[0][2] + element[1][2] * element[1][2];
    }
};

/// @param tensor  xx yy zz xy yz zx
/// @param values  3, descending
/// @param axes    3 x 3
inline void plain_principal_stress(const float* tensor, float* values, float* axes) {
    std::fill_n(values, 3, 0.0F);
    std::fill_n(axes, 9, 0.0F);
    if (!std::all_of(tensor, tensor + 6, [](float value) { return std::isfinite(value); })) return;
    if (std::accumulate(tensor + 1, tensor + 6, tensor[0]) == 0.0F) return;
    const auto [xx, yy, zz, xy, yz, zx] =
        std::array<double, 6>{tensor[0], tensor[1], tensor[2], tensor[3], tensor[4], tensor[5]};
    PlainTensor work{.element = {{xx, xy, zx}, {0, yy, yz}, {0, 0, zz}}};
    constexpr double kThreshold = 1e-6 * std::numeric_limits<float>::epsilon();
    const double squares = xx * xx + yy * yy + zz * zz + 2 * xy * xy + 2 * yz * yz + 2 * zx * zx;
    for (int sweep = 0; sweep < 100 && work.rest() > kThreshold * kThreshold * squares; ++sweep) {
        work.rotate(0, 1);
        work.rotate(0, 2);
        work.rotate(1, 2);
    }
    std::array<std::size_t, 3> order{0, 1, 2};
    for (auto place = order.begin(); place != order.end(); ++place) {  // of equals the first is taken
        std::iter_swap(place, std::max_element(place, order.end(), [&](std::size_t a, std::size_t b) {
                           return work.element[a][a] < work.element[b][b];
                       }));
    }
    for (std::size_t place = 0; place < 3; ++place) {
        values[place] = static_cast<float>(work.element[order[place]][order[place]]);
        for (std::size_t k = 0; k < 3; ++k) axes[3 * place + k] = static_cast<float>(work.axis[order[place]][k]);
    }
}

}  // namespace zam
