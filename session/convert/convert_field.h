// Fields made of other fields.
#pragma once

#include "session/convert/conversion.h"
#include "session/values/field_value.h"

namespace zam::session {

/// The converted field. Its values are made when they are read, block by block; so is an automatic range.
/// @throws DataError  if the conversion does not suit the field
FieldPointer convert(const FieldPointer& field, const Conversion& conversion);

}  // namespace zam::session
