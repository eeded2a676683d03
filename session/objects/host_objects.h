// Makes host objects of the values that a network gives.
#pragma once

#include <string>
#include <vector>

#include "contract/types.h"
#include "session/network/definitions.h"
#include "session/values/value.h"

namespace zam::session {

/// A reference that the network asks for. It is followed anew before each run of its module, since what it leads to
/// may be made, or made again, by other modules.
struct Link {
    OMobj_id holder;
    Reference reference;
};

/// Makes, or makes again, sub-object `name` of `parent` with a value. Handles of the object stay valid.
/// @param links  receives the references within the value, which refer to nothing yet
/// @throws RunError  if memory runs out or a file of values does not hold them any more
void make_object(OMobj_id parent, const std::string& name, const Value& value, std::vector<Link>& links);

/// Makes sub-object `name` of `parent` as a parameter for which the network gives nothing: with its default, empty, or
/// not at all.
void make_default(OMobj_id parent, const Parameter& parameter, std::vector<Link>& links);

/// Lets a link refer to what its reference names now.
/// @return false when it does not exist; then the object refers to nothing
bool follow(const Link& link);

}  // namespace zam::session
