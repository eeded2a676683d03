// Arrays of numbers: as network files give them, written out or as a stretch of a file, and as other sources make them.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "contract/types.h"
#include "session/document/cursor.h"
#include "session/values/value_source.h"

namespace zam::session {

struct NumberArray {
    int type = DTYPE_FLOAT;
    xp_long count = 0;
    std::vector<std::byte> values;  // `count` values of `type`, unless they come from a source
    ValueSourcePointer source;
};

/// Whether a value names an array that lies elsewhere: a `{"values_file": ...}`, or a `{"lent": n}` where a program
/// lends arrays.
bool is_array_elsewhere(const Cursor& cursor);

/// Reads an array of numbers, each of which has to fit the element type, or a `{"values_file": ...}`, whose file has to
/// hold what is asked for, or takes the array of a `{"lent": n}`. An .npy file gives its own type and count. A note
/// tells when a file holds more than is taken.
/// @param type  element type; `nullopt`: the file's, or int, long or double by the numbers
/// @param wanted  how many of a longer file's values are taken unless it says so; `nullopt`: all
/// @return `nullopt` after a problem
std::optional<NumberArray> read_number_array(const Cursor& cursor, std::optional<int> type,
                                             std::optional<xp_long> wanted = {});

/// As above; exactly `count` numbers.
std::optional<NumberArray> read_exactly(const Cursor& cursor, int type, xp_long count);

/// One number as an array of one element.
std::optional<NumberArray> read_one_number(const Cursor& cursor, int type);

/// An array of values that are at hand.
template <class T>
NumberArray array_of(int type, std::span<const T> values) {
    const auto bytes = std::as_bytes(values);
    return {type, static_cast<xp_long>(values.size()), {bytes.begin(), bytes.end()}, {}};
}
inline NumberArray float_array(std::span<const float> values) { return array_of(DTYPE_FLOAT, values); }

/// A value of a type, the nearest whole number for whole types; `nullopt` if it does not fit.
std::optional<NumberArray> one_value(int type, double value);

/// Copies all values to `destination`, which has room for them.
/// @return an empty text, or why the values could not be had
std::string copy_values(const NumberArray& array, void* destination);
/// As above, `count` values from value `first` on.
std::string copy_values(const NumberArray& array, xp_long first, xp_long count, void* destination);

/// Where the values from value `first` on lie if all of them lie in memory; else null.
const std::byte* values_in_memory(const NumberArray& array, xp_long first);

/// The element type that a value's "type" member names, or `otherwise` if there is none; `nullopt` after a problem.
std::optional<int> read_type(const Cursor& object, int otherwise);

/// The element type of an array's values: that of a `{"values_file": ...}`, by its "type" member or by the .npy file
/// that it names; else float. `nullopt` after a problem.
std::optional<int> read_type_of_values(const Cursor& cursor);

}  // namespace zam::session
