// Fortran-record grids: reads a structured grid with node data from a file that a Fortran program wrote without format.
// Reads frt_fname. Writes out, a field with coordinates and a component of veclen 1 per data record, and time.
#include "modules/zam/read_frt.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "base/file_handle.h"
#include "contract/file.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
#include "modules/support/typed_bytes.h"
#include "modules/zam/readers/frt_grid.h"
#include "modules/zam/readers/frt_records.h"

namespace {

using namespace zam::frt;
using zam::MemoryBudget;
using zam::OutArray;
using zam::OwnedTypedBytes;

// --- Reports ---

constexpr zam::ErrorReporter report{.label = "read_frt", .text_arguments = 1, .flags = 2};
constexpr zam::ErrorReporter kWarning{.label = "read_frt", .text_arguments = 1, .flags = 16};

// --- Output ---

void set_shape(OMobj_id out, const GridShape& shape) {
    constexpr const char* kRefused = "Cannot set dims.";
    require(FLDset_ndim(out, shape.ndim) == 1, kRefused);
    const auto dims = OutArray<xp_long>::allocate(shape.ndim);
    require(bool(dims), "dims array is not allocated\n");
    std::copy_n(shape.dims.begin(), shape.ndim, dims.data());
    require(FLDset_dims(out, dims.data()) == 1, kRefused);
    require(FLDset_nspace(out, shape.ndim) == 1, "Cannot set nspace.");
}

void set_coordinates(OMobj_id out, OutArray<float> positions) {
    require(FLDset_coord(out, positions.data(), positions.size(), ARR_HOST_OWNS) == 1,
            "Error! Can't set coordinate values.");
    positions.release();
}

/// A component that memory did not suffice for is tried once more, as zeros; a host may also do without its values.
void replace_missing(OwnedTypedBytes& values, int type, xp_long nnodes, MemoryBudget& memory) {
    if (values) return;
    values = OwnedTypedBytes::allocate(memory, type, nnodes);
    if (values) std::ranges::fill(values.bytes(), std::byte{0});
}

void set_node_data(OMobj_id out, xp_long nnodes, MemoryBudget& memory, NodeData& data) {
    const bool floats = data.type == DTYPE_FLOAT;
    require(FLDset_node_data_ncomp(out, static_cast<int>(data.components.size())) == 1, "Cannot set ncomponent.");
    int comp = 0;
    for (auto& values : data.components) {
        require(FLDset_node_data_veclen(out, comp, 1) == 1, "Cannot set node data veclen.");
        replace_missing(values, data.type, nnodes, memory);
        const bool set = values ? values.hand_over(out, comp)
                                : FLDset_node_data(out, comp, nullptr, data.type, 0, ARR_HOST_OWNS) == 1;
        require(set, floats ? "Cannot set node data." : "Cannot set node double data.");
        ++comp;
    }
}

// --- The file ---

/// Reads the file into the output, part by part.
/// @return a warning, or null
/// @throws Failure; what has been set by then stays
const char* read_file(std::FILE* stream, OMobj_id instance) {
    const OMobj_id out = zam::Parameters(instance).find("out", OM_OBJ_RW);
    RecordFile file(stream);
    file.detect_layout();
    const GridShape shape = read_shape(file);
    MemoryBudget memory;
    set_shape(out, shape);
    set_coordinates(out, read_coordinates(file, shape, memory));

    // deliberate: the two widths have texts of their own, one without its full stop
    xp_long length = file.marker({{"Error! read time header.", "Error! byte swap failed - time header."},
                                  {"Error! read data header.", "Error! byte swap failed - time header"}});
    if (length <= kMaxTimeBytes) {
        const double time = read_time(file, length);
        OMset_name_real_val(instance, OMstr_to_name("time"), time);  // an instance may do without it
        constexpr ValueTexts kTexts{"Error! read data header.", "Error! byte swap failed - data header."};
        length = file.marker({kTexts, kTexts});
    }
    NodeData data = read_node_data(file, shape, length, memory);
    set_node_data(out, shape.nnodes, memory, data);
    return data.warning;
}

int update(OMobj_id instance) {
    const auto name = zam::Parameters(instance).host_text("frt_fname");
    if (!name) return report.fail("ERROR : read_frt : filename == NULL.\n");
    const zam::FileHandle file(FILEfopen(name.get(), "rb"));
    if (!file) return report.fail("ERROR : Could not Open File.\n");
    if (const char* warning = read_file(file.get(), instance)) kWarning.warn(warning);
    return 1;
}

}  // namespace

int ZAMread_frt(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        return update(instance);
    } catch (const Failure& failure) {
        return report.fail(failure.text);
    } catch (const std::bad_alloc&) {
        return report.fail("Can't allocation data value.");
    }
}
