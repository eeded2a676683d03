#include "modules/zam/flow/separatrix.h"

#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "modules/zam/flow/separatrix_steps.h"

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

/// @param comparisons  is counted on
inline bool near_entry(double x, double y, const Skeleton& skeleton, std::int64_t& comparisons) {
    // deliberate: entries of neighbouring cells do not count, near as they may be.
    const TopologyPoint* entry = skeleton.entries_at(x, y);
    if (!entry || !(skeleton.radius > 0.0)) return false;  // no distance is below 0
    for (; entry; entry = entry->next) {
        ++comparisons;
        if (length({x - entry->x, y - entry->y}) < skeleton.radius) return true;
    }
    return false;
}

/// Steps after which a separatrix leaves a marker.
std::int64_t steps_to_marker(const VectorGrid& grid) { return std::int64_t{10} * grid.columns * grid.rows; }

}  // namespace

bool near_saddle(double x, double y, Skeleton& skeleton) { return near_entry(x, y, skeleton, skeleton.comparisons); }

std::optional<TopologyVector> step_forward(const VectorGrid& grid, double x, double y, double interval) {
    return step(grid, x, y, interval, 1);
}

std::optional<TopologyVector> step_backward(const VectorGrid& grid, double x, double y, double interval) {
    return step(grid, x, y, interval, -1);
}

