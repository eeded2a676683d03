#include "modules/zam/flow/separatrix.h"

#include <cmath>
#include <cstdint>

namespace zam::topology {
namespace {

/// A flow slower than this rests.
constexpr double kAtRest = 1e-10;
/// Loop markers after which a separatrix that still has not come back to one of them ends.
constexpr int kMaxMarkers = 1000;

double length(const TopologyVector& vector) { return std::sqrt(vector.x * vector.x + vector.y * vector.y); }

TopologyVector normalised(const TopologyVector& vector) {
    const double by = length(vector);
    return {vector.x / by, vector.y / by};
}

std::optional<TopologyVector> step(const VectorGrid& grid, double x, double y, double interval, int direction) {
    const TopologyVector vector = sample_vector(grid, x, y);
    if (length(vector) < kAtRest) return std::nullopt;
    // x - u / interval is x + -(u / interval) to the last bit
    const TopologyVector next{x + direction * (vector.x / interval), y + direction * (vector.y / interval)};
    return grid.contains(next.x, next.y) ? std::optional(next) : std::nullopt;
}

}  // namespace

bool near_saddle(double x, double y, Skeleton& skeleton) {
    if (!(skeleton.radius > 0.0)) return false;  // no distance is below it
    // deliberate: entries of neighbouring cells do not count, near as they may be.
    for (const TopologyPoint* entry = skeleton.entries_at(x, y); entry; entry = entry->next) {
        ++skeleton.comparisons;
        if (length({x - entry->x, y - entry->y}) < skeleton.radius) return true;
    }
    return false;
}

std::optional<TopologyVector> step_forward(const VectorGrid& grid, double x, double y, double interval) {
    return step(grid, x, y, interval, 1);
}

std::optional<TopologyVector> step_backward(const VectorGrid& grid, double x, double y, double interval) {
    return step(grid, x, y, interval, -1);
}

bool trace_separatrix(const VectorGrid& grid, TopologyPoint& start, int direction, Skeleton& skeleton) {
    const std::int64_t steps_per_marker = std::int64_t{10} * grid.columns * grid.rows;
    std::int64_t steps = 0;
    int markers = 0;
    TopologyPoint* current = &start;
    while (!skeleton.exhausted()) {
        const auto next_step = direction > 0 ? step_forward : step_backward;
        const auto next = next_step(grid, current->x, current->y, skeleton.interval);
        if (!next || near_saddle(next->x, next->y, skeleton)) return true;
        TopologyPoint* const added = skeleton.append_point(next->x, next->y);
        current->next = added;
        current = added;
        if (++steps <= steps_per_marker) continue;
        if (++markers == kMaxMarkers) return true;
        skeleton.append_entry(current->x, current->y);
        steps = 0;
    }
    return false;
}

bool seed_separatrices(const VectorGrid& grid, const CriticalPoint& saddle, Skeleton& skeleton) {
    for (const TopologyVector& direction : skeleton.directions[static_cast<std::size_t>(saddle.saddle)]) {
        const TopologyVector e = normalised(direction);
        const double x = saddle.x + 2 * skeleton.radius * e.x;
        const double y = saddle.y + 2 * skeleton.radius * e.y;
        if (!grid.contains(x, y)) continue;
        TopologyPoint* first = skeleton.append_point(saddle.x, saddle.y);
        skeleton.append_streamline(first);
        first->next = skeleton.append_point(x, y);
        const TopologyVector flow = normalised(sample_vector(grid, x, y));
        const int with_flow = flow.x * e.x + flow.y * e.y >= 0.0 ? 1 : -1;
        if (!trace_separatrix(grid, *first->next, with_flow, skeleton)) return false;
    }
    return true;
}

}  // namespace zam::topology
