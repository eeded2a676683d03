// Values of objects, as the operations of the contract and the host's owner read and write them.
#pragma once

#include <optional>
#include <string_view>

#include "embedded/store.h"

namespace zam::host {

/// Number that an integer or real object holds; `nullopt` for other kinds and for coordinate limits without positions.
std::optional<double> number_of(Object& object);

/// Sets a value of the object's kind; an object without a value takes the kind of what it is given. False for other
/// kinds.
bool set_number(Object& object, double value, bool integral);
bool set_text(Object& object, const char* value);

/// Element `index` of an array as a real; the index must exist.
double element(const Array& array, xp_long index);

/// Reads the array in child `name` of `object` as floats; false if it does not have exactly `count` elements.
bool read_floats(Object& object, std::string_view name, float* values, xp_long count);

}  // namespace zam::host
