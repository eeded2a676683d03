#include "embedded/field.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "contract/fld.h"
#include "embedded/host_state.h"
#include "embedded/limits.h"

namespace zam::host {
namespace {

constexpr CellType kCellTypes[] = {
    {"Point", 1, false}, {"Line", 2, false},  {"Tri", 3, false}, {"Quad", 4, false},    {"Tet", 4, false},
    {"Hex", 8, false},   {"Prism", 6, false}, {"Pyr", 5, false}, {"Polyline", 2, true}, {"Polyhedron", 0, true},
};

/// Grows a box of one component by `count` values, `stride` apart. Values that are not finite do not count.
void extend(const float* values, xp_long count, xp_long stride, float& minimum, float& maximum) {
    for (xp_long k = 0; k < count; ++k) {
        const float value = values[k * stride];
        if (!std::isfinite(value)) continue;
        minimum = std::min(minimum, value);
        maximum = std::max(maximum, value);
    }
}

constexpr Box kNothing = [] {
    Box box;
    box.minimum.fill(std::numeric_limits<float>::infinity());
    box.maximum.fill(-std::numeric_limits<float>::infinity());
    return box;
}();

/// Box of `count` positions of `nspace` floats. Values that are not finite do not count.
Box positions_box(const float* positions, xp_long count, int nspace) {
    LaneLimits<float> lanes;
    lanes.take(positions, static_cast<std::size_t>(count * nspace),
               [](float value) { return std::fabs(value) <= std::numeric_limits<float>::max(); });
    Box box;
    const auto components = static_cast<std::size_t>(nspace);
    for (std::size_t k = 0; k < components; ++k) {
        box.minimum[k] = lanes.minimum(k, components);
        box.maximum[k] = lanes.maximum(k, components);
    }
    return box;
}

/// Box of axis positions: of the points along an axis only that axis' component counts; components beyond the axes are
/// 0.
Box axes_box(const Shape& shape, const float* points) {
    Box box = kNothing;
    const auto* dims = shape.dims.as<const xp_long>();
    for (int axis = 0; axis < shape.nspace; ++axis) {
        const auto component = static_cast<std::size_t>(axis);
        if (axis >= shape.ndim) {
            box.minimum[component] = box.maximum[component] = 0.0F;
            continue;
        }
        extend(points + axis, dims[axis], shape.nspace, box.minimum[component], box.maximum[component]);
        points += dims[axis] * shape.nspace;
    }
    return box;
}

/// The array that places the nodes of a mesh.
const Array& positions_of(const Field& field, const Mesh& mesh) {
    const int type = grid_type(field);
    return mesh.coord && type != FLD_UNIFORM && type != FLD_RECTILINEAR ? mesh.coord : mesh.points;
}

Box box_of(const Field& field, const Array& positions, bool axes) {
    const Shape& shape = field.shape;
    const auto* first = static_cast<const float*>(positions.block->data());
    const xp_long count = positions.count / shape.nspace;
    if (axes && grid_type(field) == FLD_RECTILINEAR && sum_of_dims(shape) == count) return axes_box(shape, first);
    return positions_box(first, count, shape.nspace);
}

template <class Visit>
void for_each_component(Field& field, Visit&& visit) {
    for (Component& component : field.data.components) visit(component);
    for (const Step& step : field.steps) {
        if (!step.node_data) continue;
        for (Component& component : step.node_data->part<NodeData>()->components) visit(component);
    }
}

}  // namespace

void Mesh::drop_points() {
    points = {};
    extent.reset();
    computed.reset();
}

void Mesh::drop_coord() {
    coord = {};
    extent.reset();
    computed.reset();
}

void Component::drop_values() {
    values = {};
    limits.reset();
    computed.reset();
    scaled_from.reset();
}

xp_long sum_of_dims(const Shape& shape) {
    xp_long sum = 0;
    for (int axis = 0; axis < shape.ndim; ++axis) sum += shape.dims.as<const xp_long>()[axis];
    return sum;
}

void for_each_mesh(Field& field, void (*visit)(Mesh&)) {
    visit(field.mesh);
    for (const Step& step : field.steps) {
        if (step.coordinates) visit(*step.coordinates->part<Mesh>());
    }
}

const CellType* find_cell_type(const char* name) {
    if (!name) return nullptr;
    const auto* found = std::find_if(std::begin(kCellTypes), std::end(kCellTypes),
                                     [&](const CellType& type) { return std::strcmp(type.name, name) == 0; });
    return found != std::end(kCellTypes) ? found : nullptr;
}

FieldPart field_part(OMobj_id handle) {
    Object* object = state().store.resolve(handle);
    if (!object) return {};
    if (Field* field = object->part<Field>()) return {object, field, &field->mesh, &field->data};
    Mesh* mesh = object->part<Mesh>();
    NodeData* data = object->part<NodeData>();
    if (!mesh && !data) return {};
    return {object, object->parent->part<Field>(), mesh, data};
}

Component* find_component(OMobj_id handle, int comp) {
    const FieldPart part = field_part(handle);
    if (!part.data || comp < 0 || static_cast<std::size_t>(comp) >= part.data->components.size()) return nullptr;
    return &part.data->components[static_cast<std::size_t>(comp)];
}

Field* find_field(OMobj_id handle) {
    Object* object = state().store.resolve(handle);
    return object ? object->part<Field>() : nullptr;
}

int grid_type(const Field& field) {
    const Shape& shape = field.shape;
    if (shape.declared_type != 0) return shape.declared_type;
    if (shape.ndim == 0) return FLD_UNSTRUCTURED;
    return shape.inferred_type != 0 ? shape.inferred_type : int{FLD_UNIFORM};
}

std::optional<Box> mesh_box(const Field& field, Mesh& mesh) {
    const Array& positions = positions_of(field, mesh);
    if (const Box* known = mesh.computed.get(positions)) return *known;
    if (!positions || field.shape.nspace < 1) return std::nullopt;
    const Box box = box_of(field, positions, &positions == &mesh.points);
    for (std::size_t k = 0; k < static_cast<std::size_t>(field.shape.nspace); ++k) {
        if (!(box.minimum[k] <= box.maximum[k])) return std::nullopt;  // no finite value
    }
    mesh.computed.set(positions, box);
    return box;
}

std::optional<Range> coordinate_range(Field& field) {
    auto box = mesh_box(field, field.mesh);
    if (!box) box = field.mesh.extent;
    if (!box || field.shape.nspace < 1) return std::nullopt;
    Range range{box->minimum[0], box->maximum[0]};
    for (std::size_t k = 1; k < static_cast<std::size_t>(field.shape.nspace); ++k) {
        range.minimum = std::min(range.minimum, static_cast<double>(box->minimum[k]));
        range.maximum = std::max(range.maximum, static_cast<double>(box->maximum[k]));
    }
    return range;
}

void set_node_count(Field& field, xp_long nnodes) {
    if (field.shape.nnodes == nnodes) return;
    field.shape.nnodes = nnodes;
    for_each_mesh(field, [](Mesh& mesh) { mesh.drop_coord(); });
    for_each_component(field, [](Component& component) { component.drop_values(); });
}

}  // namespace zam::host
