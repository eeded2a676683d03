// Node data of fields and of their time steps.
#include <algorithm>
#include <array>
#include <limits>

#include "contract/fld.h"
#include "embedded/field.h"
#include "embedded/host_state.h"
#include "embedded/limits.h"

namespace zam::host {
namespace {

constexpr int kMaxComponents = 1 << 16;
constexpr int kMaxVeclen = 1 << 24;

std::optional<Limits> compute_limits(const Component& component) {
    const Array& values = component.values;
    return with_type(values.type, [&](auto zero) -> std::optional<Limits> {
        using T = decltype(zero);
        LaneLimits<T> lanes;
        const auto* first = values.as<const T>();
        const auto count = static_cast<std::size_t>(values.count);
        const auto null = component.has_null ? component.null_value.to<T>() : std::nullopt;
        if (null) {
            lanes.take(first, count, [null = *null](T value) { return value != null; });
        } else {
            lanes.take(first, count, [](T) { return true; });
        }
        if (!(lanes.minimum() <= lanes.maximum())) return std::nullopt;
        return Limits{Number(lanes.minimum()), Number(lanes.maximum())};
    });
}

std::optional<Limits> limits_of(Component& component) {
    if (component.limits) return component.limits;
    if (const Limits* known = component.computed.get(component.values)) return *known;
    if (!component.values) return std::nullopt;
    const auto limits = compute_limits(component);
    if (limits) component.computed.set(component.values, *limits);
    return limits;
}

/// One component of a field or of a step's node data.
struct ComponentPlace {
    FieldPart part;
    Component* component = nullptr;

    explicit operator bool() const { return component != nullptr; }
};

ComponentPlace find_place(OMobj_id handle, int comp) { return {field_part(handle), find_component(handle, comp)}; }

/// Runs a setter of a component; `change` says whether it succeeded. A field without components gets its first one
/// from the first setting of it.
template <class Change>
int change_component(const char* operation, OMobj_id handle, int comp, Change&& change) {
    return status(operation, [&] {
        const FieldPart part = field_part(handle);
        const bool first = part.data && comp == 0 && part.data->components.empty();
        if (first) part.data->components.emplace_back();
        const ComponentPlace place = find_place(handle, comp);
        if (!place || !change(*place.component)) {
            if (first) part.data->components.clear();
            return false;
        }
        state().store.touch(*part.object);
        return true;
    });
}

template <class Read>
int read_component(const char* operation, OMobj_id handle, int comp, Read&& read) {
    return status(operation, [&] {
        const ComponentPlace place = find_place(handle, comp);
        return place && read(*place.component);
    });
}

bool set_veclen(Component& component, int veclen) {
    if (veclen < 1 || veclen > kMaxVeclen) return false;
    if (veclen != component.veclen) component.drop_values();
    component.veclen = veclen;
    return true;
}

bool set_type(Component& component, int type) {
    if (!is_type(type)) return false;
    if (type != component.type) component.drop_values();
    component.type = type;
    return true;
}

/// Values per node, from the size of the values where it was not declared.
int veclen_of(xp_long size, xp_long nnodes) {
    const bool whole = nnodes > 0 && size > 0 && size % nnodes == 0 && size / nnodes <= kMaxVeclen;
    return whole ? static_cast<int>(size / nnodes) : 1;
}

bool make_values(const ComponentPlace& place) {
    Component& component = *place.component;
    const xp_long nnodes = place.part.field->shape.nnodes;
    if (component.veclen < 1 || component.type < 0) return false;
    if (nnodes > std::numeric_limits<xp_long>::max() / component.veclen) return false;
    Array made = make_array(component.type, nnodes * component.veclen);
    if (!made) return false;
    component.values = std::move(made);
    state().store.touch(*place.part.object);
    return true;
}

bool write_limits(const Limits& limits, int type, void* minimum, void* maximum) {
    // both or none: a maximum that does not fit must not leave the minimum changed
    std::array<std::byte, sizeof(double)> unused{};
    return limits.maximum.write(type, unused.data()) && limits.minimum.write(type, minimum) &&
           limits.maximum.write(type, maximum);
}

void set_limits(Component& component, const Limits& limits, int type) {
    component.limits = limits;
    if (component.type < 0) component.type = type;
}

}  // namespace
}  // namespace zam::host

using namespace zam::host;

// --- Declarations ---

int FLDget_node_data_ncomp(OMobj_id field, int* ncomp) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        return part.data && give(ncomp, static_cast<int>(part.data->components.size()));
    });
}

int FLDset_node_data_ncomp(OMobj_id field, int ncomp) {
    return status(__func__, [&] {
        const FieldPart part = field_part(field);
        if (!part.data || ncomp < 0 || ncomp > kMaxComponents) return false;
        part.data->components.resize(static_cast<std::size_t>(ncomp));
        state().store.touch(*part.object);
        return true;
    });
}

int FLDset_node_data_comp(OMobj_id field, int comp, int veclen, const char* label, const char* units) {
    return change_component(__func__, field, comp, [&](Component& component) {
        if (!set_veclen(component, veclen)) return false;
        component.label = label ? label : "";
        component.units = units ? units : "";
        return true;
    });
}

