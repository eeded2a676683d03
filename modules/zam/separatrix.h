// Separatrices: the lines on which the flow leaves or reaches a saddle.
//
// Source: Helman and Hesselink, "Visualizing vector field topology in fluid flows", IEEE Computer Graphics and
// Applications 11 (1991); integration by Euler's method.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "modules/zam/topology.h"
#include "modules/zam/vector_grid.h"

namespace zam::topology {

/// What the exported lists consist of, and how much more of it there may be. The topology module holds the only one
/// that the lists point into.
struct Skeleton {
    // addresses last: both are only extended at their end, and taken from there or from the front
    std::deque<TopologyPoint> points;    // of the separatrices, in the order of the list
    std::deque<Streamline> streamlines;  // in the order of the list
    std::deque<TopologyPoint> entries;   // of the buckets
    std::vector<std::size_t> filled;     // buckets with entries; some are named more than once
    std::int64_t comparisons = 0;        // with bucket entries

    /// Bounds for fields and parameters that keep separatrices circling: some 4 GB with the outputs, some seconds.
    static constexpr std::size_t kMostPoints = std::size_t{1} << 26;
    static constexpr std::int64_t kMostComparisons = std::int64_t{1} << 29;

    bool exhausted() const { return points.size() >= kMostPoints || comparisons >= kMostComparisons; }

    /// Ends the separatrices; the list is empty then.
    void end_streamlines();
    /// Ends the bucket entries of the last run and empties the buckets of the cells of this grid.
    void reset_buckets(const VectorGrid& grid);
    /// Appends an entry to the bucket of a position's cell.
    void append_entry(double x, double y);
};

/// Traces the four separatrices of the saddle in record `record` of critical_index, those whose start lies on the grid.
/// @return false when the skeleton has become too large; the last separatrix is not complete then
bool seed_separatrices(const VectorGrid& grid, int record, Skeleton& skeleton);

/// Continues a separatrix from its last node until it leaves the grid, comes to rest or gets near a saddle or a marker.
/// @param direction  1 with the flow, -1 against it
/// @return as seed_separatrices
bool trace_separatrix(const VectorGrid& grid, TopologyPoint& start, int direction, Skeleton& skeleton);

/// The node behind a position, one step with or against the flow; null where the flow rests (below 1e-10) or the step
/// leaves the grid.
TopologyPoint* step_forward(const VectorGrid& grid, double x, double y, Skeleton& skeleton);
TopologyPoint* step_backward(const VectorGrid& grid, double x, double y, Skeleton& skeleton);

/// 0 when a position lies within Radius of an entry in its cell's bucket, else 1.
int near_saddle(double x, double y, Skeleton& skeleton);

}  // namespace zam::topology
