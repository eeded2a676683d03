// Objects, their names and the stamps of their changes.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "contract/types.h"
#include "embedded/array.h"
#include "embedded/field.h"
#include "embedded/host.h"

namespace zam::host {

/// Values of objects, beside int, double, text, pointer and array.
struct Unset {};
struct Group {};
struct Texts {
    std::vector<std::optional<std::string>> entries;
};
struct Elements {  // an array of objects; its elements are the object's children, named "[0]", "[1]" and so on
    Kind kind = Kind::field;
};
enum class CoordinateLimit { minimum, maximum };  // a real that follows from the field two levels above

using Value =
    std::variant<Unset, Group, int, double, std::string, void*, Array, Texts, Elements, CoordinateLimit,
                 std::unique_ptr<Field>, std::unique_ptr<Mesh>, std::unique_ptr<NodeData>, std::unique_ptr<CellSet>>;

Kind kind_of(const Value& value);

/// A new value of a kind; `nullopt` for kinds that only parts of fields have.
std::optional<Value> make_value(Kind kind, Kind element_kind);

struct Object {
    OMobj_id id{};
    OMobj_name name = 0;
    Object* parent = nullptr;  // null for the root, and for fields replaced while something refers to them
    std::vector<Object*> children;
    Value value;
    std::optional<OMobj_id> refers_to;
    bool owns_target = false;  // reference mode 1
    int referrers = 0;         // objects that refer to this one
    int stamp = 0;             // latest change of the object itself

    template <class T>
    T* get() {
        return std::get_if<T>(&value);
    }
    /// The part of a field, or null.
    template <class T>
    T* part() {
        auto* held = std::get_if<std::unique_ptr<T>>(&value);
        return held ? held->get() : nullptr;
    }
};

/// Makes sure that the next push_back() needs no memory.
template <class T>
void make_room(std::vector<T>& list) {
    if (list.size() == list.capacity()) list.reserve(2 * list.size() + 4);
}

/// Whether an object is a cell set or a step: these belong to their field and end with it only.
bool is_part(const Object& object);

/// Whether a name can stand in a path: not empty, without dots and brackets.
bool is_object_name(std::string_view name);
/// "name[12]": the name of one of several objects that are made alike.
bool is_numbered_name(std::string_view name);

/// Texts and their tokens.
class Names {
public:
    OMobj_name token(std::string_view text);
    const std::string& text(OMobj_name token) const;

private:
    std::deque<std::string> texts_;  // token - 1 is the place
    std::unordered_map<std::string_view, OMobj_name> tokens_;
};

class Store {
public:
    Store();

    /// The object of a handle, or null.
    Object* find(OMobj_id handle) const;
    /// The object that a handle finally leads to, references followed, or null.
    Object* resolve(OMobj_id handle) const;
    Object& root() { return *root_; }
    /// Makes a root, which root() gives from now on.
    void add_root() { root_ = &add(nullptr, names.token(""), Group{}, false); }
    void set_root(OMobj_id root);
    bool is_root(const Object& object) const { return names.text(object.name).empty(); }

    /// The child of that name, references of `parent` followed, or null.
    Object* child(OMobj_id parent, OMobj_name name) const;
    /// "a.b[2].c" from an object.
    Object* walk(OMobj_id from, std::string_view path) const;

    Object* named_child(const Object& parent, std::string_view name) const;

    /// Makes an object. Fields get their sub-objects. With `listed` it is among the children of `parent`.
    Object& add(Object* parent, OMobj_name name, Value value, bool listed = true);
    /// Gives an object a new value; everything below it ends.
    void replace(Object& object, Value value);
    /// Puts an object in the place of a child of its parent: that one stays for what refers to it, or ends.
    void supersede(Object& old, Object& fresh);
    /// Ends an object, everything below it, and what these owned. `keep` and what it is part of outlives that.
    void end(Object& object, const Object* keep);

    /// Makes `object` refer to `target`, or to nothing. False if that would make a circle.
    bool refer(Object& object, Object* target);

    int now() const { return clock_; }
    void touch(Object& object) { object.stamp = next_stamp(); }
    void touch(OMobj_id handle);
    /// Latest change of the object, what is below it and what these refer to.
    int deep_stamp(Object& object) const;
    void begin_group() { ++groups_; }
    bool end_group();
    void end_all_groups();

    std::string path(const Object& object) const;
    Names names;

    void reset();

private:
    struct Slot {
        std::unique_ptr<Object> object;
        std::uintptr_t generation = 1;
    };

    int next_stamp();
    void end_below(Object& object, std::vector<OMobj_id>& abandoned);
    void retire(Object& object, std::vector<OMobj_id>& abandoned);
    void finish(std::vector<OMobj_id>& abandoned, const Object* keep);
    void abandon(Object& holder, std::vector<OMobj_id>& abandoned);
    void add_field_members(Object& field);

    std::vector<Slot> slots_;
    std::vector<std::size_t> free_slots_;
    Object* root_ = nullptr;
    int clock_ = 0;
    int groups_ = 0;       // open brackets
    int group_stamp_ = 0;  // of the open bracket; 0: nothing has been written in it yet
};

/// Calls `visit` for every object directly below: children, cell sets, steps.
void for_each_below(Object& object, const std::function<void(Object&)>& visit);

}  // namespace zam::host
