// Shape and positions of fields and of their time steps.
#include <algorithm>
#include <limits>
#include <vector>

#include "contract/fld.h"
#include "embedded/field.h"
#include "embedded/host_state.h"
#include "embedded/transform.h"

namespace zam::host {
namespace {

constexpr int kMaxHostDims = 32;  // more than any file or network can ask for

// Room to multiply by components and bytes without overflow.
constexpr xp_long kMaxNodes = xp_long{1} << 50;

std::optional<xp_long> product(const xp_long* dims, int ndim) {
    xp_long nodes = 1;
    for (int axis = 0; axis < ndim; ++axis) {
        if (dims[axis] < 0 || dims[axis] > kMaxNodes) return std::nullopt;
        if (dims[axis] > 0 && nodes > kMaxNodes / dims[axis]) return std::nullopt;
        nodes *= dims[axis];
    }
    return nodes;
}

/// Number of points that the shape itself asks for; `nullopt` for fields whose positions are coordinates.
std::optional<xp_long> count_points(const Field& field) {
    if (field.shape.npoints >= 0) return field.shape.npoints;
    switch (grid_type(field)) {
        case FLD_UNIFORM: return 2;
        case FLD_RECTILINEAR: return sum_of_dims(field.shape);
        default: return std::nullopt;
    }
}

bool set_dims(Field& field, const xp_long* dims, int ndim) {
    const auto nodes = product(dims, ndim);
    Shape& shape = field.shape;
    if (!nodes) return false;
    shape.dims_follow = false;
    const bool same = ndim == shape.ndim && (ndim == 0 || std::equal(dims, dims + ndim, shape.dims.as<xp_long>()));
    if (same) return true;
    Array copy = make_array(DTYPE_LONG, ndim);
    if (!copy) return false;
    std::copy_n(dims, ndim, copy.as<xp_long>());
    shape.dims = std::move(copy);
    shape.ndim = ndim;
    // two corners place any grid; positions along axes belong to the dims they were made for
    if (shape.npoints != 2) {
        shape.npoints = -1;
        for_each_mesh(field, [](Mesh& mesh) { mesh.drop_points(); });
    }
    set_node_count(field, ndim > 0 ? *nodes : 0);
    return true;
}

bool set_ndim(Field& field, int ndim) {
    if (ndim < 0 || ndim > kMaxHostDims) return false;
    const std::vector<xp_long> zeros(static_cast<std::size_t>(ndim), 0);
    if (ndim != field.shape.ndim && !set_dims(field, zeros.data(), ndim)) return false;
    field.shape.dims_follow = ndim > 0;
    return true;
}

/// Sets a count given between ndim and dims: until the dims follow, all nodes lie along the first dimension.
bool set_nodes_ahead_of_dims(Field& field, xp_long nnodes) {
    std::vector<xp_long> dims(static_cast<std::size_t>(field.shape.ndim), 1);
    dims[0] = nnodes;
    if (!set_dims(field, dims.data(), field.shape.ndim)) return false;
    field.shape.dims_follow = true;
    return true;
}

bool set_nnodes(Field& field, xp_long nnodes) {
    if (nnodes < 0 || nnodes > kMaxNodes) return false;
    Shape& shape = field.shape;
    if (shape.dims_follow && nnodes != shape.nnodes) return set_nodes_ahead_of_dims(field, nnodes);
    // a count that is not the product: the field has no dimensions any more
    if (shape.ndim > 0 && nnodes != shape.nnodes) {
        shape.ndim = 0;
        shape.dims = {};
        shape.declared_type = 0;
        shape.npoints = -1;
        for_each_mesh(field, [](Mesh& mesh) { mesh.drop_points(); });
    }
    set_node_count(field, nnodes);
    return true;
}

bool set_nspace(Field& field, int nspace) {
    if (nspace < 1 || nspace > 3) return false;
    if (nspace == field.shape.nspace) return true;
    field.shape.nspace = nspace;
    for_each_mesh(field, [](Mesh& mesh) { mesh.drop_positions(); });
    return true;
}

/// A field that was made without a grid type takes it from the positions it is given.
void infer_type(Field& field, bool explicit_positions, xp_long npoints) {
    Shape& shape = field.shape;
    if (explicit_positions) {
        shape.inferred_type = FLD_STRUCTURED;
    } else {
        shape.inferred_type = npoints != 2 && npoints == sum_of_dims(shape) ? FLD_RECTILINEAR : FLD_UNIFORM;
    }
}

void set_points(const FieldPart& part, Array points) {
    Shape& shape = part.field->shape;
    if (shape.nspace > 0) shape.npoints = points.count / shape.nspace;
    if (shape.declared_type == 0) {
        infer_type(*part.field, false, shape.npoints);
        part.mesh->drop_coord();
    }
    part.mesh->drop_points();
    part.mesh->points = std::move(points);
}

void set_coord(const FieldPart& part, Array coord) {
    Shape& shape = part.field->shape;
    if (shape.declared_type == 0) {
        infer_type(*part.field, true, 0);
        part.mesh->drop_points();
        shape.npoints = -1;
    }
    part.mesh->drop_coord();
    part.mesh->coord = std::move(coord);
}

/// Lends positions; with a writing mode an absent array of `count` positions is made first.
template <class Set>
bool lend_positions(const char* operation, const FieldPart& part, Array Mesh::*positions, std::optional<xp_long> count,
                    int mode, float** data, xp_long* size, Set&& set) {
    if (!part.mesh || !data || !size || !is_access_mode(mode)) return false;
    if (!(part.mesh->*positions)) {
        if (mode == ARR_READ || !count || part.field->shape.nspace < 1) return false;
        Array made = make_array(DTYPE_FLOAT, *count * part.field->shape.nspace);
        if (!made) return false;
        set(part, std::move(made));
        state().store.touch(*part.object);
    }
    Array& array = part.mesh->*positions;
    auto* lent = static_cast<float*>(state().ledger.lend(operation, array, mode, part.object->id));
    if (!lent) return false;
    if (mode != ARR_READ) part.mesh->extent.reset();
    *data = lent;
    *size = array.count;
    return true;
}

/// Runs a change of the shape. Steps share the shape of their field.
template <class Change>
int change_shape(const char* operation, OMobj_id handle, Change&& change) {
    return status(operation, [&] {
        const FieldPart part = field_part(handle);
        if (!part || !change(*part.field)) return false;
        state().store.touch(*part.object);
        return true;
    });
}

}  // namespace

}  // namespace zam::host

