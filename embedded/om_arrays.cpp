// Arrays of typed values, of texts and of objects.
#include <algorithm>
#include <cstring>

#include "contract/om.h"
#include "embedded/host_state.h"

namespace zam::host {

namespace {

// Lists are as long as there are files or fields to work on; more is a fault of the caller.
constexpr xp_long kMaxTexts = xp_long{1} << 22;
constexpr xp_long kMaxElements = xp_long{1} << 16;

bool resize_array(Array& array, xp_long count) {
    if (array && count == array.count) return true;
    Array resized = make_array(array.type, count);
    if (!resized) return false;
    if (array)
        std::memcpy(resized.data(), array.data(),
                    std::min(resized.block->bytes(), *array_bytes(array.type, array.count)));
    array = std::move(resized);
    return true;
}

bool resize_texts(Texts& texts, xp_long count) {
    if (count > kMaxTexts) return false;
    texts.entries.resize(static_cast<std::size_t>(count));
    return true;
}

bool resize_elements(Object& list, xp_long count) {
    if (count > kMaxElements) return false;
    Store& store = state().store;
    const auto size = static_cast<std::size_t>(count);
    while (list.children.size() > size) store.end(*list.children.back(), &list);
    while (list.children.size() < size) {
        auto value = make_value(list.get<Elements>()->kind, Kind::field);
        if (!value) return false;
        const std::string name = "[" + std::to_string(list.children.size()) + "]";
        store.add(&list, store.names.token(name), std::move(*value));
    }
    return true;
}

bool resize(Object& object, xp_long count) {
    if (count < 0) return false;
    if (Array* array = object.get<Array>()) return resize_array(*array, count);
    if (Texts* texts = object.get<Texts>()) return resize_texts(*texts, count);
    return object.get<Elements>() && resize_elements(object, count);
}

std::optional<xp_long> size_of(Object& object) {
    if (const Array* array = object.get<Array>()) return array->count;
    if (const Texts* texts = object.get<Texts>()) return static_cast<xp_long>(texts->entries.size());
    if (object.get<Elements>()) return static_cast<xp_long>(object.children.size());
    return std::nullopt;
}

bool set_text_entry(Object& object, xp_long index, const char* value) {
    if (index < 0 || index >= kMaxTexts) return false;
    if (object.get<Unset>()) object.value = Texts{};
    Texts* texts = object.get<Texts>();
    if (!texts) return false;
    const auto place = static_cast<std::size_t>(index);
    if (value) {
        if (place >= texts->entries.size()) texts->entries.resize(place + 1);
        texts->entries[place] = value;
    } else if (place < texts->entries.size()) {
        texts->entries[place].reset();
    }
    state().store.touch(object);
    return true;
}

}  // namespace
}  // namespace zam::host

using namespace zam::host;

void* OMret_name_array_ptr(OMobj_id object, OMobj_name name, int mode, xp_long* count, int* type) {
    return answer(__func__, static_cast<void*>(nullptr), true, [&]() -> void* {
        const Object* child = state().store.child(object, name);
        Object* target = child ? state().store.resolve(child->id) : nullptr;
        Array* array = target ? target->get<Array>() : nullptr;
        if (!array || !*array || (mode != ARR_READ && mode != ARR_READ_WRITE)) return nullptr;
        void* lent = state().ledger.lend("OMret_name_array_ptr", *array, mode, target->id);
        if (lent && count) *count = array->count;
        if (lent && type) *type = array->type;
        return lent;
    });
}

int OMget_array_size(OMobj_id object, xp_long* count) {
    return status(__func__, [&] {
        Object* target = state().store.resolve(object);
        const auto size = target ? size_of(*target) : std::nullopt;
        return size && give(count, *size);
    });
}

int OMset_array_size(OMobj_id object, xp_long count) {
    return status(__func__, [&] {
        Object* target = state().store.resolve(object);
        if (!target || !resize(*target, count)) return false;
        state().store.touch(*target);
        return true;
    });
}

int OMset_array(OMobj_id object, int type, void* array, xp_long count, int mode) {
    return status(__func__, [&] {
        Object* target = state().store.resolve(object);
        if (!target || !(target->get<Array>() || target->get<Unset>())) return false;
        Array taken = state().ledger.take("OMset_array", array, type, count, mode);
        if (!taken) return false;
        target->value = std::move(taken);
        state().store.touch(*target);
        return true;
    });
}

int OMset_str_array_val(OMobj_id object, xp_long index, const char* value) {
    return status(__func__, [&] {
        Object* target = state().store.resolve(object);
        return target && set_text_entry(*target, index, value);
    });
}
