// Steps along separatrices, side by side in lanes.
#pragma once

#include <cstddef>

#include "modules/zam/flow/vector_grid.h"

namespace zam::topology {

/// Separatrices that are followed at once: one alone would wait for its own arithmetic at every step. A multiple of all
/// widths.
constexpr std::size_t kTogether = 16;
/// Steps at a time.
constexpr std::size_t kRun = 64;

/// Where separatrices are after each step; x is not a number from where they stop.
struct Run {
    alignas(64) double x[kRun + 1][kTogether];
    alignas(64) double y[kRun + 1][kTogether];
    alignas(64) double interval[kTogether];  // below 0 against the flow
};

/// Flow whose squared speed is below this may rest.
constexpr double kMayRest = 2e-20;

/// Whether steps from a position are taken here: anywhere but on the last column and row, which have no neighbours.
inline bool is_inside(const VectorGrid& grid, double x, double y) {
    return x >= 0.0 && x < grid.columns - 1 && y >= 0.0 && y < grid.rows - 1;
}

/// Takes steps from where a run begins, to the same bits as one by one. It stops where a step would leave the inside or
/// the flow may rest: what happens there is left to the caller.
/// @pre  the grid has cells
void take_run(const VectorGrid& grid, Run& run);

}  // namespace zam::topology
