// Conversions that change the grid of a field.
#pragma once

#include <array>
#include <vector>

#include "session/values/field_value.h"

namespace zam::session {

/// Leaves a range of nodes, first and last, per axis, x first. An axis with a single node left is dropped, and for
/// fields whose positions follow from their axes its coordinate too.
/// @throws DataError
void crop_field(FieldValue& field, const std::vector<std::array<xp_long, 2>>& crop);

/// Makes a uniform field of a uniform or rectilinear one, with so many nodes over the same extent, along axes that
/// ascend.
/// @throws DataError
void resample_field(FieldValue& field, const std::vector<xp_long>& nodes);

}  // namespace zam::session
