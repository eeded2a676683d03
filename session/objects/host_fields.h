// Fills host fields with what a network gives.
#pragma once

#include "contract/types.h"
#include "session/values/field_value.h"

namespace zam::session {

/// Fills an empty field.
/// @throws RunError  if memory runs out or a file of values does not hold them any more
void fill_field(OMobj_id field, const FieldValue& value);

}  // namespace zam::session
