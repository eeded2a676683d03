// The directory that a page may see: what lies below it, and nothing else.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace zam::runner {

class Folder {
public:
    /// @throws Error  if there is no such directory
    explicit Folder(const std::string& directory);

    const std::filesystem::path& path() const { return root_; }
    /// Where a name leads, symbolic links followed; `nullopt` if that is not below the directory. The file need not
    /// exist.
    /// @param base  where relative names start; empty: the directory itself
    std::optional<std::filesystem::path> find(const std::string& name, const std::filesystem::path& base = {}) const;
    /// The name of what lies below the directory, from there; empty: the directory itself.
    std::string name_of(const std::filesystem::path& file) const;
    /// Whether all files that a parameter's value names lie below the directory. Any text could be a name: of some,
    /// only the module knows.
    /// @param base  where relative names start
    bool has_files_of(const nlohmann::ordered_json& value, const std::filesystem::path& base) const;
    /// Files and directories of a directory below, as the page has them: at most kMaxEntries, by name.
    /// @throws Error
    nlohmann::ordered_json list(const std::string& name) const;

    static constexpr std::size_t kMaxEntries = 2000;

private:
    std::filesystem::path root_;
};

}  // namespace zam::runner