using namespace zam::host;

// --- Shape ---

int FLDget_nspace(OMobj_id field, int* nspace) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        return part && part.field->shape.nspace > 0 && give(nspace, part.field->shape.nspace);
    });
}

int FLDset_nspace(OMobj_id field, int nspace) {
    return change_shape(__func__, field, [&](Field& changed) { return set_nspace(changed, nspace); });
}

int FLDset_ndim(OMobj_id field, int ndim) {
    return change_shape(__func__, field, [&](Field& changed) { return set_ndim(changed, ndim); });
}

int FLDget_dims(OMobj_id field, xp_long** dims, int* ndim) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        if (!part || part.field->shape.ndim < 1 || !dims || !ndim) return false;
        Shape& shape = part.field->shape;
        *dims = static_cast<xp_long*>(state().ledger.lend("FLDget_dims", shape.dims, ARR_READ, part.object->id));
        *ndim = shape.ndim;
        return true;
    });
}

int FLDset_dims(OMobj_id field, const xp_long* dims) {
    return change_shape(__func__, field, [&](Field& changed) {
        return dims && changed.shape.ndim > 0 && set_dims(changed, dims, changed.shape.ndim);
    });
}

int FLDget_nnodes(OMobj_id field, xp_long* nnodes) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        return part && give(nnodes, part.field->shape.nnodes);
    });
}

