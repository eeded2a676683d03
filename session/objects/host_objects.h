// Makes host objects of the values that a network gives.
#pragma once

#include <optional>
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
    std::optional<Conversion> conversion = {};  // the holder is a field of its own, made of what the reference names
    int made_of = 0;                            // moment of the source's latest change when it was made
};

/// Makes, or makes again, sub-object `name` of `parent` with a value. Handles of the object stay valid.
/// @param links  receives the references within the value, which refer to nothing yet
/// @throws RunError  if memory runs out or a file of values does not hold them any more
void make_object(OMobj_id parent, const std::string& name, const Value& value, std::vector<Link>& links);

/// Makes sub-object `name` of `parent` as a parameter for which the network gives nothing: with its default, empty, or
/// not at all.
void make_default(OMobj_id parent, const Parameter& parameter, std::vector<Link>& links);

/// Lets a link refer to what its reference names now, or converts that anew if it has changed.
/// @return an empty text, or why there is nothing; then the object refers to nothing or has no value
std::string follow(Link& link);

}  // namespace zam::session
