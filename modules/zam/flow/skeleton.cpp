#include "modules/zam/flow/skeleton.h"

#include <algorithm>

namespace zam::topology {

/// The far border of the last cell belongs to it.
std::size_t Skeleton::bucket(double x, double y) {
    const auto cell = [](double at) {
        return std::min(static_cast<std::size_t>(at), std::size_t{TOPOLOGY_MAX_CELLS} - 1);
    };
    return cell(x) * TOPOLOGY_MAX_CELLS + cell(y);
}

void Skeleton::reset(const VectorGrid& grid) {
    end_streamlines();
    for (const std::size_t index : filled) buckets.first[index] = buckets.last[index] = nullptr;
    filled.clear();
    entries.clear();
    comparisons = missing = 0;
    memory = MemoryBudget();
    const int rows = std::min<int>(grid.rows, TOPOLOGY_MAX_CELLS);
    for (int i = 0; i < std::min<int>(grid.columns, TOPOLOGY_MAX_CELLS); ++i)
        std::fill_n(buckets.first + std::ptrdiff_t{i} * TOPOLOGY_MAX_CELLS, rows, nullptr);
    critical_points.fill({-1.0, -1.0, -1.0, -1.0});
}

void Skeleton::end_streamlines() {
    points.clear();
    streamlines.clear();
}

TopologyPoint* Skeleton::append_point(double x, double y) {
    TopologyPoint* const added = missing == 0 ? points.append(x, y, memory) : nullptr;
    if (added) return added;
    ++missing;
    beyond_ = {x, y, nullptr};
    return &beyond_;
}

void Skeleton::append_streamline(TopologyPoint* first) {
    Streamline* const before = streamlines.empty() ? nullptr : &streamlines.back();
    Streamline* const added = &streamlines.emplace_back(Streamline{first, nullptr});
    if (before) before->next = added;
}

void Skeleton::append_entry(double x, double y) {
    const std::size_t index = bucket(x, y);
    filled.push_back(index);
    TopologyPoint* entry = &entries.emplace_back(TopologyPoint{x, y, nullptr});
    (buckets.first[index] ? buckets.last[index]->next : buckets.first[index]) = entry;
    buckets.last[index] = entry;
}

}  // namespace zam::topology
