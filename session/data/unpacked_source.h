// Numbers that files keep smaller than they are, and several numbers that all stand for no value.
#pragma once

#include <optional>
#include <vector>

#include "session/values/value_source.h"

namespace zam::session {

/// How the values of a file become those of a field.
struct Unpacking {
    std::optional<double> scale, offset;  // value = stored * scale + offset; neither: as stored
    std::vector<double> nulls;            // stored numbers that stand for no value, which fit both types; they become
                                          // the first of them
};

/// @param from  type of `stored`
/// @param to    type of the values: a float type, or `from` if there is neither scale nor offset
ValueSourcePointer unpack(ValueSourcePointer stored, int from, int to, Unpacking unpacking);

}  // namespace zam::session
