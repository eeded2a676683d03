// What a run of the topology module has found so far, and how much more of it there may be.
#pragma once

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "modules/support/memory_budget.h"
#include "modules/zam/flow/point_blocks.h"
#include "modules/zam/flow/vector_grid.h"
#include "modules/zam/topology.h"

namespace zam::topology {

/// The two eigenvectors of a saddle, then their negatives; not normalised.
using Directions = std::array<TopologyVector, 4>;

/// Saddles and loop markers by the cell that they lie in, as saddle_list_head and saddle_list are laid out: the first
/// and the last entry of each. Borrowed: two such tables take 16 MB.
struct BucketTables {
    TopologyPoint** first;
    TopologyPoint** last;
};

constexpr std::size_t kBuckets = std::size_t{TOPOLOGY_MAX_CELLS} * TOPOLOGY_MAX_CELLS;

/// The state of a run. When it ends, it is published under the names of topology.h.
struct Skeleton {
    explicit Skeleton(BucketTables tables) : buckets(tables) {}

    double interval = 100.0;
    double radius = 0.01;

    std::array<CriticalPoint, TOPOLOGY_MAX_POINTS> critical_points{};  // all four values of unused records are -1
    std::int32_t critical_num = 0;
    std::int32_t saddle_num = 0;
    std::array<Directions, TOPOLOGY_MAX_POINTS> directions{};  // of each saddle by its ordinal

    // addresses last: all are only extended at their end, and taken from the front
    PointBlocks points;                  // of the separatrices, in their order
    std::deque<Streamline> streamlines;  // in the order in which they were started
    std::deque<TopologyPoint> entries;   // of the buckets
    std::vector<std::size_t> filled;     // buckets with entries; some are named more than once
    BucketTables buckets;
    std::bitset<kBuckets> has_entries;  // of each bucket: small enough to stay in the processor's cache

    std::int64_t comparisons = 0;  // with bucket entries
    MemoryBudget memory;           // for the points
    std::int64_t missing = 0;      // nodes that memory had no room for: only counted, to report what they would need

    /// Bounds for fields and parameters that keep separatrices circling where many markers lie, and for the count of
    /// missing nodes: some seconds each.
    static constexpr std::int64_t kMaxComparisons = std::int64_t{1} << 29;
    static constexpr std::int64_t kComparisonsPerPoint = 32;
    static constexpr std::int64_t kMaxMissing = std::int64_t{1} << 29;

    std::span<const CriticalPoint> classified_points() const {
        return std::span(critical_points).first(static_cast<std::size_t>(critical_num));
    }
    bool exhausted() const {
        const auto traced = static_cast<std::int64_t>(points.size()) + missing;
        return comparisons >= kMaxComparisons + kComparisonsPerPoint * traced || missing >= kMaxMissing;
    }

    /// Begins a run: no points, no separatrices, no entries in the buckets of the cells of this grid and in those that
    /// the last run filled. The two counts stay until points are classified.
    void reset(const VectorGrid& grid);
    /// Ends the separatrices.
    void end_streamlines();

    /// Appends a node to the last separatrix. Once memory has no room for nodes, all further ones share one
    /// place, and what has been traced is of no use.
    TopologyPoint* append_point(double x, double y) {
        TopologyPoint* const added = missing == 0 ? points.append(x, y, memory) : nullptr;
        return added ? added : count_missing(x, y);
    }
    /// Starts a separatrix with its first node, and links it to the one before.
    void append_streamline(TopologyPoint* first);
    /// Appends an entry to the bucket of a position's cell.
    void append_entry(double x, double y);
    /// The entries of a position's cell, linked; null if it has none.
    const TopologyPoint* entries_at(double x, double y) const {
        const std::size_t index = bucket(x, y);
        return has_entries[index] ? buckets.first[index] : nullptr;
    }

private:
    /// The far border of the last cell belongs to it.
    static std::size_t bucket(double x, double y) {
        const auto cell = [](double at) {
            return static_cast<std::size_t>(std::min(static_cast<int>(at), TOPOLOGY_MAX_CELLS - 1));
        };
        return cell(x) * TOPOLOGY_MAX_CELLS + cell(y);
    }
    TopologyPoint* count_missing(double x, double y);

    TopologyPoint beyond_{};  // the last of the missing nodes
};

}  // namespace zam::topology
