#include "base/posix/memory_files.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

namespace zam {
namespace {

/// The first 16 KiB of a file, more than those read here have; empty if it cannot be read.
std::string read_text(const std::string& name) {
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(name.c_str(), "rb"), std::fclose);
    std::string text(file ? 1 << 14 : 0, '\0');
    if (file) text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    return text;
}

/// The number at the beginning of a text, after blanks; `nullopt` for "max" and other texts.
std::optional<std::int64_t> number(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    std::int64_t value = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    return end.ec == std::errc() && value >= 0 ? std::optional(value) : std::nullopt;
}

/// Takes the first line, without its end, from `text`.
std::string_view take_line(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

/// The number of the line that begins with `key`.
std::optional<std::int64_t> number_of(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const std::string_view line = take_line(text);
        if (line.starts_with(key)) return number(line.substr(key.size()));
    }
    return std::nullopt;
}

/// Names of the files of one kind of control group.
struct GroupFiles {
    const char* mount;
    const char* limit;
    const char* used;
    const char* inactive;  // keys in memory.stat: pages of files, which are dropped before memory runs out
    const char* active;
};
constexpr GroupFiles kVersion1{"/sys/fs/cgroup/memory", "/memory.limit_in_bytes", "/memory.usage_in_bytes",
                               "total_inactive_file ", "total_active_file "};
constexpr GroupFiles kVersion2{"/sys/fs/cgroup", "/memory.max", "/memory.current", "inactive_file ", "active_file "};

std::int64_t left_in_group(const std::string& directory, const GroupFiles& files) {
    const auto limit = number(read_text(directory + files.limit));
    const auto used = number(read_text(directory + files.used));
    if (!limit || !used) return kNoLimit;
    const std::string stat = read_text(directory + "/memory.stat");
    const std::int64_t droppable =
        number_of(stat, files.inactive).value_or(0) + number_of(stat, files.active).value_or(0);
    return std::max<std::int64_t>(*limit - std::max<std::int64_t>(*used - droppable, 0), 0);
}

/// The least of what a group and all groups above it leave. A missing directory sets no limit: a container's path may
/// be that of the system outside.
std::int64_t left_in_groups(const std::string& root, std::string_view path, const GroupFiles& files) {
    std::int64_t left = kNoLimit;
    while (path.ends_with('/')) path.remove_suffix(1);
    for (;; path = path.substr(0, path.rfind('/'))) {
        left = std::min(left, left_in_group(root + files.mount + std::string(path), files));
        if (path.find('/') == std::string_view::npos) return left;
    }
}

}  // namespace

std::int64_t free_memory(const std::string& root) {
    constexpr std::int64_t kUnit = 1024;
    const auto available = number_of(read_text(root + "/proc/meminfo"), "MemAvailable:");
    return available && *available < kNoLimit / kUnit ? *available * kUnit : kNoLimit;
}

std::int64_t group_memory(const std::string& root) {
    const std::string groups = read_text(root + "/proc/self/cgroup");
    std::string_view rest = groups;
    std::int64_t left = kNoLimit;
    while (!rest.empty()) {  // "number:controllers:path"; version 2 names no controllers
        const std::string_view line = take_line(rest);
        const auto first = std::min(line.find(':'), line.size());
        const auto second = line.find(':', first + 1);
        if (second == std::string_view::npos) continue;
        const std::string controllers = ',' + std::string(line.substr(first + 1, second - first - 1)) + ',';
        const std::string_view path = line.substr(second + 1);
        if (controllers == ",,") left = std::min(left, left_in_groups(root, path, kVersion2));
        if (controllers.find(",memory,") != std::string::npos)
            left = std::min(left, left_in_groups(root, path, kVersion1));
    }
    return left;
}

}  // namespace zam
