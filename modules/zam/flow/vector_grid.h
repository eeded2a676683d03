// A plane vector field on a grid, sampled bilinearly. Positions are grid indices.
#pragma once

#include <cstddef>

#include "modules/zam/topology.h"

namespace zam::topology {

struct VectorGrid {
    const float* vectors = nullptr;  // u, v of node (i, j) at 2 (j * columns + i)
    int columns = 0;
    int rows = 0;

    const float* node(int i, int j) const { return vectors + 2 * (std::ptrdiff_t{j} * columns + i); }

    /// Whether a position lies on the grid, its borders included. One that is not a number does not.
    bool contains(double x, double y) const { return x >= 0.0 && x <= columns - 1 && y >= 0.0 && y <= rows - 1; }
};

/// The vector at a position on the grid, in double precision.
inline TopologyVector sample_vector(const VectorGrid& grid, double x, double y) {
    const int i = static_cast<int>(x);
    const int j = static_cast<int>(y);
    const double fx = x - i;
    const double fy = y - j;
    // on the last column or row the far neighbours have no weight, but they must be there to be read
    const std::ptrdiff_t right = i + 1 < grid.columns ? 2 : 0;
    const std::ptrdiff_t up = j + 1 < grid.rows ? 2 * std::ptrdiff_t{grid.columns} : 0;
    const float* near = grid.node(i, j);
    const float* far = near + up;
    const auto blend = [&](int component) {
        const double a = near[component];
        const double b = near[right + component];
        const double c = far[component];
        const double d = far[right + component];
        return (a * (1 - fx) + b * fx) * (1 - fy) + (c * (1 - fx) + d * fx) * fy;
    };
    return {blend(0), blend(1)};
}

}  // namespace zam::topology
