// Time steps, and creation of fields.
#include <algorithm>
#include <string_view>

#include "contract/fld.h"
#include "embedded/field.h"
#include "embedded/host_state.h"

namespace zam::host {
namespace {

constexpr int kMaxSteps = 1 << 22;

/// What fields can be made of.
struct Template {
    std::string_view name;
    int grid_type;
};

constexpr Template kTemplates[] = {
    {"Mesh_Unif Node_Data", FLD_UNIFORM},       {"Mesh_Unif Time_Node_Data", FLD_UNIFORM},
    {"Mesh_Rect Node_Data", FLD_RECTILINEAR},   {"Mesh_Rect Time_Node_Data", FLD_RECTILINEAR},
    {"Mesh_Struct Node_Data", FLD_STRUCTURED},  {"Time_Mesh_Struct Time_Node_Data", FLD_STRUCTURED},
    {"Mesh_Unstr Node_Data", FLD_UNSTRUCTURED},
};

const Template* find_template(const char* name) {
    if (!name) return nullptr;
    const auto* found = std::find_if(std::begin(kTemplates), std::end(kTemplates),
                                     [&](const Template& one) { return one.name == name; });
    return found != std::end(kTemplates) ? found : nullptr;
}

void set_nsteps(Object& object, std::size_t count) {
    Store& store = state().store;
    Field& field = *object.part<Field>();
    while (field.steps.size() > count) {
        const Step last = field.steps.back();
        field.steps.pop_back();
        if (last.coordinates) store.end(*last.coordinates, &object);
        if (last.node_data) store.end(*last.node_data, &object);
    }
    field.steps.resize(count);
    if (field.time_values.size() > count) field.time_values.resize(count);
}

/// A step's components start as the field declares them, without values.
std::unique_ptr<NodeData> declared_components(const Field& field) {
    auto data = std::make_unique<NodeData>();
    for (const Component& component : field.data.components) {
        Component& declared = data->components.emplace_back();
        declared.veclen = component.veclen;
        declared.type = component.type;
        declared.label = component.label;
        declared.units = component.units;
        declared.id = component.id;
    }
    return data;
}

/// Handle of one part of a step, made when it is first asked for.
template <class MakeValue>
int give_step(const char* operation, OMobj_id handle, int step, Object* Step::*part, const char* name, OMobj_id* place,
              MakeValue&& make_value) {
    return status(operation, [&] {
        Store& store = state().store;
        Object* object = store.resolve(handle);
        Field* field = object ? object->part<Field>() : nullptr;
        if (!field || !place || step < 0 || static_cast<std::size_t>(step) >= field->steps.size()) return false;
        Object*& made = field->steps[static_cast<std::size_t>(step)].*part;
        if (!made) made = &store.add(object, store.names.token(name), make_value(*field), false);
        *place = made->id;
        return true;
    });
}

/// A new field below `parent`. A field of the same name gives up its place; it stays for what refers to it, so that a
/// reader that fails half-way leaves its output as it was. Any other object of that name becomes the field.
Object& create_field(Object& parent, OMobj_name name, int grid_type) {
    Store& store = state().store;
    Object* old = store.child(parent.id, name);
    auto value = std::make_unique<Field>();
    value->shape.declared_type = grid_type;
    if (old && !old->part<Field>()) {
        store.replace(*old, std::move(value));
        return *old;
    }
    Object& field = store.add(&parent, name, std::move(value), old == nullptr);
    if (old) store.supersede(*old, field);
    return field;
}

}  // namespace
}  // namespace zam::host

using namespace zam::host;

int FLDset_time_nsteps(OMobj_id field, int nsteps) {
    return status(__func__, [&] {
        Object* object = state().store.resolve(field);
        if (!object || !object->part<Field>() || nsteps < 0 || nsteps > kMaxSteps) return false;
        set_nsteps(*object, static_cast<std::size_t>(nsteps));
        state().store.touch(*object);
        return true;
    });
}

int FLDset_time_values(OMobj_id field, const float* values, int count) {
    return status(__func__, [&] {
        Object* object = state().store.resolve(field);
        Field* found = object ? object->part<Field>() : nullptr;
        if (!found || !values || count < 0 || static_cast<std::size_t>(count) > found->steps.size()) return false;
        found->time_values.assign(values, values + count);
        state().store.touch(*object);
        return true;
    });
}

int FLDget_time_coordinates(OMobj_id field, int step, OMobj_id* coordinates) {
    return give_step(__func__, field, step, &Step::coordinates, "time_coordinates", coordinates,
                     [](const Field&) { return std::make_unique<Mesh>(); });
}

int FLDget_time_node_data(OMobj_id field, int step, OMobj_id* node_data) {
    return give_step(__func__, field, step, &Step::node_data, "time_node_data", node_data, declared_components);
}

int FLDcreate(OMobj_id parent, OMobj_id* created, int /*flag*/, const char* name, const char* template_name) {
    return status(__func__, [&] {
        Object* above = state().store.resolve(parent);
        const Template* made_of = find_template(template_name);
        if (!above || !above->get<Group>() || !made_of || !created || !name || !is_object_name(name)) return false;
        *created = create_field(*above, state().store.names.token(name), made_of->grid_type).id;
        return true;
    });
}
