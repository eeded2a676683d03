// Scalar values: numbers, texts and pointers.
#include <cstdlib>
#include <cstring>

#include "contract/om.h"
#include "embedded/host_state.h"
#include "embedded/values.h"

namespace zam::host {

namespace {

/// The object that holds the value: references followed.
Object* holder(OMobj_id object) { return state().store.resolve(object); }

Object* holder(OMobj_id object, OMobj_name name) {
    const Object* child = state().store.child(object, name);
    return child ? holder(child->id) : nullptr;
}

bool get_int(Object* object, int* value) {
    const auto number = object ? number_of(*object) : std::nullopt;
    const auto integer = number ? truncated<int>(*number) : std::nullopt;
    return integer && give(value, *integer);
}

bool get_real(Object* object, double* value) {
    const auto number = object ? number_of(*object) : std::nullopt;
    return number && give(value, *number);
}

bool get_text(Object* object, char** value, int size) {
    const std::string* text = object ? object->get<std::string>() : nullptr;
    if (!text || !value || size < 0) return false;
    if (size > 0) return give_text(*value, size, *text);
    auto* copy = static_cast<char*>(std::malloc(text->size() + 1));
    if (!copy) return false;
    std::memcpy(copy, text->c_str(), text->size() + 1);
    *value = copy;
    return true;
}

bool get_pointer(Object* object, void** value) {
    if (!object) return false;
    if (object->get<Unset>()) return give(value, nullptr);
    void* const* pointer = object->get<void*>();
    return pointer && give(value, *pointer);
}

bool set_pointer(Object* object, void* value) {
    if (!object || !(object->get<Unset>() || object->get<void*>())) return false;
    object->value = value;
    state().store.touch(*object);
    return true;
}

}  // namespace
}  // namespace zam::host

using namespace zam::host;

int OMget_name_int_val(OMobj_id object, OMobj_name name, int* value) {
    return status(__func__, [&] { return get_int(holder(object, name), value); });
}

int OMget_name_real_val(OMobj_id object, OMobj_name name, double* value) {
    return status(__func__, [&] { return get_real(holder(object, name), value); });
}

int OMget_name_str_val(OMobj_id object, OMobj_name name, char** value, int size) {
    return status(__func__, [&] { return get_text(holder(object, name), value, size); });
}

int OMget_name_ptr_val(OMobj_id object, OMobj_name name, void** value, int /*zero*/) {
    return status(__func__, [&] { return get_pointer(holder(object, name), value); });
}

int OMset_name_int_val(OMobj_id object, OMobj_name name, int value) {
    return status(__func__, [&] {
        Object* target = holder(object, name);
        return target && set_number(*target, value, true);
    });
}

int OMset_name_real_val(OMobj_id object, OMobj_name name, double value) {
    return status(__func__, [&] {
        Object* target = holder(object, name);
        return target && set_number(*target, value, false);
    });
}

int OMset_name_str_val(OMobj_id object, OMobj_name name, const char* value) {
    return status(__func__, [&] {
        Object* target = holder(object, name);
        return target && set_text(*target, value);
    });
}

int OMset_name_ptr_val(OMobj_id object, OMobj_name name, void* value, int /*zero*/) {
    return status(__func__, [&] { return set_pointer(holder(object, name), value); });
}

int OMget_int_val(OMobj_id object, int* value) {
    return status(__func__, [&] { return get_int(holder(object), value); });
}

int OMget_real_val(OMobj_id object, double* value) {
    return status(__func__, [&] { return get_real(holder(object), value); });
}

int OMget_str_val(OMobj_id object, char** value, int size) {
    return status(__func__, [&] { return get_text(holder(object), value, size); });
}

int OMget_ptr_val(OMobj_id object, void** value) {
    return status(__func__, [&] { return get_pointer(holder(object), value); });
}

int OMset_int_val(OMobj_id object, int value) {
    return status(__func__, [&] {
        Object* target = holder(object);
        return target && set_number(*target, value, true);
    });
}

int OMset_real_val(OMobj_id object, double value) {
    return status(__func__, [&] {
        Object* target = holder(object);
        return target && set_number(*target, value, false);
    });
}

int OMset_str_val(OMobj_id object, const char* value) {
    return status(__func__, [&] {
        Object* target = holder(object);
        return target && set_text(*target, value);
    });
}

int OMset_ptr_val(OMobj_id object, void* value) {
    return status(__func__, [&] { return set_pointer(holder(object), value); });
}
