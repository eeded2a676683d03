#include "runner/serve/folder.h"

#include <algorithm>
#include <system_error>
#include <vector>

#include "base/file_path.h"
#include "zam/session.h"

namespace zam::runner {

namespace fs = std::filesystem;

namespace {

/// Every file that a part of a value names.
void find_files(const nlohmann::ordered_json& value, std::vector<std::string>& files) {
    for (const auto& [key, member] : value.items()) {
        const bool names_file =
            value.is_object() && (key == "data_file" || key == "values_file" || key == "field_file");
        if (names_file && member.is_string()) files.push_back(member.get<std::string>());
        if (member.is_structured()) find_files(member, files);
    }
}

}  // namespace

Folder::Folder(const std::string& directory) {
    std::error_code error;
    root_ = fs::canonical(directory.empty() ? fs::path(".") : file_path(directory), error);
    if (error || !fs::is_directory(root_, error)) throw Error(directory + " is no directory");
}

std::optional<fs::path> Folder::find(const std::string& name, const fs::path& base) const {
    if (name.find('\0') != std::string::npos) return std::nullopt;
    std::error_code error;
    const fs::path found = fs::weakly_canonical((base.empty() ? root_ : base) / file_path(name), error);
    if (error) return std::nullopt;
    const auto [in_root, in_found] = std::mismatch(root_.begin(), root_.end(), found.begin(), found.end());
    return in_root == root_.end() ? std::optional(found) : std::nullopt;
}

std::string Folder::name_of(const fs::path& file) const {
    const fs::path name = file.lexically_relative(root_);
    return name == "." ? "" : name.generic_string();
}

bool Folder::has_files_of(const nlohmann::ordered_json& value, const fs::path& base) const {
    std::vector<std::string> files;
    if (value.is_string()) files.push_back(value.get<std::string>());
    if (value.is_structured()) find_files(value, files);
    return std::all_of(files.begin(), files.end(), [&](std::string file) {
        std::replace(file.begin(), file.end(), '\\', '/');  // which modules take for the same
        return !file.starts_with('$') && find(file, base);
    });
}

nlohmann::ordered_json Folder::list(const std::string& name) const {
    const auto directory = find(name);
    std::error_code error;
    if (!directory || !fs::is_directory(*directory, error)) throw Error(name + " is no directory here");
    struct Entry {
        bool is_directory;
        std::string name;
        std::uintmax_t size;
    };
    std::vector<Entry> entries;
    for (auto entry = fs::directory_iterator(*directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string entry_name = entry->path().filename().string();
        const auto target = find(entry_name, *directory);  // a link may lead elsewhere
        std::error_code unknown;
        const bool is_directory = target && fs::is_directory(*target, unknown);
        if (entry_name.starts_with('.') || !target || (!is_directory && !fs::is_regular_file(*target, unknown)))
            continue;
        const auto size = is_directory ? 0 : fs::file_size(*target, unknown);
        entries.push_back({is_directory, entry_name, unknown ? 0 : size});
        if (entries.size() >= kMaxEntries) break;
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return a.is_directory == b.is_directory ? a.name < b.name : a.is_directory;
    });
    auto list = nlohmann::ordered_json::array();
    for (const auto& entry : entries)
        list.push_back({{"name", entry.name}, {"directory", entry.is_directory}, {"size", entry.size}});
    return {{"directory", name_of(*directory)}, {"entries", std::move(list)}};
}

}  // namespace zam::runner
