// Values of objects, as the operations of the contract and the host's owner read and write them.
#pragma once

#include <optional>
#include <string_view>

#include "embedded/store.h"

namespace zam::host {

/// Number that an integer or real object holds; nothing for other kinds and for coordinate limits without positions.
std::optional<double> number_of(Object& object);

/// Sets the kind that an object has, or gives an object without value this kind. False for other kinds.
bool set_number(Object& object, double value, bool integral);
bool set_text(Object& object, const char* value);

/// Element `index` of an array as a real; the index must exist.
double element(const Array& array, xp_long index);

/// `N` elements of the array in child `name` of `object` as floats: false when it does not have exactly these.
bool read_floats(Object& object, std::string_view name, float* values, xp_long count);

}  // namespace zam::host