int FLDget_node_data_veclen(OMobj_id field, int comp, int* veclen) {
    return read_component(__func__, field, comp, [&](const Component& component) {
        return component.veclen > 0 && give(veclen, component.veclen);
    });
}

int FLDset_node_data_veclen(OMobj_id field, int comp, int veclen) {
    return change_component(__func__, field, comp, [&](Component& component) { return set_veclen(component, veclen); });
}

int FLDget_node_data_type(OMobj_id field, int comp, int* type) {
    return read_component(__func__, field, comp, [&](const Component& component) {
        return component.type >= 0 && give(type, component.type);
    });
}

int FLDset_node_data_type(OMobj_id field, int comp, int type) {
    return change_component(__func__, field, comp, [&](Component& component) { return set_type(component, type); });
}

int FLDget_node_data_label(OMobj_id field, int comp, char* label, int size) {
    return read_component(__func__, field, comp,
                          [&](const Component& component) { return give_text(label, size, component.label); });
}

int FLDset_node_data_label(OMobj_id field, int comp, const char* label) {
    return change_component(__func__, field, comp, [&](Component& component) {
        component.label = label ? label : "";
        return true;
    });
}

int FLDget_node_data_units(OMobj_id field, int comp, char* units, int size) {
    return read_component(__func__, field, comp,
                          [&](const Component& component) { return give_text(units, size, component.units); });
}

int FLDset_node_data_units(OMobj_id field, int comp, const char* units) {
    return change_component(__func__, field, comp, [&](Component& component) {
        component.units = units ? units : "";
        return true;
    });
}

int FLDget_node_data_id(OMobj_id field, int comp, int* id) {
    return read_component(__func__, field, comp, [&](const Component& component) { return give(id, component.id); });
}

int FLDset_node_data_id(OMobj_id field, int comp, int id) {
    return change_component(__func__, field, comp, [&](Component& component) {
        component.id = id;
        return true;
    });
}

// --- Values ---

int FLDget_node_data(OMobj_id field, int comp, int* type, void** data, xp_long* size, int mode) {
    return status(__func__, [&] {
        const ComponentPlace place = find_place(field, comp);
        if (!place || !type || !data || !size || !is_access_mode(mode)) return false;
        Component& component = *place.component;
        if (!component.values && (mode == ARR_READ || !make_values(place))) return false;
        void* lent = state().ledger.lend("FLDget_node_data", component.values, mode, place.part.object->id);
        if (!lent) return false;
        if (mode != ARR_READ) component.limits.reset(), component.scaled_from.reset();
        *type = component.values.type;
        *size = component.values.count;
        *data = lent;
        return true;
    });
}

int FLDset_node_data(OMobj_id field, int comp, void* data, int type, xp_long size, int mode) {
    return change_component(__func__, field, comp, [&](Component& component) {
        Array taken = state().ledger.take("FLDset_node_data", data, type, size, mode);
        if (!taken) return false;
        component.drop_values();
        component.type = type;
        if (component.veclen < 1) component.veclen = veclen_of(size, field_part(field).field->shape.nnodes);
        component.values = std::move(taken);
        return true;
    });
}

// --- Minimum, maximum, null value ---

int FLDget_node_data_minmax(OMobj_id field, int comp, void* minimum, void* maximum) {
    return read_component(__func__, field, comp, [&](Component& component) {
        const auto limits = minimum && maximum ? limits_of(component) : std::nullopt;
        return limits && write_limits(*limits, component.type, minimum, maximum);
    });
}

int FLDset_node_data_minmax(OMobj_id field, int comp, const void* minimum, const void* maximum, int type) {
    return change_component(__func__, field, comp, [&](Component& component) {
        if (!minimum || !maximum || !zam::is_type(type)) return false;
        set_limits(component, {Number::read(type, minimum), Number::read(type, maximum)}, type);
        return true;
    });
}

int FLDcopy_node_minmax(OMobj_id field, OMobj_id source, int comp, int source_comp) {
    return change_component(__func__, field, comp, [&](Component& component) {
        const ComponentPlace from = find_place(source, source_comp);
        const auto limits = from ? limits_of(*from.component) : std::nullopt;
        if (limits) set_limits(component, *limits, from.component->type);
        return limits.has_value();
    });
}

int FLDget_node_null_data(OMobj_id field, int comp, int* flag, void* value) {
    return read_component(__func__, field, comp, [&](const Component& component) {
        if (!flag) return false;
        if (component.has_null) {
            if (!value || component.type < 0 || !component.null_value.write(component.type, value)) return false;
        }
        *flag = component.has_null ? 1 : 0;
        return true;
    });
}

int FLDset_node_null_data(OMobj_id field, int comp, const void* value, int type) {
    return change_component(__func__, field, comp, [&](Component& component) {
        if (!value || !zam::is_type(type)) return false;
        component.null_value = Number::read(type, value);
        component.has_null = true;
        if (component.type < 0) component.type = type;
        component.computed.reset();
        return true;
    });
}

int FLDset_node_null_flag(OMobj_id field, int comp, int flag) {
    return change_component(__func__, field, comp, [&](Component& component) {
        component.has_null = flag != 0;
        component.computed.reset();
        return true;
    });
}
