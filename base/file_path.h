// Names of files, UTF-8 on every system, as paths.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zam {

/// The path that a name stands for. On Windows standard libraries differ in what they take `char` for; a name that is
/// no UTF-8 stands for no file there, and gives an empty path.
inline std::filesystem::path file_path(std::string_view name) {
#if defined(_WIN32)
    try {
        return std::u8string(name.begin(), name.end());
    } catch (const std::filesystem::filesystem_error&) {
        return {};
    }
#else
    return name;
#endif
}

}  // namespace zam
