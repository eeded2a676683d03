// Principal stresses: the principal values and directions of a field of symmetric stress tensors, one per node.
// Reads fld_in, or fld2_in where fld_switch is 0 (coordinates; one component of xx yy zz xy yz zx per node).
// Writes fld_out (component 0: three values, descending; component 1: their unit vectors), minPstress, MaxPstress.
#include "modules/zam/princStrVec.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <optional>
#include <span>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/float_values.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
#include "modules/zam/tensor/principal_stress.h"

namespace {

using zam::FloatValues;
using zam::HostArray;
using zam::MemoryBudget;
using zam::OutArray;
using zam::Parameters;

constexpr zam::Reporter report{.label = "", .flags = 96};

constexpr const char* kCannotGet = "in princStrVec_comp_func error: Can't get %s\n";

constexpr int kTensorVeclen = 6;
constexpr int kValuesVeclen = 3;
constexpr int kAxesVeclen = 9;

// --- Input ---

struct Params {
    Parameters instance;
    const char* input;  // name of the field to read
    bool is_second;
};

Params read_params(const Parameters& instance) {
    const bool is_second = instance.integer("fld_switch", 1) == 0;
    return {instance, is_second ? "fld2_in" : "fld_in", is_second};
}

struct Input {
    xp_long nnodes = 0;
    int nspace = 0;
    HostArray<float> coord;
    std::optional<FloatValues> tensors;          // nnodes x 6
    std::optional<std::array<float, 16>> xform;  // without one the output keeps its own
};

/// Whether there are `veclen` values for each of the nodes.
bool is_enough(std::size_t size, int veclen, xp_long nnodes) {
    return size / static_cast<std::size_t>(veclen) >= static_cast<std::size_t>(nnodes);
}

/// @return false after a report
bool find_input(const Params& params, OMobj_id& field) {
    field = params.instance.find(params.input);
    return OMvalid_obj(field) == 1 || report.fail(kCannotGet, "in_fld_id");
}

bool read_positions(const Params& params, Input& input) {
    OMobj_id field;
    if (!find_input(params, field)) return false;
    constexpr xp_long kMaxNodes = std::numeric_limits<xp_long>::max() / kAxesVeclen;
    if (FLDget_nnodes(field, &input.nnodes) != 1 || input.nnodes < 0 || input.nnodes > kMaxNodes) {
        // deliberate: the first input stops silently
        return params.is_second && report.fail(kCannotGet, "in_fld_nnodes");
    }
    if (FLDget_nspace(field, &input.nspace) != 1 || input.nspace < 1) return report.fail(kCannotGet, "in_fld_nnspace");
    if (FLDget_coord(field, input.coord.receive(), input.coord.receive_count(), ARR_READ) != 1 ||
        !is_enough(input.coord.span().size(), input.nspace, input.nnodes))
        return report.fail(kCannotGet, "in_fld_coord, in_fld_size");
    return true;
}

bool read_tensors(const Params& params, Input& input) {
    OMobj_id field;
    if (!find_input(params, field)) return false;
    int ncomp = 0;
    if (FLDget_node_data_ncomp(field, &ncomp) != 1 || ncomp != 1)
        return report.fail("in_fld_ncomp=%d. input ncomp must be 1 (veclen 6)\n", ncomp);
    int veclen = 0;
    if (FLDget_node_data_veclen(field, 0, &veclen) != 1 || veclen != kTensorVeclen) return false;  // silent
    input.tensors = FloatValues::read(field, 0);
    if (!input.tensors || !is_enough(input.tensors->span().size(), kTensorVeclen, input.nnodes))
        return report.fail(kCannotGet, "in_fld node data");
    input.xform.emplace();
    if (FLDget_xform(field, input.xform->data()) != 1) input.xform.reset();
    return true;
}

// --- Output ---

struct Output {
    OutArray<float> coord;
    OutArray<float> values;
    OutArray<float> axes;
};

std::optional<Output> allocate_output(xp_long nnodes) {
    Output out;
    MemoryBudget memory;
    out.coord = memory.allocate<float>(nnodes * 3);
    if (!out.coord) return report.reject("coordinates array is not allocated\n");
    out.values = memory.allocate<float>(nnodes * kValuesVeclen);
    if (!out.values) return report.reject("principal stress array is not allocated\n");
    out.axes = memory.allocate<float>(nnodes * kAxesVeclen);
    if (!out.axes) return report.reject("principal direction array is not allocated\n");
    return out;
}

/// Space components that the input lacks are 0.
void copy_positions(const Input& input, std::span<float> out) {
    const auto nspace = static_cast<std::size_t>(input.nspace);
    const auto coord = input.coord.span();
    const std::size_t nodes = out.size() / 3;
    for (std::size_t node = 0; node < nodes; ++node) {
        for (std::size_t k = 0; k < 3; ++k) out[3 * node + k] = k < nspace ? coord[nspace * node + k] : 0.0F;
    }
}

/// Hands over `values` as component `comp`.
bool write_component(OMobj_id field, int comp, int veclen, OutArray<float>& values) {
    if (FLDset_node_data_veclen(field, comp, veclen) != 1 ||
        FLDset_node_data(field, comp, values.data(), DTYPE_FLOAT, values.size(), ARR_HOST_OWNS) != 1)
        return false;
    values.release();
    return true;
}

bool write_field(OMobj_id field, const Input& input, Output& out) {
    if (FLDset_nnodes(field, input.nnodes) != 1 || FLDset_nspace(field, 3) != 1 ||
        FLDset_coord(field, out.coord.data(), out.coord.size(), ARR_HOST_OWNS) != 1)
        return false;
    out.coord.release();
    if (input.xform && FLDset_xform(field, input.xform->data()) != 1) return false;
    return FLDset_node_data_ncomp(field, 2) == 1 && write_component(field, 0, kValuesVeclen, out.values) &&
           write_component(field, 1, kAxesVeclen, out.axes);
}

struct Range {
    float minimum = 0;
    float maximum = 0;
};

Range range_of(std::span<const float> values) {
    Range range;
    if (!values.empty()) range = {values[0], values[0]};
    for (const float value : values) {
        range.minimum = std::min(range.minimum, value);
        range.maximum = std::max(range.maximum, value);
    }
    return range;
}

/// Silent if the instance has no place for it.
void write_range(OMobj_id instance, const Range& range) {
    OMset_name_real_val(instance, OMstr_to_name("minPstress"), static_cast<double>(range.minimum));
    OMset_name_real_val(instance, OMstr_to_name("MaxPstress"), static_cast<double>(range.maximum));
}

int update(OMobj_id instance) {
    const Params params = read_params(Parameters(instance));
    Input input;
    if (!read_positions(params, input) || !read_tensors(params, input)) return 0;
    auto out = allocate_output(input.nnodes);
    if (!out) return 0;
    copy_positions(input, out->coord.span());
    zam::principal_stresses(input.tensors->span(), out->values.span(), out->axes.span());
    const Range range = range_of(out->values.span());  // before the host takes the values over
    const OMobj_id field = params.instance.find("fld_out", OM_OBJ_RW);
    if (!write_field(field, input, *out)) return report.fail("in princStrVec_comp_func error: Can't set fld_out\n");
    if (input.nnodes > 0) write_range(instance, range);  // without nodes minimum and maximum stay as they were
    return 1;
}

}  // namespace

int ZAMprincStrVec_comp_func(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        return update(instance);
    } catch (const std::bad_alloc&) {
        return report.fail("node data array is not allocated\n");
    }
}
