// Transforms: p' = (p - center) x mat + xlate + center, row vectors.
#pragma once

#include "embedded/store.h"

namespace zam::host {

struct Transform {
    float mat[16];
    float xlate[3];
    float center[3];
};

Transform identity_transform();

/// Reads a group with the arrays `mat`, `xlate` and `center`, each of which may be left out. False if one has the
/// wrong size.
bool read_transform(Object& object, Transform& transform);

/// The single matrix that does the same.
void compose(const Transform& transform, float matrix[16]);

/// The transform of a field or of a step's coordinates; the identity if none was set.
bool object_transform(Object& object, Transform& transform);
bool write_transform(Object& object, const Transform& transform);

}  // namespace zam::host
