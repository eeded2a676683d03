// Files of libraries, as the system names them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zam::session {

/// The file of a library in a directory. Its name may leave out what the system puts around it: "denoise" stands for
/// libdenoise.so, denoise.so, denoise.dll and libdenoise.dll, where these are names of libraries.
/// @return `nullopt` if there is no such file
std::optional<std::string> find_library_file(const std::string& directory, std::string_view name);

}  // namespace zam::session