int FLDset_nnodes(OMobj_id field, xp_long nnodes) {
    return change_shape(__func__, field, [&](Field& changed) { return set_nnodes(changed, nnodes); });
}

int FLDget_grid_type(OMobj_id field, int* type) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        return part && give(type, grid_type(*part.field));
    });
}

// --- Positions ---

int FLDget_npoints(OMobj_id field, xp_long* npoints) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        const auto count = part ? count_points(*part.field) : std::nullopt;
        return count && give(npoints, *count);
    });
}

int FLDset_npoints(OMobj_id field, xp_long npoints) {
    return change_shape(__func__, field, [&](Field& changed) {
        if (npoints < 0 || npoints > kMaxNodes) return false;
        if (npoints != changed.shape.npoints) {
            for_each_mesh(changed, [](Mesh& mesh) { mesh.drop_points(); });
        }
        changed.shape.npoints = npoints;
        if (changed.shape.declared_type == 0) infer_type(changed, false, npoints);
        return true;
    });
}

int FLDget_points(OMobj_id field, float** points, xp_long* size, int mode) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        return part && lend_positions("FLDget_points", part, &Mesh::points, count_points(*part.field), mode, points,
                                      size, set_points);
    });
}

int FLDset_points(OMobj_id field, float* points, xp_long size, int mode) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        if (!part.mesh) return false;
        Array taken = state().ledger.take("FLDset_points", points, DTYPE_FLOAT, size, mode);
        if (!taken) return false;
        set_points(part, std::move(taken));
        state().store.touch(*part.object);
        return true;
    });
}

int FLDget_coord(OMobj_id field, float** coord, xp_long* size, int mode) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        return part && lend_positions("FLDget_coord", part, &Mesh::coord, part.field->shape.nnodes, mode, coord, size,
                                      set_coord);
    });
}

int FLDset_coord(OMobj_id field, float* coord, xp_long size, int mode) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        if (!part.mesh) return false;
        Array taken = state().ledger.take("FLDset_coord", coord, DTYPE_FLOAT, size, mode);
        if (!taken) return false;
        set_coord(part, std::move(taken));
        state().store.touch(*part.object);
        return true;
    });
}

int FLDget_coord_extent(OMobj_id field, float* minimum, float* maximum) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        if (!part.mesh || part.field->shape.nspace < 1 || !minimum || !maximum) return false;
        const auto box = part.mesh->extent ? part.mesh->extent : mesh_box(*part.field, *part.mesh);
        if (!box) return false;
        std::copy_n(box->minimum.begin(), part.field->shape.nspace, minimum);
        std::copy_n(box->maximum.begin(), part.field->shape.nspace, maximum);
        return true;
    });
}

int FLDset_coord_extent(OMobj_id field, const float* minimum, const float* maximum, int nspace) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        if (!part.mesh || nspace != part.field->shape.nspace || nspace < 1 || !minimum || !maximum) return false;
        Box box;
        std::copy_n(minimum, nspace, box.minimum.begin());
        std::copy_n(maximum, nspace, box.maximum.begin());
        part.mesh->extent = box;
        state().store.touch(*part.object);
        return true;
    });
}

// --- Transform ---

int FLDget_xform(OMobj_id field, float xform[16]) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        Transform transform;
        if (!part.mesh || !xform || !object_transform(*part.object, transform)) return false;
        compose(transform, xform);
        return true;
    });
}

int FLDset_xform(OMobj_id field, const float xform[16]) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        if (!part.mesh || !xform) return false;
        Transform transform = identity_transform();
        std::copy_n(xform, 16, transform.mat);
        std::copy_n(xform + 12, 3, transform.xlate);
        std::fill_n(transform.mat + 12, 3, 0.0F);
        if (!write_transform(*part.object, transform)) return false;
        state().store.touch(*part.object);
        return true;
    });
}
