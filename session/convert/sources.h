// The steps of a conversion on the values of one component, as sources over sources.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "session/convert/value_range.h"
#include "session/values/field_value.h"

namespace zam::session {

/// Components as the parts of one vector per node, of type `type`, which holds the values of all of them. A null of any
/// component becomes `null_value`, if there is one.
NumberArray joined(const std::vector<ComponentValue>& components, int type,
                   const std::optional<NumberArray>& null_value);

/// The length of each node's vector, as float or double. A node with a null part is null.
NumberArray magnitude(const ComponentValue& component, int type, const std::optional<NumberArray>& null_value);

/// The values as another type: the nearest whole number for whole types. A value that does not fit is an error; nulls
/// become `null_value`.
NumberArray cast(const ComponentValue& component, int type, const std::optional<NumberArray>& null_value);

/// The values linearly from a range to the whole range of a whole type: rounded to the nearest, clamped, nulls and
/// not-a-number to the lowest.
NumberArray scaled(const ComponentValue& component, int type, std::shared_ptr<const ValueRange> range);

}  // namespace zam::session
