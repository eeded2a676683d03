// Fields of the host as values of the session, without copies.
#pragma once

#include "contract/types.h"
#include "session/values/field_value.h"

namespace zam::session {

/// The field as it is now. Its arrays are the host's own, kept as they are as long as the value exists, whatever
/// becomes of the host's field.
FieldPointer borrow_field(OMobj_id field);

/// An array of the host in the same way; empty for objects of other kinds and arrays without contents.
NumberArray borrow_array(OMobj_id object);

}  // namespace zam::session
