#include "embedded/transform.h"

#include <algorithm>
#include <string_view>

#include "embedded/host_state.h"
#include "embedded/values.h"

namespace zam::host {
namespace {

/// The group with the arrays of a transform. Steps get theirs with the first transform that is set.
Object* transform_group(Object& object) {
    Store& store = state().store;
    const Object* child = store.child(object.id, store.names.token("xform"));
    return child ? store.resolve(child->id) : nullptr;
}

bool write_part(Object& group, const char* name, const float* values, xp_long count) {
    Store& store = state().store;
    const OMobj_name token = store.names.token(name);
    Object* child = store.child(group.id, token);
    Array array = make_array(DTYPE_FLOAT, count);
    if (!array) return false;
    std::copy_n(values, count, array.as<float>());
    if (!child) {
        store.add(&group, token, std::move(array));
        return true;
    }
    Object* held = store.resolve(child->id);
    if (!held || !(held->get<Array>() || held->get<Unset>())) return false;
    held->value = std::move(array);
    store.touch(*held);
    return true;
}

}  // namespace

Transform identity_transform() { return {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, {0, 0, 0}, {0, 0, 0}}; }

bool read_transform(Object& object, Transform& transform) {
    Store& store = state().store;
    Transform read = identity_transform();
    const auto part = [&](std::string_view name, float* values, xp_long count) {
        const Object* child = store.child(object.id, store.names.token(name));
        Object* held = child ? store.resolve(child->id) : nullptr;
        const Array* array = held ? held->get<Array>() : nullptr;
        if (!held || held->get<Unset>() || (array && !*array)) return true;  // left out: nothing rotated or displaced
        return read_floats(object, name, values, count);
    };
    if (!part("mat", read.mat, 16) || !part("xlate", read.xlate, 3) || !part("center", read.center, 3)) return false;
    transform = read;
    return true;
}

void compose(const Transform& transform, float matrix[16]) {
    const float* mat = transform.mat;
    std::copy_n(mat, 16, matrix);
    for (int column = 0; column < 3; ++column) {
        float moved = mat[12 + column];
        for (int k = 0; k < 3; ++k) {
            // a centre of 0 leaves the displacement exact whatever the matrix holds
            if (transform.center[k] != 0.0F) moved -= transform.center[k] * mat[4 * k + column];
        }
        matrix[12 + column] = moved + transform.xlate[column] + transform.center[column];
    }
}

bool write_transform(Object& object, const Transform& transform) {
    Object* group = transform_group(object);
    if (!group) group = &state().store.add(&object, state().store.names.token("xform"), Group{});
    return write_part(*group, "mat", transform.mat, 16) && write_part(*group, "xlate", transform.xlate, 3) &&
           write_part(*group, "center", transform.center, 3);
}

bool object_transform(Object& object, Transform& transform) {
    Object* group = transform_group(object);
    transform = identity_transform();
    return !group || read_transform(*group, transform);
}

}  // namespace zam::host
