// Transforms as network files give them, as the three arrays that the host keeps: p' = (p - center) x mat + xlate +
// center.
#pragma once

#include <array>
#include <optional>

#include "session/document/cursor.h"

namespace zam::session {

using Matrix = std::array<float, 16>;  // row-major, row vectors, translation in elements 12 to 14
using Vector = std::array<float, 3>;

constexpr Matrix kIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

struct Transform {
    Matrix mat = kIdentity;
    Vector xlate{};
    Vector center{};
};

/// Scale, then rotations about x, y and z, then translation.
/// @param degrees  right-handed: 90 about z takes x to y; multiples of 90 are exact
Transform placed(double scale, const std::array<double, 3>& degrees, const Vector& translation);

/// The transform of 16 numbers: their translation goes to `xlate`.
Transform from_matrix(const Matrix& matrix);

/// Reads `{"matrix": ...}`, `{"rotate": ..., "scale": ..., "translate": ...}`, `{"mat": ..., "xlate": ..., "center":
/// ...}` or 16 numbers. `nullopt` after a problem.
std::optional<Transform> read_transform(const Cursor& cursor);

}  // namespace zam::session
