// Jacobian transform of vectors: turns a vector field on a curvilinear grid into one on the grid of its indices, where
// tools for uniform grids, such as line integral convolution, can follow its streamlines.
// Reads fld_in (coordinates and one float component of nspace values). Writes fld_out, a uniform field of the same
// dims.
#include "modules/zam/lic_jacobi.h"

#include <algorithm>
#include <new>
#include <optional>
#include <vector>

#include "base/checked_product.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/float_values.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
#include "modules/zam/flow/index_space.h"

namespace {

using zam::FloatValues;
using zam::HostArray;
using zam::MemoryBudget;
using zam::OutArray;
using zam::Parameters;

constexpr zam::Reporter report{.label = "", .flags = 96};

/// The form of most messages.
constexpr const char* kCannotGet = "DVJacobiTransVec_comp_func error: Can't get %s\n";

// --- Input ---

struct Input {
    xp_long nnodes = 0;
    int nspace = 0;
    HostArray<float> coord;
    double min = 0;  // range of the coordinates over all components
    double max = 0;
    std::vector<xp_long> dims;
    std::optional<FloatValues> vectors;  // nnodes x nspace
};

/// Whether `size` values are enough for the nodes.
bool is_enough(std::size_t size, const Input& input) {
    return size / static_cast<std::size_t>(input.nspace) >= static_cast<std::size_t>(input.nnodes);
}

bool read_positions(OMobj_id field, Input& input) {
    if (FLDget_nnodes(field, &input.nnodes) != 1 || input.nnodes < 0) return report.fail(kCannotGet, "fld_in_nnodes");
    if (FLDget_nspace(field, &input.nspace) != 1 || input.nspace < 1) return report.fail(kCannotGet, "fld_in_nnspace");
    if (FLDget_coord(field, input.coord.receive(), input.coord.receive_count(), ARR_READ) != 1 ||
        !is_enough(input.coord.span().size(), input))
        return report.fail(kCannotGet, "in_fld_coord, in_fld_size");
    return true;
}

/// A minimum that cannot be read is 0, a maximum 1.
void read_range(OMobj_id field, Input& input) {
    const Parameters coordinates = Parameters(field).group("coordinates");
    // deliberate: tests the field, which has been found, not its sub-object
    if (OMvalid_obj(field) != 1) report.warn("DVJacobiTransVec_comp_func error: Can't get coordinates ID\n");
    input.min = coordinates.real("min", 0.0);
    input.max = coordinates.real("max", 1.0);
}

bool read_dims(OMobj_id field, Input& input) {
    HostArray<xp_long> dims;
    int ndim = 0;
    if (FLDget_dims(field, dims.receive(), &ndim) != 1 || !dims) return report.fail(kCannotGet, "fld_in_dims");
    if (ndim < 2) return report.fail("DVJacobiTransVec_comp_func error: Wrong dimension.\n");
    if (ndim < input.nspace) return report.fail("DVJacobiTransVec_comp_func error: Wrong dimension or nspace.\n");
    input.dims.assign(dims.data(), dims.data() + ndim);
    if (zam::checked_product(input.dims) != input.nnodes)
        return report.fail("DVJacobiTransVec_comp_func error: Wrong dimension.\n");
    return true;
}

bool read_vectors(OMobj_id field, Input& input) {
    int ncomp = 0;
    if (FLDget_node_data_ncomp(field, &ncomp) != 1 || ncomp != 1)
        return report.fail("fld_in_ncomp=%d. input ncomp must be 1 (veclen 2 or 3)\n", ncomp);
    int veclen = 0;
    if (FLDget_node_data_veclen(field, 0, &veclen) != 1 || veclen != input.nspace)
        return report.fail("in_fld_veclen=%d. input veclen must be %d\n", veclen, input.nspace);
    input.vectors = FloatValues::read(field, 0);
    if (!input.vectors || !is_enough(input.vectors->span().size(), input))
        return report.fail(kCannotGet, "fld_in node data");
    return true;
}

std::optional<Input> read_input(const Parameters& params) {
    const OMobj_id field = params.find("fld_in", OM_OBJ_RW);
    Input input;
    if (OMvalid_obj(field) != 1) return report.reject(kCannotGet, "fld_in_id");
    if (!read_positions(field, input)) return std::nullopt;
    read_range(field, input);
    if (!read_dims(field, input) || !read_vectors(field, input)) return std::nullopt;
    return input;
}

// --- Output ---

struct Output {
    OutArray<xp_long> dims;
    OutArray<float> points;
    OutArray<float> vectors;
};

std::optional<Output> allocate_output(const Input& input) {
    Output out;
    out.dims = OutArray<xp_long>::allocate(static_cast<xp_long>(input.dims.size()));
    if (!out.dims) return report.reject("dims array is not allocated\n");
    out.points = OutArray<float>::allocate(2 * xp_long{input.nspace});
    if (!out.points) return report.reject("points array is not allocated\n");
    MemoryBudget memory;
    out.vectors = memory.allocate<float>(input.nnodes * input.nspace);
    if (!out.vectors) return report.reject("node data array is not allocated\n");
    return out;
}

/// Gives the longest axis the length max - min.
void fill_shape(const Input& input, const Output& out) {
    std::ranges::copy(input.dims, out.dims.data());
    const xp_long longest = *std::ranges::max_element(input.dims);
    for (int axis = 0; axis < input.nspace; ++axis) {
        const xp_long n = out.dims[axis];
        // deliberate: n, not n - 1
        const double length = longest > 0 ? static_cast<double>(n) * (input.max - input.min) / double(longest) : 0.0;
        out.points[axis] = 0.0F;
        out.points[input.nspace + axis] = static_cast<float>(length);
    }
}

void transform(const Input& input, const Output& out) {
    const auto& dims = input.dims;
    const auto size = out.vectors.span().size();
    const auto positions = input.coord.span().first(size);
    const auto vectors = input.vectors->span().first(size);
    if (dims.size() == 2 && input.nspace == 2) {
        zam::to_index_space<2>({dims[0], dims[1]}, positions, vectors, out.vectors.span());
    } else if (dims.size() == 3 && input.nspace == 3) {
        zam::to_index_space<3>({dims[0], dims[1], dims[2]}, positions, vectors, out.vectors.span());
    } else {
        std::ranges::fill(out.vectors.span(), 0.0F);  // no Jacobian that could be inverted
    }
}

bool write_field(OMobj_id field, const Input& input, Output& out) {
    if (FLDset_ndim(field, static_cast<int>(input.dims.size())) != 1 || FLDset_dims(field, out.dims.data()) != 1 ||
        FLDset_nspace(field, input.nspace) != 1)
        return false;
    if (FLDset_points(field, out.points.data(), out.points.size(), ARR_HOST_OWNS) != 1) return false;
    out.points.release();
    if (FLDset_node_data_veclen(field, 0, input.nspace) != 1) return false;
    if (FLDset_node_data(field, 0, out.vectors.data(), DTYPE_FLOAT, out.vectors.size(), ARR_HOST_OWNS) != 1)
        return false;
    out.vectors.release();
    return true;
}

int update(const Parameters& params) {
    const auto input = read_input(params);
    if (!input) return 0;
    auto out = allocate_output(*input);
    if (!out) return 0;
    fill_shape(*input, *out);
    transform(*input, *out);
    if (!write_field(params.find("fld_out"), *input, *out))
        return report.fail("DVJacobiTransVec_comp_func error: Can't set fld_out\n");
    return 1;
}

}  // namespace

int ZAMjacobiTransVec_comp_func(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        return update(Parameters(instance));
    } catch (const std::bad_alloc&) {
        return report.fail("node data array is not allocated\n");
    }
}

void MATvec2_mat3_multiply(float vector[2], const float matrix[9]) {
    const float x = vector[0];
    const float y = vector[1];
    for (int k = 0; k < 2; ++k) vector[k] = x * matrix[k] + y * matrix[3 + k] + matrix[6 + k];
}
