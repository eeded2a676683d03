// Graphics helpers: composite matrices of transforms, colours through a datamap.
#include <algorithm>
#include <cmath>
#include <string_view>

#include "contract/gd.h"
#include "embedded/host_state.h"
#include "embedded/transform.h"
#include "embedded/values.h"

namespace zam::host {

namespace {

/// Colours over a range of values.
struct Datamap {
    double minimum;
    double maximum;
    Array channels[4];  // alpha, red, green, blue
    xp_long size;       // entries, at least 1

    /// The entry nearest to a value; values outside the range take the nearest end, not-a-number the
    /// first.
    xp_long entry(double value) const {
        const double last = static_cast<double>(size - 1);
        if (maximum == minimum) return value > minimum ? size - 1 : 0;
        const double place = (value - minimum) / (maximum - minimum) * last;
        if (!(place > 0.0)) return 0;
        return place >= last ? size - 1 : static_cast<xp_long>(std::floor(place + 0.5));
    }
};

std::optional<double> real_child(Object& group, std::string_view name) {
    Store& store = state().store;
    const Object* child = store.child(group.id, store.names.token(name));
    Object* held = child ? store.resolve(child->id) : nullptr;
    const auto value = held ? number_of(*held) : std::nullopt;
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<Datamap> read_datamap(Object& group) {
    Store& store = state().store;
    const auto minimum = real_child(group, "min");
    const auto maximum = real_child(group, "max");
    if (!minimum || !maximum) return std::nullopt;
    Datamap datamap{*minimum, *maximum, {}, 0};
    int channel = 0;
    for (const char* name : {"alpha", "red", "green", "blue"}) {
        const Object* child = store.child(group.id, store.names.token(name));
        Object* held = child ? store.resolve(child->id) : nullptr;
        const Array* array = held ? held->get<Array>() : nullptr;
        if (!array || !*array || array->count < 1) return std::nullopt;
        // arrays of different lengths: entries that all of them have
        datamap.size = channel == 0 ? array->count : std::min(datamap.size, array->count);
        datamap.channels[channel++] = *array;
    }
    return datamap;
}

unsigned char color_byte(const Array& channel, xp_long entry) {
    const double value = element(channel, entry);
    return value > 0.0 ? static_cast<unsigned char>(std::min(value, 255.0)) : 0;
}

template <class T>
void map_colors(const Datamap& datamap, const T* values, unsigned char* argb, xp_long count, int components) {
    for (xp_long k = 0; k < count; ++k) {
        const xp_long entry = datamap.entry(static_cast<double>(values[k * components]));
        for (const Array& channel : datamap.channels) *argb++ = color_byte(channel, entry);
    }
}

}  // namespace
}  // namespace zam::host

using namespace zam::host;

int GDgen_argbs(OMobj_id datamap, const void* values, int type, unsigned char* argb, xp_long count, int components,
                xp_long /*size_a*/, xp_long /*size_b*/, int /*flags*/) {
    return status(__func__, [&] {
        Object* group = state().store.resolve(datamap);
        if (!group || components < 1 || count < 0 || !zam::is_type(type)) return false;
        const auto map = read_datamap(*group);
        if (!map) return false;
        if (count == 0) return true;
        if (!values || !argb) return false;
        zam::with_type(type, [&](auto zero) {
            map_colors(*map, static_cast<const decltype(zero)*>(values), argb, count, components);
        });
        return true;
    });
}

int GDxform_get_comp_matrix(OMobj_id xform, float matrix[16]) {
    return status(__func__, [&] {
        Object* object = state().store.resolve(xform);
        Transform transform;
        if (!object || !matrix || !object->get<Group>() || !read_transform(*object, transform)) return false;
        compose(transform, matrix);
        return true;
    });
}
