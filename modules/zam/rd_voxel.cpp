// Voxel text reader: scattered samples, one per line as x, y, z and values, become a uniform 3-D field.
// Reads filename, iheader, null_value, timekey. Writes outfld (a float component per value column) and time_label.
// Extent and spacing of the grid come from the samples; nodes without a sample have the null value.
#include "modules/zam/rd_voxel.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/file_handle.h"
#include "contract/file.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"
#include "modules/zam/readers/voxel_field.h"
#include "modules/zam/readers/voxel_grid.h"
#include "modules/zam/readers/voxel_reports.h"
#include "modules/zam/readers/voxel_samples.h"

namespace {

using zam::OutArray;
using zam::voxel::Grid;
using zam::voxel::kStream;
using zam::voxel::report;
using zam::voxel::Samples;

constexpr const char* kUnexpected = "Unexpected error\n";

// --- Parameters ---

struct Params {
    std::string name;
    OMobj_id field;  // the output
    zam::voxel::ReadOptions options;
};

/// Optional parameters that cannot be read keep their defaults.
std::optional<Params> read_params(const zam::Parameters& given) {
    auto name = given.text("filename");
    const OMobj_id field = given.find("outfld", OM_OBJ_RW);
    zam::voxel::ReadOptions options{.header_lines = given.integer("iheader", 0),
                                    .null_value = static_cast<float>(given.real("null_value", -999.0)),
                                    .time_key = given.text("timekey")};
    if (!name) return report.reject("Cannot get filename.");
    return Params{std::move(*name), field, std::move(options)};
}

// --- Output ---

using Columns = std::vector<OutArray<float>>;  // one array per value column

std::optional<Columns> allocate_columns(const Grid& grid, std::size_t count) {
    Columns columns;
    columns.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        columns.push_back(OutArray<float>::allocate(grid.nodes));
        if (!columns.back()) {
            // deliberate: the standard output stream, unlike every other message
            std::fputs("Can not allocate memory(node_data).\n", stdout);
            return std::nullopt;
        }
    }
    return columns;
}

void fill(const Samples& samples, const Grid& grid, float null_value, const Columns& columns) {
    std::vector<float*> nodes;
    for (const auto& column : columns) {
        std::ranges::fill(column.span(), null_value);
        nodes.push_back(column.data());
    }
    grid.place(samples, nodes);
}

bool write_component(OMobj_id field, int comp, OutArray<float>& column, float null_value) {
    if (FLDset_node_data_veclen(field, comp, 1) != 1) return kStream.fail("FLD Error in set_node_data_veclen.\n");
    if (FLDset_node_data(field, comp, column.data(), column.type(), column.size(), ARR_HOST_OWNS) != 1)
        return kStream.fail("FLD Error in set_node_data.\n");
    column.release();
    if (FLDset_node_null_data(field, comp, &null_value, DTYPE_FLOAT) != 1)
        return kStream.fail("FLD Error in set_node_null_data.\n");
    std::array<char, 32> label{};
    std::snprintf(label.data(), label.size(), "value_%d", comp);
    if (FLDset_node_data_label(field, comp, label.data()) != 1)
        return kStream.fail("FLD Error in set_node_data_label.\n");
    return true;
}

bool write_field(OMobj_id field, const Grid& grid, Columns& columns, float null_value) {
    if (!zam::voxel::write_mesh(field, grid)) return false;
    if (FLDset_node_data_ncomp(field, static_cast<int>(columns.size())) != 1)
        return kStream.fail("FLD Error in set_node_data_ncomp.\n");
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (!write_component(field, static_cast<int>(i), columns[i], null_value)) return false;
    }
    return true;
}

// --- The module ---

/// Reads the file into the field. The arrays of the samples end with it.
bool read_voxels(std::FILE* file, const Params& params, std::string& time_label) {
    const float null_value = params.options.null_value;
    zam::MemoryBudget memory;
    const auto samples = zam::voxel::read_samples(file, params.options, memory, time_label);
    if (!samples) return false;
    const auto grid = Grid::find(*samples);
    if (!grid || !memory.take(grid->nodes, samples->values.size() * sizeof(float))) return kStream.fail(kUnexpected);
    auto columns = allocate_columns(*grid, samples->values.size());
    if (!columns) return false;
    fill(*samples, *grid, null_value, *columns);
    return write_field(params.field, *grid, *columns, null_value);
}

int update(OMobj_id instance) {
    const auto params = read_params(zam::Parameters(instance));
    if (!params) return 0;
    const zam::FileHandle file(FILEfopen(params->name.c_str(), "rt"));
    if (!file) return report.fail("Cannot open filename.: %s", params->name.c_str());
    std::string time_label;
    if (!read_voxels(file.get(), *params, time_label)) return 0;
    // silent: an instance without the parameter has read its field all the same
    OMset_name_str_val(instance, OMstr_to_name("time_label"), time_label.c_str());
    return 1;
}

}  // namespace

int ZAMread_voxel_update(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        return update(instance);
    } catch (const std::bad_alloc&) {
        return kStream.fail(kUnexpected);  // no memory for a block of lines or a list of arrays
    }
}
