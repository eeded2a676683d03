#include "modules/zam/flow/skeleton.h"

#include <algorithm>

namespace zam::topology {

void Skeleton::reset(const VectorGrid& grid) {
    end_streamlines();
    for (const std::size_t index : filled) buckets.first[index] = buckets.last[index] = nullptr;
    filled.clear();
    has_entries.reset();
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

TopologyPoint* Skeleton::count_missing(double x, double y) {
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
    has_entries.set(index);
    TopologyPoint* entry = &entries.emplace_back(TopologyPoint{x, y, nullptr});
    (buckets.first[index] ? buckets.last[index]->next : buckets.first[index]) = entry;
    buckets.last[index] = entry;
}

}  // namespace zam::topology
