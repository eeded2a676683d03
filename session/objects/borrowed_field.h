// Fields of the host as values of the session, without copies.
#pragma once

#include "contract/types.h"
#include "session/values/field_value.h"

namespace zam::session {

/// The field as it is now. Its arrays are lent by the host as long as the value exists; the host's field must not
/// change meanwhile.
FieldPointer borrow_field(OMobj_id field);

}  // namespace zam::session
