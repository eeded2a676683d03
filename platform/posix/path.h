// Paths on systems that know only the forward slash. Modules keep names as they made or were given them, with either
// separator; every operation of this directory takes both.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace zam::platform {

/// The path with this system's separator in place of the other one.
inline std::string native_path(std::string_view path) {
    std::string native(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

}  // namespace zam::platform
