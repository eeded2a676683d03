// Separatrices: the lines on which the flow leaves or reaches a saddle.
//
// Source: Helman and Hesselink, "Visualizing vector field topology in fluid flows", IEEE Computer Graphics and
// Applications 11 (1991); integration by Euler's method.
#pragma once

#include <cstdint>
#include <optional>

#include "modules/zam/flow/skeleton.h"

namespace zam::topology {

/// Traces the four separatrices of every saddle, those whose start lies on the grid: in the order of the saddles, or as
/// if so.
/// @return false if the skeleton is exhausted; the last separatrix is then incomplete
bool trace_separatrices(const VectorGrid& grid, Skeleton& skeleton);

/// Continues a separatrix from its last node until it leaves the grid, comes to rest or gets near a saddle or a marker.
/// @param direction  1 with the flow, -1 against it
/// @param steps      taken so far, at most as many as lead to a marker
/// @return as trace_separatrices
bool trace_separatrix(const VectorGrid& grid, TopologyPoint& start, int direction, Skeleton& skeleton,
                      std::int64_t steps = 0);

/// The position after another one, one step with or against the flow: the vector divided by `interval`. `nullopt` where
/// the flow rests (below 1e-10) or the step leaves the grid.
std::optional<TopologyVector> step_forward(const VectorGrid& grid, double x, double y, double interval);
std::optional<TopologyVector> step_backward(const VectorGrid& grid, double x, double y, double interval);

/// Whether a position lies within the radius of an entry in its cell's bucket.
bool near_saddle(double x, double y, Skeleton& skeleton);

}  // namespace zam::topology
