// Arrays that a process of their own reads, for files whose library does not withstand damaged ones.
#pragma once

#include <string>
#include <vector>

#include "session/data/data_array.h"

namespace zam::session {

/// What `open` gives of a file, called in a process of its own, which also reads the values. What ends that process, or
/// keeps it from answering for a minute, is a fault of the file. Systems without such processes read in this one.
/// @throws DataError
std::vector<DataArray> open_isolated(std::vector<DataArray> (*open)(const std::string& file), const std::string& file);

}  // namespace zam::session
