#include "session/objects/borrowed_field.h"

#include <array>
#include <utility>

#include "base/element_types.h"
#include "contract/fld.h"
#include "embedded/host.h"
#include "session/convert/value_range.h"
#include "session/objects/field_access.h"
#include "session/values/held_source.h"

namespace zam::session {
namespace {

template <class T>
NumberArray borrow(int type, const LentArray<T>& values) {
    NumberArray array{.type = type, .count = values.count(), .values = {}, .source = {}};
    if (array.count > 0) array.source = std::make_shared<HeldSource>(host::hold(values.data()), type);
    return array;
}

NumberArray borrow_list(OMobj_id cells, int (*get)(OMobj_id, xp_long**, xp_long*, int)) {
    LentArray<xp_long> list;
    get(cells, list.receive(), list.receive_count(), ARR_READ);
    return borrow(DTYPE_LONG, list);
}

NumberArray one_number(int type, const std::byte* value) {
    return {.type = type, .count = 1, .values = {value, value + type_size(type)}, .source = {}};
}

ComponentValue borrow_component(OMobj_id node_data, int comp) {
    const ComponentHeader header = read_component_header(node_data, comp);
    ComponentValue component;
    LentValues values = read_node_values(node_data, comp);
    component.veclen = header.veclen;
    component.type = values.values ? values.type : header.type.value_or(DTYPE_FLOAT);
    component.label = header.label;
    component.units = header.units;
    component.id = header.id;
    alignas(double) std::array<std::byte, sizeof(double)> null_value{};
    int flag = 0;
    FLDget_node_null_data(node_data, comp, &flag, null_value.data());
    if (flag != 0) component.null_value = one_number(component.type, null_value.data());
    if (const auto range = host::scaled_from(node_data, comp)) {
        component.scaled_from = std::make_shared<const ValueRange>(*range);
    }
    component.values = borrow(component.type, values.values);
    return component;
}

std::vector<ComponentValue> borrow_node_data(OMobj_id node_data) {
    const int count = component_count(node_data);
    std::vector<ComponentValue> components;
    components.reserve(static_cast<std::size_t>(count));
    for (int comp = 0; comp < count; ++comp) components.push_back(borrow_component(node_data, comp));
    return components;
}

CellSetValue borrow_cell_set(OMobj_id cells) {
    CellSetValue value;
    std::array<char, FLD_LABEL_SIZE> name{};
    FLDget_cell_set_name(cells, name.data(), FLD_LABEL_SIZE);
    FLDget_ncells(cells, &value.ncells);
    FLDget_npolys(cells, &value.npolys);
    value.name = name.data();
    value.connect = borrow_list(cells, FLDget_node_connect);
    value.poly_connect = borrow_list(cells, FLDget_poly_connect);
    return value;
}

void borrow_mesh(OMobj_id field, FieldValue& value) {
    const FieldShape shape = read_shape(field);
    value.nspace = shape.nspace;
    value.dims = shape.dims;
    value.nnodes = shape.nnodes;
    value.grid_type = shape.grid_type;
    if (shape.has_points()) {
        value.points = borrow(DTYPE_FLOAT, read_points(field));
    } else {
        value.coord = borrow(DTYPE_FLOAT, read_coordinates(field));
    }
    Matrix xform{};
    if (FLDget_xform(field, xform.data()) == 1) value.xform = from_matrix(xform);
    int count = 0;
    FLDget_ncell_sets(field, &count);
    for (int i = 0; i < count; ++i) {
        OMobj_id cells{};
        if (FLDget_cell_set(field, i, &cells) == 1) value.cell_sets.push_back(borrow_cell_set(cells));
    }
}

}  // namespace

NumberArray borrow_array(OMobj_id object) {
    const LentValues array = read_array(object);
    return borrow(array.type, array.values);
}

FieldPointer borrow_field(OMobj_id field) {
    auto value = std::make_shared<FieldValue>();
    borrow_mesh(field, *value);
    value->node_data = borrow_node_data(field);
    value->time_values = host::time_values(field);
    const int nsteps = host::time_nsteps(field);
    for (int step = 0; step < nsteps; ++step) {
        OMobj_id coordinates{};
        OMobj_id node_data{};
        FLDget_time_coordinates(field, step, &coordinates);
        FLDget_time_node_data(field, step, &node_data);
        value->steps.push_back({borrow(DTYPE_FLOAT, read_coordinates(coordinates)), borrow_node_data(node_data)});
    }
    return value;
}

}  // namespace zam::session
