#include "embedded/store.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>
#include <utility>

namespace zam::host {
namespace {

constexpr float kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

bool is_within(const Object* object, const Object& ancestor) {
    while (object && object != &ancestor) object = object->parent;
    return object != nullptr;
}

Value float_array(std::size_t count, const float* values) {
    Array array = make_array(DTYPE_FLOAT, static_cast<xp_long>(count));
    if (!array) throw std::bad_alloc();
    if (values) std::copy_n(values, count, array.as<float>());
    return array;
}

void remove(std::vector<Object*>& list, const Object* object) {
    if (!list.empty() && list.back() == object) return list.pop_back();  // arrays shrink from their end
    list.erase(std::remove(list.begin(), list.end(), object), list.end());
}

}  // namespace

// --- Values ---

Kind kind_of(const Value& value) {
    struct Visitor {
        Kind operator()(Unset) const { return Kind::unset; }
        Kind operator()(Group) const { return Kind::group; }
        Kind operator()(int) const { return Kind::integer; }
        Kind operator()(double) const { return Kind::real; }
        Kind operator()(const std::string&) const { return Kind::text; }
        Kind operator()(void*) const { return Kind::pointer; }
        Kind operator()(const Array&) const { return Kind::array; }
        Kind operator()(const Texts&) const { return Kind::texts; }
        Kind operator()(const Elements&) const { return Kind::objects; }
        Kind operator()(CoordinateLimit) const { return Kind::real; }
        Kind operator()(const std::unique_ptr<Field>&) const { return Kind::field; }
        Kind operator()(const std::unique_ptr<Mesh>&) const { return Kind::time_step; }
        Kind operator()(const std::unique_ptr<NodeData>&) const { return Kind::time_step; }
        Kind operator()(const std::unique_ptr<CellSet>&) const { return Kind::cell_set; }
    };
    return std::visit(Visitor{}, value);
}

std::optional<Value> make_value(Kind kind, Kind element_kind) {
    switch (kind) {
        case Kind::group: return Group{};
        case Kind::integer: return 0;
        case Kind::real: return 0.0;
        case Kind::text: return std::string();
        case Kind::pointer: return static_cast<void*>(nullptr);
        case Kind::array: return Array{};
        case Kind::texts: return Texts{};
        case Kind::objects: return Elements{element_kind};
        case Kind::field: return std::make_unique<Field>();
        case Kind::unset: return Unset{};
        default: return std::nullopt;
    }
}

bool is_part(const Object& object) {
    const Kind kind = kind_of(object.value);
    return kind == Kind::cell_set || kind == Kind::time_step;
}

// --- Names ---

bool is_object_name(std::string_view name) { return !name.empty() && name.find_first_of(".[]") == name.npos; }

bool is_numbered_name(std::string_view name) {
    const auto bracket = std::min(name.find('['), name.size());
    const std::string_view number = name.substr(bracket);
    return number.size() > 2 && number.find_first_not_of("0123456789", 1) == number.size() - 1 &&
           number.back() == ']' && is_object_name(name.substr(0, bracket));
}

OMobj_name Names::token(std::string_view text) {
    const auto found = tokens_.find(text);
    if (found != tokens_.end()) return found->second;
    const std::string& kept = texts_.emplace_back(text);
    return tokens_[kept] = static_cast<OMobj_name>(texts_.size());
}

const std::string& Names::text(OMobj_name token) const {
    static const std::string kNone;
    if (token < 1 || static_cast<std::size_t>(token) > texts_.size()) return kNone;
    return texts_[static_cast<std::size_t>(token) - 1];
}

// --- Finding ---

Store::Store() { add_root(); }

void Store::set_root(OMobj_id root) {
    Object* found = find(root);
    if (found && is_root(*found)) root_ = found;
}

Object* Store::find(OMobj_id handle) const {
    const std::uintptr_t place = handle.word[0];
    if (place == 0 || place > slots_.size()) return nullptr;
    const Slot& slot = slots_[place - 1];
    return slot.generation == handle.word[1] ? slot.object.get() : nullptr;
}

Object* Store::resolve(OMobj_id handle) const {
    Object* object = find(handle);
    while (object && object->refers_to) object = find(*object->refers_to);  // refer() lets no circle arise
    return object;
}

Object* Store::child(OMobj_id parent, OMobj_name name) const {
    Object* object = resolve(parent);
    if (!object) return nullptr;
    const auto found = std::find_if(object->children.begin(), object->children.end(),
                                    [&](const Object* child) { return child->name == name; });
    return found != object->children.end() ? *found : nullptr;
}

Object* Store::named_child(const Object& parent, std::string_view name) const {
    const auto found = std::find_if(parent.children.begin(), parent.children.end(),
                                    [&](const Object* child) { return names.text(child->name) == name; });
    return found != parent.children.end() ? *found : nullptr;
}

Object* Store::walk(OMobj_id from, std::string_view path) const {
    Object* at = find(from);
    bool named = false;  // whether a name or an index has been read since the last dot
    while (at && !path.empty()) {
        if (path.front() == '[') {
            std::size_t index = 0;
            const auto [end, error] = std::from_chars(path.data() + 1, path.data() + path.size(), index);
            path.remove_prefix(static_cast<std::size_t>(end - path.data()));
            Object* list = resolve(at->id);
            const bool there = error == std::errc() && path.starts_with(']') && list && list->get<Elements>() &&
                               index < list->children.size();
            if (!there) return nullptr;
            at = list->children[index];
            path.remove_prefix(1);
            named = true;
        } else if (named) {
            if (path.front() != '.') return nullptr;
            path.remove_prefix(1);
            named = false;
            if (path.empty() || path.front() == '[') return nullptr;
        } else {
            const Object* parent = resolve(at->id);
            // of several that are made alike, names end in brackets
            std::string_view name = path.substr(0, path.find('.'));
            Object* child = parent ? named_child(*parent, name) : nullptr;
            if (!child) name = path.substr(0, path.find_first_of(".["));
            if (!parent || name.empty()) return nullptr;
            at = child ? child : named_child(*parent, name);
            path.remove_prefix(name.size());
            named = true;
        }
    }
    return named ? at : nullptr;
}

std::string Store::path(const Object& object) const {
    if (!object.parent) return names.text(object.name);
    const std::string above = path(*object.parent);
    const std::string& name = names.text(object.name);
    return above.empty() || name.starts_with('[') ? above + name : above + "." + name;
}

// --- Making and ending ---

Object& Store::add(Object* parent, OMobj_name name, Value value, bool listed) {
    auto fresh = std::make_unique<Object>();
    if (listed) make_room(parent->children);
    if (free_slots_.empty()) {
        slots_.emplace_back();
        free_slots_.reserve(slots_.capacity());  // so that ending an object needs no memory
        free_slots_.push_back(slots_.size() - 1);
    }
    const std::size_t place = free_slots_.back();
    free_slots_.pop_back();
    Object& object = *(slots_[place].object = std::move(fresh));
    object.id = {{place + 1, slots_[place].generation}};
    object.name = name;
    object.parent = parent;
    object.value = std::move(value);
    if (listed) parent->children.push_back(&object);
    touch(object);
    if (object.part<Field>()) add_field_members(object);
    return object;
}

void Store::add_field_members(Object& field) {
    Object& coordinates = add(&field, names.token("coordinates"), Group{});
    add(&coordinates, names.token("min"), CoordinateLimit::minimum);
    add(&coordinates, names.token("max"), CoordinateLimit::maximum);
    Object& xform = add(&field, names.token("xform"), Group{});
    add(&xform, names.token("mat"), float_array(16, kIdentity));
    add(&xform, names.token("xlate"), float_array(3, nullptr));
    add(&xform, names.token("center"), float_array(3, nullptr));
}

void Store::replace(Object& object, Value value) {
    std::vector<OMobj_id> abandoned;
    end_below(object, abandoned);
    abandon(object, abandoned);
    object.value = std::move(value);
    object.owns_target = false;
    touch(object);
    if (object.part<Field>()) add_field_members(object);
    finish(abandoned, &object);
}

void Store::supersede(Object& old, Object& fresh) {
    Object* parent = old.parent;
    std::replace(parent->children.begin(), parent->children.end(), &old, &fresh);
    old.parent = nullptr;
    if (old.referrers == 0) end(old, &fresh);
}

void Store::end(Object& object, const Object* keep) {
    if (object.parent) remove(object.parent->children, &object);
    std::vector<OMobj_id> abandoned;
    retire(object, abandoned);
    finish(abandoned, keep);
}

void Store::end_below(Object& object, std::vector<OMobj_id>& abandoned) {
    for_each_below(object, [&](Object& below) { retire(below, abandoned); });
    object.children.clear();
}

void Store::retire(Object& object, std::vector<OMobj_id>& abandoned) {
    end_below(object, abandoned);
    abandon(object, abandoned);
    Slot& slot = slots_[object.id.word[0] - 1];
    free_slots_.push_back(object.id.word[0] - 1);
    ++slot.generation;
    slot.object.reset();
}

void Store::abandon(Object& holder, std::vector<OMobj_id>& abandoned) {
    if (!holder.refers_to) return;
    Object* target = find(*std::exchange(holder.refers_to, std::nullopt));
    if (!target || --target->referrers > 0 || is_within(&holder, *target)) return;
    const bool held = target->parent || is_root(*target);
    if (!is_part(*target) && (holder.owns_target || !held)) abandoned.push_back(target->id);
}

void Store::finish(std::vector<OMobj_id>& abandoned, const Object* keep) {
    while (!abandoned.empty()) {
        Object* target = find(abandoned.back());
        abandoned.pop_back();
        if (!target || target->referrers > 0 || is_within(keep, *target)) continue;
        if (target->parent) remove(target->parent->children, target);
        retire(*target, abandoned);
    }
}

bool Store::refer(Object& object, Object* target) {
    for (const Object* at = target; at; at = at->refers_to ? find(*at->refers_to) : nullptr) {
        if (at == &object) return false;
    }
    if (target) ++target->referrers;  // first, since it may be what is referred to now
    std::vector<OMobj_id> abandoned;
    abandon(object, abandoned);
    if (target) object.refers_to = target->id;
    touch(object);
    finish(abandoned, &object);
    return true;
}

void Store::reset() {
    for (Slot& slot : slots_) {
        if (slot.object) ++slot.generation;
        slot.object.reset();
    }
    free_slots_.clear();
    for (std::size_t place = slots_.size(); place > 0; --place) free_slots_.push_back(place - 1);
    end_all_groups();
    add_root();
}

void for_each_below(Object& object, const std::function<void(Object&)>& visit) {
    for (Object* child : object.children) visit(*child);
    const Field* field = object.part<Field>();
    if (!field) return;
    for (Object* cell_set : field->cell_sets) visit(*cell_set);
    for (const Step& step : field->steps) {
        if (step.coordinates) visit(*step.coordinates);
        if (step.node_data) visit(*step.node_data);
    }
}

// --- Changes ---

int Store::next_stamp() {
    if (groups_ == 0) return ++clock_;
    if (group_stamp_ == 0) group_stamp_ = ++clock_;
    return group_stamp_;
}

void Store::touch(OMobj_id handle) {
    if (Object* object = find(handle)) touch(*object);
}

bool Store::end_group() {
    if (groups_ == 0) return false;
    if (--groups_ == 0) group_stamp_ = 0;
    return true;
}

void Store::end_all_groups() {
    groups_ = 0;
    group_stamp_ = 0;
}

int Store::deep_stamp(Object& object) const {
    int latest = 0;
    std::unordered_set<const Object*> seen;
    std::vector<Object*> open{&object};
    while (!open.empty()) {
        Object* at = open.back();
        open.pop_back();
        if (!at || !seen.insert(at).second) continue;
        latest = std::max(latest, at->stamp);
        if (at->refers_to) open.push_back(find(*at->refers_to));
        for_each_below(*at, [&](Object& below) { open.push_back(&below); });
    }
    return latest;
}

}  // namespace zam::host
