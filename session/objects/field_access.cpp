#include "session/objects/field_access.h"

#include <array>

#include "embedded/host.h"
#include "session/values/field_value.h"

namespace zam::session {

FieldShape read_shape(OMobj_id field) {
    FieldShape shape;
    FLDget_nspace(field, &shape.nspace);
    FLDget_nnodes(field, &shape.nnodes);
    FLDget_grid_type(field, &shape.grid_type);
    LentArray<xp_long> dims;
    int ndim = 0;
    if (FLDget_dims(field, dims.receive(), &ndim) == 1) shape.dims.assign(dims.data(), dims.data() + ndim);
    return shape;
}

std::string_view grid_type_name(const FieldShape& shape) {
    return kGridTypeNames[static_cast<std::size_t>(shape.grid_type - FLD_UNIFORM)];
}

int component_count(OMobj_id node_data) {
    int count = 0;
    FLDget_node_data_ncomp(node_data, &count);
    return count;
}

ComponentHeader read_component_header(OMobj_id node_data, int comp) {
    ComponentHeader header;
    std::array<char, FLD_LABEL_SIZE> text{};
    FLDget_node_data_veclen(node_data, comp, &header.veclen);
    int type = 0;
    if (FLDget_node_data_type(node_data, comp, &type) == 1) header.type = type;
    if (FLDget_node_data_label(node_data, comp, text.data(), FLD_LABEL_SIZE) == 1) header.label = text.data();
    if (FLDget_node_data_units(node_data, comp, text.data(), FLD_LABEL_SIZE) == 1) header.units = text.data();
    FLDget_node_data_id(node_data, comp, &header.id);
    return header;
}

LentValues read_node_values(OMobj_id node_data, int comp) {
    void* data = nullptr;
    xp_long count = 0;
    int type = DTYPE_FLOAT;
    if (FLDget_node_data(node_data, comp, &type, &data, &count, ARR_READ) != 1) return {};
    return {type, {static_cast<const std::byte*>(data), count}};
}

LentValues read_array(OMobj_id object) {
    xp_long count = 0;
    int type = DTYPE_FLOAT;
    const void* values = host::open_values(object, &type, &count);
    return {type, {static_cast<const std::byte*>(values), count}};
}

LentArray<float> read_points(OMobj_id field) {
    LentArray<float> points;
    FLDget_points(field, points.receive(), points.receive_count(), ARR_READ);
    return points;
}

LentArray<float> read_coordinates(OMobj_id mesh) {
    LentArray<float> coord;
    if (host::has_coordinates(mesh)) FLDget_coord(mesh, coord.receive(), coord.receive_count(), ARR_READ);
    return coord;
}

std::optional<Limits> read_limits(OMobj_id node_data, int comp) {
    Limits limits{};
    if (FLDget_node_data_minmax(node_data, comp, limits.minimum, limits.maximum) != 1) return std::nullopt;
    return limits;
}

}  // namespace zam::session
