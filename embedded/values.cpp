#include "embedded/values.h"

#include "embedded/host_state.h"

namespace zam::host {

std::optional<double> number_of(Object& object) {
    if (const int* integer = object.get<int>()) return *integer;
    if (const double* real = object.get<double>()) return *real;
    const CoordinateLimit* limit = object.get<CoordinateLimit>();
    if (!limit) return std::nullopt;
    const auto range = coordinate_range(*object.parent->parent->part<Field>());
    if (!range) return std::nullopt;
    return *limit == CoordinateLimit::minimum ? range->minimum : range->maximum;
}

bool set_number(Object& object, double value, bool integral) {
    const bool becomes_integer = integral && object.get<Unset>();
    if (becomes_integer || object.get<int>()) {
        const auto integer = truncated<int>(value);
        if (!integer) return false;
        object.value = *integer;
    } else if (object.get<Unset>() || object.get<double>()) {
        object.value = value;
    } else {
        return false;
    }
    state().store.touch(object);
    return true;
}

bool set_text(Object& object, const char* value) {
    if (!object.get<Unset>() && !object.get<std::string>()) return false;
    if (value) {
        object.value = std::string(value);
    } else {
        object.value = Unset{};
    }
    state().store.touch(object);
    return true;
}

double element(const Array& array, xp_long index) {
    const auto offset = static_cast<std::size_t>(index) * type_size(array.type);
    return Number::read(array.type, array.as<const std::byte>() + offset).real();
}

bool read_floats(Object& object, std::string_view name, float* values, xp_long count) {
    Store& store = state().store;
    Object* child = store.child(object.id, store.names.token(name));
    child = child ? store.resolve(child->id) : nullptr;
    const Array* array = child ? child->get<Array>() : nullptr;
    if (!array || !*array || array->count != count) return false;
    for (xp_long k = 0; k < count; ++k) values[k] = static_cast<float>(element(*array, k));
    return true;
}

}  // namespace zam::host
