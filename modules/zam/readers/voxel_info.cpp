#include "modules/zam/readers/voxel_info.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "base/file_handle.h"
#include "contract/file.h"
#include "contract/fld.h"
#include "modules/support/memory_budget.h"
#include "modules/zam/readers/voxel_field.h"
#include "modules/zam/readers/voxel_grid.h"
#include "modules/zam/readers/voxel_reports.h"
#include "modules/zam/readers/voxel_samples.h"

namespace zam::voxel {
namespace {

constexpr float kNullValue = -999.0F;  // the module's default

std::string why_no_grid(const Samples& samples) {
    const std::string count = std::to_string(samples.count);
    if (samples.count < 2) return "a grid needs two samples, there are " + count;
    for (std::size_t axis = 0; axis < samples.positions.size(); ++axis) {
        if (GridAxis::find(samples.axis(axis))) continue;
        return count + " samples make no grid: " + "xyz"[axis] +
               " never increases from one to the next, or is not finite, or too large or too close for ten millionths "
               "in 32 bits";
    }
    return count + " samples span more nodes than can be counted";
}

/// A node that has a sample. Sorted by nodes, the last of equal ones is the sample that stays.
using Placed = std::pair<xp_long, std::size_t>;

std::vector<Placed> place(const Samples& samples, const Grid& grid) {
    const NodeFinder finder(grid);
    std::vector<Placed> placed;
    for (std::size_t sample = 0; sample < samples.count; ++sample) {
        const xp_long node = finder.node_of(samples, sample);
        if (node >= 0) placed.emplace_back(node, sample);
    }
    if (!std::ranges::is_sorted(placed)) std::ranges::sort(placed);
    return placed;
}

void keep_last_of_nodes(std::vector<Placed>& placed) {
    const auto same_node = [](const Placed& a, const Placed& b) { return a.first == b.first; };
    std::ranges::reverse(placed);
    placed.erase(std::unique(placed.begin(), placed.end(), same_node), placed.end());
}

void describe_component(OMobj_id field, int comp, std::span<const float> column, std::span<const Placed> kept) {
    FLDset_node_data_comp(field, comp, 1, ("value_" + std::to_string(comp)).c_str(), nullptr);
    FLDset_node_data_type(field, comp, DTYPE_FLOAT);
    float minimum = std::numeric_limits<float>::infinity();
    float maximum = -minimum;
    for (const auto& [node, sample] : kept) {
        const float value = column[sample];
        if (value == kNullValue) continue;
        if (value < minimum) minimum = value;  // a NaN is neither
        if (value > maximum) maximum = value;
    }
    if (minimum <= maximum) FLDset_node_data_minmax(field, comp, &minimum, &maximum, DTYPE_FLOAT);
}

int describe(const char* name, int header_lines, OMobj_id field, xp_long* counts) {
    const FileHandle file(FILEfopen(name, "rt"));
    if (!file) return report.fail("Cannot open filename.: %s", name);
    std::string time_label;
    MemoryBudget memory;
    const auto samples = read_samples(file.get(), {header_lines, kNullValue, std::nullopt}, memory, time_label);
    if (!samples) return 0;
    const auto grid = Grid::find(*samples);
    if (!grid) return report.fail("%s", why_no_grid(*samples).c_str());
    auto placed = place(*samples, *grid);
    counts[0] = static_cast<xp_long>(samples->count);
    counts[1] = std::ssize(placed);
    keep_last_of_nodes(placed);
    counts[2] = std::ssize(placed);
    if (!write_mesh(field, *grid)) return 0;
    FLDset_node_data_ncomp(field, static_cast<int>(samples->values.size()));
    for (std::size_t i = 0; i < samples->values.size(); ++i)
        describe_component(field, static_cast<int>(i), samples->column(i), placed);
    return 1;
}

}  // namespace
}  // namespace zam::voxel

int zam_describe_voxels(const char* file, int header_lines, OMobj_id field, xp_long* counts) {
    try {
        return zam::voxel::describe(file, header_lines, field, counts);
    } catch (const std::bad_alloc&) {
        return zam::voxel::report.fail("%s", "memory does not hold the samples");
    }
}