bool trace_separatrix(const VectorGrid& grid, TopologyPoint& start, int direction, Skeleton& skeleton,
                      std::int64_t steps) {
    const std::int64_t steps_per_marker = steps_to_marker(grid);
    int markers = 0;
    TopologyPoint* current = &start;
    while (!skeleton.exhausted()) {
        const auto next = step(grid, current->x, current->y, skeleton.interval, direction);
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

// --- Separatrices side by side ---

namespace {

/// A separatrix, followed ahead of its turn.
struct Line {
    TopologyVector saddle, start;
    int direction;                      // 1 with the flow, -1 against it
    TopologyVector at;                  // where it is
    TopologyPoint* last = nullptr;      // its last node in the skeleton
    std::vector<TopologyVector> ahead;  // further nodes
    std::int64_t comparisons = 0;       // that these took
    std::int64_t steps = 0;             // taken in all
    bool has_ended = false;
};

/// The separatrices of all saddles, not followed yet.
std::vector<Line> start_lines(const VectorGrid& grid, const Skeleton& skeleton) {
    std::vector<Line> lines;
    for (const CriticalPoint& point : skeleton.classified_points()) {
        if (static_cast<int>(point.kind) != TOPOLOGY_SADDLE) continue;
        for (const TopologyVector& direction : skeleton.directions[static_cast<std::size_t>(point.saddle)]) {
            const TopologyVector e = normalised(direction);
            const TopologyVector start{point.x + 2 * skeleton.radius * e.x, point.y + 2 * skeleton.radius * e.y};
            if (!grid.contains(start.x, start.y)) continue;
            const TopologyVector flow = normalised(sample_vector(grid, start.x, start.y));
            const int with_flow = flow.x * e.x + flow.y * e.y >= 0.0 ? 1 : -1;
            lines.push_back(
                {.saddle = {point.x, point.y}, .start = start, .direction = with_flow, .at = start, .ahead = {}});
        }
    }
    return lines;
}

/// Follows separatrices side by side, as long as none can change what another one meets: until the first one leaves a
/// marker. From then on each waits for the one before.
class Tracer {
public:
    Tracer(const VectorGrid& grid, Skeleton& skeleton, std::span<Line> lines)
        : grid_(grid), skeleton_(skeleton), lines_(lines), steps_to_marker_(steps_to_marker(grid)) {}

    /// @return as trace_separatrices
    bool trace() {
        while (turn_ < lines_.size()) {
            begin_run();
            take_run(grid_, run_);
            for (std::size_t lane = 0; lane < kTogether; ++lane)
                if (in_lane_[lane]) end_run(lane, *in_lane_[lane]);
            if (!append_in_turn()) return false;
        }
        return true;
    }

private:
    /// Nodes that may be ahead of their turn: 16 MB.
    static constexpr std::size_t kMaxAhead = std::size_t{1} << 20;

    void begin_run() {
        for (std::size_t lane = 0; lane < kTogether; ++lane) {
            Line*& line = in_lane_[lane];
            if (!line || line->has_ended) line = start_next();
            const bool goes = line && line->steps < steps_to_marker_ && is_inside(grid_, line->at.x, line->at.y);
            run_.x[0][lane] = goes ? line->at.x : std::numeric_limits<double>::quiet_NaN();
            run_.y[0][lane] = goes ? line->at.y : 0.0;
            run_.interval[lane] = line ? line->direction * skeleton_.interval : 1.0;
        }
    }

    Line* start_next() {
        if (started_ == lines_.size()) return nullptr;
        Line& line = lines_[started_++];
        if (!spare_.empty()) {
            line.ahead = std::move(spare_.back());
            spare_.pop_back();
        }
        return &line;
    }

    /// Takes over the nodes of a run, up to the end of the separatrix or to where a marker may be due. Steps that the
    /// run has left out are taken here.
    void end_run(std::size_t lane, Line& line) {
        bool goes = line.steps < steps_to_marker_;
        std::size_t s = 1;
        for (; goes && s <= kRun && !std::isnan(run_.x[s][lane]); ++s)
            goes = go_to({run_.x[s][lane], run_.y[s][lane]}, line);
        for (; goes && s <= kRun; ++s) {
            const auto next = step(grid_, line.at.x, line.at.y, skeleton_.interval, line.direction);
            line.has_ended = !next;
            goes = next && go_to(*next, line);
        }
    }

    /// @return whether the separatrix may go on
    bool go_to(TopologyVector next, Line& line) {
        line.has_ended = near_entry(next.x, next.y, skeleton_, line.comparisons);
        if (line.has_ended) return false;
        line.ahead.push_back(next);
        line.at = next;
        ++ahead_;
        return ++line.steps < steps_to_marker_;
    }

    /// Appends the nodes of the separatrix whose turn it is, and if it has ended, those of the next one.
    bool append_in_turn() {
        for (; turn_ < started_; ++turn_) {
            Line& line = lines_[turn_];
            if (!line.last) begin(line);
            const bool fits = append_ahead(line);
            if (fits && line.has_ended) {
                keep_spare(std::move(line.ahead));
                continue;
            }
            if (fits && line.steps < steps_to_marker_ && ahead_ < kMaxAhead) return true;
            const std::size_t entries = skeleton_.entries.size();
            if (!trace_separatrix(grid_, *line.last, line.direction, skeleton_, line.steps)) return false;
            line.has_ended = true;
            if (!fits || skeleton_.entries.size() != entries) return trace_rest();
        }
        return true;
    }

    /// Keeps memory for another separatrix, unless it is much.
    void keep_spare(std::vector<TopologyVector> nodes) {
        if (spare_.size() < kTogether && nodes.capacity() <= kMaxAhead / kTogether) spare_.push_back(std::move(nodes));
    }

    void begin(Line& line) {
        TopologyPoint* const first = skeleton_.append_point(line.saddle.x, line.saddle.y);
        skeleton_.append_streamline(first);
        line.last = first->next = skeleton_.append_point(line.start.x, line.start.y);
    }

    /// Appends the nodes that are ahead; drops them if the skeleton may be exhausted on the way.
    bool append_ahead(Line& line) {
        ahead_ -= line.ahead.size();
        if (skeleton_.missing > 0 || skeleton_.comparisons + line.comparisons >= Skeleton::kMaxComparisons) {
            line.steps -= static_cast<std::int64_t>(line.ahead.size());
            return false;
        }
        skeleton_.comparisons += std::exchange(line.comparisons, 0);
        for (const TopologyVector& node : line.ahead)
            line.last = line.last->next = skeleton_.append_point(node.x, node.y);
        line.ahead.clear();
        return true;
    }

    /// Follows the separatrices after this one, one after the other, from their starts.
    bool trace_rest() {
        while (++turn_ < lines_.size()) {
            Line& line = lines_[turn_];
            line.ahead = {};
            begin(line);
            if (!trace_separatrix(grid_, *line.last, line.direction, skeleton_)) return false;
        }
        return true;
    }

    const VectorGrid& grid_;
    Skeleton& skeleton_;
    std::span<Line> lines_;
    std::int64_t steps_to_marker_;
    std::size_t turn_ = 0;                            // the first separatrix that is not complete in the skeleton
    std::size_t started_ = 0;                         // separatrices that are, or have been, in lanes
    std::size_t ahead_ = 0;                           // nodes that are, of all separatrices
    std::vector<std::vector<TopologyVector>> spare_;  // memory for such nodes
    std::array<Line*, kTogether> in_lane_{};
    Run run_;
};

}  // namespace

bool trace_separatrices(const VectorGrid& grid, Skeleton& skeleton) {
    std::vector<Line> lines = start_lines(grid, skeleton);
    return Tracer(grid, skeleton, lines).trace();
}

}  // namespace zam::topology
