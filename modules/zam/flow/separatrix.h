// Separatrices: the lines on which the flow leaves or reaches a saddle.
//
// Source: Helman and Hesselink, "Visualizing vector field topology in fluid flows", IEEE Computer Graphics and
// Applications 11 (1991); integration by Euler's method.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "modules/support/memory_budget.h"
#include "modules/zam/flow/point_blocks.h"
#include "modules/zam/flow/vector_grid.h"
#include "modules/zam/topology.h"

namespace zam::topology {

/// What the exported lists consist of, and how much more of it there may be. The topology module holds the only one
/// that the lists point into.
struct Skeleton {
    // addresses last: both are only extended at their end, and taken from the front
    PointBlocks points;                  // of the separatrices, in the order of the list
    std::deque<Streamline> streamlines;  // in the order of the list
    std::deque<TopologyPoint> entries;   // of the buckets
    std::vector<std::size_t> filled;     // buckets with entries; some are named more than once
    std::int64_t comparisons = 0;        // with bucket entries
    MemoryBudget memory;                 // for the points
    std::int64_t missing = 0;            // nodes that memory had no room for: only counted, to say what they would need

    /// Bounds for fields and parameters that keep separatrices circling where many markers lie, and for the count of
    /// missing nodes: some seconds each.
    static constexpr std::int64_t kMostComparisons = std::int64_t{1} << 29;
    static constexpr std::int64_t kComparisonsPerPoint = 32;
    static constexpr std::int64_t kMostMissing = std::int64_t{1} << 29;

    bool exhausted() const {
        const auto traced = static_cast<std::int64_t>(points.size()) + missing;
        return comparisons >= kMostComparisons + kComparisonsPerPoint * traced || missing >= kMostMissing;
    }

    /// Appends a node to the last separatrix. As soon as memory has no room for nodes, every further one is the same
    /// place, and what has been traced is of no use.
    TopologyPoint* append_point(double x, double y);

    /// Ends the separatrices; the list is empty then.
    void end_streamlines();
    /// Ends the bucket entries of the last run and empties the buckets of the cells of this grid.
    void reset_buckets(const VectorGrid& grid);
    /// Appends an entry to the bucket of a position's cell.
    void append_entry(double x, double y);

private:
    TopologyPoint beyond_{};  // the last of the missing nodes
};

/// Traces the four separatrices of the saddle in record `record` of critical_index, those whose start lies on the grid.
/// @return false when the skeleton is exhausted; the last separatrix is not complete then
bool seed_separatrices(const VectorGrid& grid, int record, Skeleton& skeleton);

/// Continues a separatrix from its last node until it leaves the grid, comes to rest or gets near a saddle or a marker.
/// @param direction  1 with the flow, -1 against it
/// @return as seed_separatrices
bool trace_separatrix(const VectorGrid& grid, TopologyPoint& start, int direction, Skeleton& skeleton);

/// The position after another one, one step with or against the flow; nullopt where the flow rests (below 1e-10) or the
/// step leaves the grid.
std::optional<TopologyVector> step_forward(const VectorGrid& grid, double x, double y);
std::optional<TopologyVector> step_backward(const VectorGrid& grid, double x, double y);

/// 0 when a position lies within Radius of an entry in its cell's bucket, else 1.
int near_saddle(double x, double y, Skeleton& skeleton);

}  // namespace zam::topology
