#include "modules/zam/flow/separatrix.h"

#include <algorithm>
#include <cmath>

namespace zam::topology {
namespace {

/// A flow slower than this rests.
constexpr double kAtRest = 1e-10;
/// Loop markers after which a separatrix that still has not come back to one of them ends.
constexpr int kMostMarkers = 1000;

/// The bucket of a position's cell. The far border of the last cell belongs to it.
std::size_t bucket(double x, double y) {
    const auto cell = [](double at) {
        return std::min(static_cast<std::size_t>(at), std::size_t{TOPOLOGY_MAX_CELLS} - 1);
    };
    return cell(x) * TOPOLOGY_MAX_CELLS + cell(y);
}

double length(const TopologyVector& vector) { return std::sqrt(vector.x * vector.x + vector.y * vector.y); }

TopologyVector normalised(const TopologyVector& vector) {
    const double by = length(vector);
    return {vector.x / by, vector.y / by};
}

std::optional<TopologyVector> step(const VectorGrid& grid, double x, double y, int direction) {
    const TopologyVector vector = sample_vector(grid, x, y);
    if (length(vector) < kAtRest) return std::nullopt;
    // x - u / Interval is x + -(u / Interval) to the last bit
    const TopologyVector next{x + direction * (vector.x / Interval), y + direction * (vector.y / Interval)};
    return grid.contains(next.x, next.y) ? std::optional(next) : std::nullopt;
}

void append_streamline(TopologyPoint* first, Skeleton& skeleton) {
    Streamline* added = &skeleton.streamlines.emplace_back(Streamline{first, nullptr});
    (streamline_list_tail ? streamline_list_tail->next : streamline_list_head) = added;
    streamline_list_tail = added;
}

}  // namespace

TopologyPoint* Skeleton::append_point(double x, double y) {
    TopologyPoint* const added = missing == 0 ? points.append(x, y, memory) : nullptr;
    if (added) return added;
    ++missing;
    beyond_ = {x, y, nullptr};
    return &beyond_;
}

void Skeleton::end_streamlines() {
    points.clear();
    streamlines.clear();
    streamline_list_head = streamline_list_tail = streamline = streamline_prev = nullptr;
}

void Skeleton::reset_buckets(const VectorGrid& grid) {
    for (const std::size_t index : filled) saddle_list_head[index] = saddle_list[index] = nullptr;
    filled.clear();
    entries.clear();
    comparisons = missing = 0;
    memory = MemoryBudget();
    const int rows = std::min<int>(grid.rows, TOPOLOGY_MAX_CELLS);
    for (int i = 0; i < std::min<int>(grid.columns, TOPOLOGY_MAX_CELLS); ++i) {
        std::fill_n(saddle_list_head + std::ptrdiff_t{i} * TOPOLOGY_MAX_CELLS, rows, nullptr);
    }
}

void Skeleton::append_entry(double x, double y) {
    const std::size_t index = bucket(x, y);
    filled.push_back(index);
    TopologyPoint* entry = &entries.emplace_back(TopologyPoint{x, y, nullptr});
    (saddle_list_head[index] ? saddle_list[index]->next : saddle_list_head[index]) = entry;
    saddle_list[index] = entry;
}

int near_saddle(double x, double y, Skeleton& skeleton) {
    if (!(Radius > 0.0)) return 1;  // no distance is below it
    // deliberate: entries of neighbouring cells do not count, near as they may be.
    for (const TopologyPoint* entry = saddle_list_head[bucket(x, y)]; entry; entry = entry->next) {
        ++skeleton.comparisons;
        if (length({x - entry->x, y - entry->y}) < Radius) return 0;
    }
    return 1;
}

std::optional<TopologyVector> step_forward(const VectorGrid& grid, double x, double y) { return step(grid, x, y, 1); }

std::optional<TopologyVector> step_backward(const VectorGrid& grid, double x, double y) { return step(grid, x, y, -1); }

bool trace_separatrix(const VectorGrid& grid, TopologyPoint& start, int direction, Skeleton& skeleton) {
    const std::int64_t steps_a_marker = std::int64_t{10} * grid.columns * grid.rows;
    std::int64_t steps = 0;
    int markers = 0;
    TopologyPoint* current = &start;
    while (!skeleton.exhausted()) {
        const auto next_step = direction > 0 ? step_forward : step_backward;
        const auto next = next_step(grid, current->x, current->y);
        if (!next || near_saddle(next->x, next->y, skeleton) == 0) return true;
        TopologyPoint* const added = skeleton.append_point(next->x, next->y);
        current->next = added;
        current = added;
        if (++steps <= steps_a_marker) continue;
        if (++markers == kMostMarkers) return true;
        skeleton.append_entry(current->x, current->y);
        steps = 0;
    }
    return false;
}

bool seed_separatrices(const VectorGrid& grid, int record, Skeleton& skeleton) {
    const CriticalPoint& saddle = critical_index[record];
    for (const TopologyVector& direction : eigen_vector[static_cast<int>(saddle.saddle)]) {
        const TopologyVector e = normalised(direction);
        const double x = saddle.x + 2 * Radius * e.x;
        const double y = saddle.y + 2 * Radius * e.y;
        if (!grid.contains(x, y)) continue;
        TopologyPoint* first = skeleton.append_point(saddle.x, saddle.y);
        append_streamline(first, skeleton);
        first->next = skeleton.append_point(x, y);
        const TopologyVector flow = normalised(sample_vector(grid, x, y));
        const int with_flow = flow.x * e.x + flow.y * e.y >= 0.0 ? 1 : -1;
        if (!trace_separatrix(grid, *first->next, with_flow, skeleton)) return false;
    }
    return true;
}

}  // namespace zam::topology
