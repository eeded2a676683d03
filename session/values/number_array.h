// Arrays of numbers as network files give them: written out, or a stretch of a file of raw values.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "contract/types.h"
#include "session/document/cursor.h"

namespace zam::session {

/// Values of a file, read only when they are needed.
struct FileStretch {
    std::string file;
    int type = DTYPE_FLOAT;  // of the values in the file, which are little-endian
    xp_long offset = 0;      // bytes before the first value
};

struct NumberArray {
    int type = DTYPE_FLOAT;
    xp_long count = 0;
    std::vector<std::byte> values;    // `count` values of `type`, unless they come from a file
    std::optional<FileStretch> file;  // lies within the file, as long as that does not change
};

/// Reads an array of numbers, each of which has to fit the element type, or a `{"values_file": ...}`, whose file has to
/// hold what is asked for.
/// @param type  element type; `nullopt`: the file's, or int, long or double by the numbers
/// @param wanted  how many of a longer file's values are taken unless it says so; `nullopt`: all
/// @return `nullopt` after a problem
std::optional<NumberArray> read_number_array(const Cursor& cursor, std::optional<int> type,
                                             std::optional<xp_long> wanted = {});

/// As above; exactly `count` numbers.
std::optional<NumberArray> read_exactly(const Cursor& cursor, int type, xp_long count);

/// One number as an array of one element.
std::optional<NumberArray> read_one_number(const Cursor& cursor, int type);

/// Copies all values to `destination`, which has room for them.
/// @return an empty text, or why the values could not be had
std::string copy_values(const NumberArray& array, void* destination);

/// The element type that a value's "type" member names, or `otherwise` if there is none; `nullopt` after a problem.
std::optional<int> read_type(const Cursor& object, int otherwise);

}  // namespace zam::session
