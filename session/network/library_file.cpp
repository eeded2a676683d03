#include "session/network/library_file.h"

#include <array>
#include <filesystem>
#include <utility>

#include "base/file_path.h"

namespace zam::session {
namespace {

using Around = std::pair<std::string_view, std::string_view>;  // before and after the name
#if defined(_WIN32)
constexpr std::array kForms{Around{"", ".dll"}, Around{"lib", ".dll"}, Around{"", ""}};
#else
constexpr std::array kForms{Around{"lib", ".so"}, Around{"", ".so"}, Around{"", ""}};
#endif

}  // namespace

std::optional<std::string> find_library_file(const std::string& directory, std::string_view name) {
    for (const auto& [before, after] : kForms) {
        const auto file = file_path(directory) / file_path(std::string(before).append(name).append(after));
        std::error_code error;
        if (std::filesystem::is_regular_file(file, error)) return file.string();
    }
    return std::nullopt;
}

}  // namespace zam::session
