// Each step sizes what the next one fills.
#include "session/objects/host_fields.h"

#include <array>

#include "contract/fld.h"
#include "embedded/host.h"
#include "session/convert/value_range.h"
#include "session/objects/host_array.h"

namespace zam::session {
namespace {

void fill_positions(OMobj_id mesh, const NumberArray& values, int (*set)(OMobj_id, float*, xp_long, int)) {
    if (values.count == 0) return;
    HandedArray array(values);
    array.hand_over<float>("the positions cannot be set",
                           [&](float* data, int mode) { return set(mesh, data, values.count, mode); });
}

/// One number of a component's type.
struct OneNumber {
    explicit OneNumber(const NumberArray& value) {
        const std::string error = copy_values(value, bytes.data());
        if (!error.empty()) throw RunError(error);
    }
    alignas(double) std::array<std::byte, sizeof(double)> bytes{};
};

void fill_limits(OMobj_id node_data, int comp, const ComponentValue& value) {
    if (!value.minimum && !value.maximum) return;
    alignas(double) std::array<std::byte, sizeof(double)> computed_minimum{};
    alignas(double) std::array<std::byte, sizeof(double)> computed_maximum{};
    FLDget_node_data_minmax(node_data, comp, computed_minimum.data(), computed_maximum.data());
    const auto minimum = value.minimum ? OneNumber(*value.minimum).bytes : computed_minimum;
    const auto maximum = value.maximum ? OneNumber(*value.maximum).bytes : computed_maximum;
    require(FLDset_node_data_minmax(node_data, comp, minimum.data(), maximum.data(), value.type) == 1,
            "minimum and maximum cannot be set");
}

void fill_component(OMobj_id node_data, int comp, const ComponentValue& value) {
    if (value.veclen > 0) require(FLDset_node_data_veclen(node_data, comp, value.veclen) == 1, "veclen cannot be set");
    FLDset_node_data_type(node_data, comp, value.type);
    FLDset_node_data_label(node_data, comp, value.label.c_str());
    FLDset_node_data_units(node_data, comp, value.units.c_str());
    FLDset_node_data_id(node_data, comp, value.id);
    if (value.null_value) {
        FLDset_node_null_data(node_data, comp, OneNumber(*value.null_value).bytes.data(), value.type);
    }
    if (value.values.count > 0) {
        HandedArray array(value.values);
        array.hand_over<void>("node data cannot be set", [&](void* data, int mode) {
            return FLDset_node_data(node_data, comp, data, value.type, value.values.count, mode);
        });
    }
    fill_limits(node_data, comp, value);
    if (value.scaled_from) {
        std::array<double, 2> range{};
        const std::string error = value.scaled_from->find(range);
        if (!error.empty()) throw RunError(error);
        host::set_scaled_from(node_data, comp, range);
    }
}

void fill_node_data(OMobj_id node_data, const std::vector<ComponentValue>& components) {
    require(FLDset_node_data_ncomp(node_data, static_cast<int>(components.size())) == 1, "too many components");
    for (std::size_t comp = 0; comp < components.size(); ++comp) {
        fill_component(node_data, static_cast<int>(comp), components[comp]);
    }
}

void fill_mesh(OMobj_id field, const FieldValue& value) {
    if (value.dims.empty()) {
        require(FLDset_nnodes(field, value.nnodes) == 1, "the number of nodes cannot be set");
    } else {
        require(FLDset_ndim(field, static_cast<int>(value.dims.size())) == 1, "ndim cannot be set");
        require(FLDset_dims(field, value.dims.data()) == 1, "dims cannot be set");
        host::set_grid_type(field, value.grid_type);
    }
    if (value.nspace > 0) require(FLDset_nspace(field, value.nspace) == 1, "nspace cannot be set");
    fill_positions(field, value.points, FLDset_points);
    fill_positions(field, value.coord, FLDset_coord);
    if (value.extent_minimum && value.extent_maximum && value.nspace > 0) {
        Vector minimum{};
        Vector maximum{};
        require(copy_values(*value.extent_minimum, minimum.data()).empty() &&
                    copy_values(*value.extent_maximum, maximum.data()).empty(),
                "the extent cannot be read");
        FLDset_coord_extent(field, minimum.data(), maximum.data(), value.nspace);
    }
    if (value.xform) host::set_field_xform(field, value.xform->mat, value.xform->xlate, value.xform->center);
}

void fill_list(OMobj_id cells, const NumberArray& values, int (*set)(OMobj_id, xp_long*, xp_long, int)) {
    if (values.count == 0) return;
    HandedArray array(values);
    array.hand_over<xp_long>("the node list cannot be set",
                             [&](xp_long* data, int mode) { return set(cells, data, values.count, mode); });
}

void fill_cell_sets(OMobj_id field, const FieldValue& value) {
    for (std::size_t i = 0; i < value.cell_sets.size(); ++i) {
        const CellSetValue& cells = value.cell_sets[i];
        OMobj_id handle{};
        require(FLDadd_cell_set(field, cells.name.c_str()) == 1 &&
                    FLDget_cell_set(field, static_cast<int>(i), &handle) == 1,
                "the cell set cannot be made");
        require(FLDset_ncells(handle, cells.ncells) == 1 && FLDset_npolys(handle, cells.npolys) == 1,
                "the number of cells cannot be set");
        fill_list(handle, cells.connect, FLDset_node_connect);
        fill_list(handle, cells.poly_connect, FLDset_poly_connect);
    }
}

void fill_steps(OMobj_id field, const FieldValue& value) {
    if (value.steps.empty()) return;
    require(FLDset_time_nsteps(field, static_cast<int>(value.steps.size())) == 1, "the steps cannot be made");
    FLDset_time_values(field, value.time_values.data(), static_cast<int>(value.time_values.size()));
    for (std::size_t i = 0; i < value.steps.size(); ++i) {
        OMobj_id coordinates{};
        OMobj_id node_data{};
        const int step = static_cast<int>(i);
        require(FLDget_time_coordinates(field, step, &coordinates) == 1 &&
                    FLDget_time_node_data(field, step, &node_data) == 1,
                "the step cannot be made");
        fill_positions(coordinates, value.steps[i].coord, FLDset_coord);
        fill_node_data(node_data, value.steps[i].node_data);
    }
}

}  // namespace

void fill_field(OMobj_id field, const FieldValue& value) {
    fill_mesh(field, value);
    fill_node_data(field, value.node_data);
    fill_cell_sets(field, value);
    fill_steps(field, value);
}

}  // namespace zam::session
