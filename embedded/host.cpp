// The host as its owner sees it.
#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "embedded/host_state.h"
#include "embedded/transform.h"

namespace zam::host {

void reset() {
    HostState& host = state();
    host.store.reset();
    host.reports = Reports();
    host.events.reset();
    host.call_switch = CallSwitch();
    host.contexts.clear();
    host.ledger.reset();
}

// --- Objects ---

OMobj_id root() { return state().store.root().id; }

OMobj_id add_root() {
    state().store.add_root();
    return root();
}

void set_root(OMobj_id root) { state().store.set_root(root); }

OMobj_id create(OMobj_id parent, std::string_view name, Kind kind, Kind element_kind) {
    Store& store = state().store;
    Object* above = store.resolve(parent);
    auto value = make_value(kind, element_kind);
    const bool fits = above && (above->get<Group>() || above->part<Field>());
    const bool named = is_object_name(name) || (above && store.is_root(*above) && is_numbered_name(name));
    if (!fits || !value || !named) return OMnull_obj();
    const OMobj_name token = store.names.token(name);
    if (Object* old = store.child(above->id, token)) {
        store.replace(*old, std::move(*value));
        return old->id;
    }
    return store.add(above, token, std::move(*value)).id;
}

bool renew(OMobj_id object, Kind kind) {
    Object* found = state().store.find(object);
    auto value = make_value(kind, Kind::none);
    if (!found || state().store.is_root(*found) || is_part(*found) || !value) return false;
    state().store.replace(*found, std::move(*value));
    return true;
}

void destroy(OMobj_id object) {
    Object* found = state().store.find(object);
    if (found && found != &state().store.root() && !is_part(*found)) state().store.end(*found, nullptr);
}

Kind kind(OMobj_id object) {
    const Object* found = state().store.resolve(object);
    return found ? kind_of(found->value) : Kind::none;
}

bool is_reference(OMobj_id object) {
    const Object* found = state().store.find(object);
    return found && found->refers_to;
}

std::string name(OMobj_id object) {
    const Object* found = state().store.find(object);
    return found ? state().store.names.text(found->name) : std::string();
}

std::string path(OMobj_id object) {
    const Object* found = state().store.find(object);
    return found ? state().store.path(*found) : std::string();
}

std::vector<OMobj_id> children(OMobj_id object) {
    const Object* found = state().store.resolve(object);
    std::vector<OMobj_id> handles;
    if (!found) return handles;
    for (const Object* child : found->children) handles.push_back(child->id);
    return handles;
}

OMobj_id find(OMobj_id from, std::string_view path) {
    const Object* found = state().store.walk(from, path);
    return found ? found->id : OMnull_obj();
}

std::optional<std::string> text_at(OMobj_id object, xp_long index) {
    Object* found = state().store.resolve(object);
    const Texts* texts = found ? found->get<Texts>() : nullptr;
    if (!texts || index < 0 || static_cast<std::size_t>(index) >= texts->entries.size()) return std::nullopt;
    return texts->entries[static_cast<std::size_t>(index)];
}

bool set_values(OMobj_id object, int type, const void* values, xp_long count) {
    Object* found = state().store.resolve(object);
    if (!found || !(found->get<Array>() || found->get<Unset>())) return false;
    Array copy = make_array(type, count);
    if (!copy) return false;
    if (count > 0) std::memcpy(copy.data(), values, copy.block->bytes());
    found->value = std::move(copy);
    state().store.touch(*found);
    return true;
}

const void* open_values(OMobj_id object, int* type, xp_long* count) {
    Object* found = state().store.resolve(object);
    Array* array = found ? found->get<Array>() : nullptr;
    if (!array || !*array) return nullptr;
    *type = array->type;
    *count = array->count;
    return state().ledger.lend("open_values", *array, ARR_READ, found->id);
}

std::shared_ptr<const void> hold(const void* lent) { return state().ledger.hold(lent); }

void offer(const void* data, std::size_t bytes, std::shared_ptr<const void> owner) {
    state().ledger.offer(data, bytes, std::move(owner));
}

void withdraw(const void* data) { state().ledger.withdraw(data); }

// --- Fields ---

void set_grid_type(OMobj_id field, int grid_type) {
    Field* found = find_field(field);
    if (!found || grid_type < FLD_UNIFORM || grid_type > FLD_UNSTRUCTURED) return;
    found->shape.declared_type = grid_type;
    for_each_mesh(*found, [](Mesh& mesh) { mesh.computed.reset(); });
    touch(field);
}

bool has_coordinates(OMobj_id field) {
    const FieldPart part = field_part(field);
    return part.mesh && part.mesh->coord;
}

int time_nsteps(OMobj_id field) {
    const Field* found = find_field(field);
    return found ? static_cast<int>(found->steps.size()) : 0;
}

std::vector<float> time_values(OMobj_id field) {
    const Field* found = find_field(field);
    return found ? found->time_values : std::vector<float>();
}

void set_scaled_from(OMobj_id node_data, int comp, const std::array<double, 2>& range) {
    Component* component = find_component(node_data, comp);
    if (component) component->scaled_from = range;
}

std::optional<std::array<double, 2>> scaled_from(OMobj_id node_data, int comp) {
    const Component* component = find_component(node_data, comp);
    return component ? component->scaled_from : std::nullopt;
}

void set_field_xform(OMobj_id field, std::span<const float> mat, std::span<const float> xlate,
                     std::span<const float> center) {
    const FieldPart part = field_part(field);
    Transform transform;
    if (!part.mesh || !object_transform(*part.object, transform)) return;
    const auto copy = [](std::span<const float> from, float* to, std::size_t count) {
        std::copy_n(from.begin(), std::min(from.size(), count), to);
    };
    copy(mat, transform.mat, 16);
    copy(xlate, transform.xlate, 3);
    copy(center, transform.center, 3);
    write_transform(*part.object, transform);
}

// --- Changes ---

int now() { return state().store.now(); }

int stamp(OMobj_id object) {
    Object* found = state().store.find(object);
    return found ? state().store.deep_stamp(*found) : 0;
}

void touch(OMobj_id object) { state().store.touch(object); }

// --- Records, account, switches, timer ---

void set_recorder(std::function<void(const Record&)> recorder) { state().reports.set_recorder(std::move(recorder)); }

void set_current_module(std::string_view name) {
    state().reports.set_module(name);
    state().ledger.set_module(name);
    state().contexts.clear();
    state().store.end_all_groups();
}

void set_interrupt(bool requested) { state().reports.set_interrupt(requested); }

void cancel_call() { state().reports.cancel(); }

Account account() { return state().ledger.account(); }

void fail_allocation(std::int64_t n) { state().ledger.fail_allocation(n); }

void pretend_available_memory(std::optional<std::int64_t> bytes) { zam::pretend_available_memory(bytes); }

void fail_call(std::string_view name, std::int64_t n) { state().call_switch.set(name, n); }

bool call_failed() { return state().call_switch.has_struck(); }

void advance(std::int64_t units) { state().events.advance(units); }

std::optional<std::int64_t> next_due() { return state().events.next_due(); }

}  // namespace zam::host
