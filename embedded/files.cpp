// File helpers: host variables in names, directory parts, opening.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <string_view>

#include "base/file_path.h"
#include "contract/file.h"
#include "embedded/operation.h"

using namespace zam::host;

namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kDigits = "0123456789";
constexpr std::size_t kMaxNameLength = 65536;  // longer than the names that any system opens
constexpr std::string_view kPathList = "XP_PATH";

bool is_in(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

std::string environment(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value ? value : "";
}

/// Entry of the blank-separated list in XP_PATH; empty beyond its end.
std::string path_entry(std::string_view digits) {
    std::istringstream list(environment(std::string(kPathList)));
    const std::size_t first = digits.find_first_not_of('0');
    digits = first == std::string_view::npos ? "0" : digits.substr(first);
    if (digits.size() > 6) return {};
    std::string entry;
    for (int left = std::stoi(std::string(digits)); left >= 0; --left) {
        if (!(list >> entry)) return {};
    }
    return entry;
}

/// Takes the variable at the start of `rest`, its `$` taken already, and gives its value.
std::string take_variable(std::string_view& rest) {
    std::size_t length = 0;
    while (length < rest.size() &&
           (is_in(kLetters, rest[length]) || is_in(kDigits, rest[length]) || rest[length] == '_')) {
        ++length;
    }
    const std::string_view name = rest.substr(0, length);
    rest.remove_prefix(length);
    if (name.empty()) return "$";
    if (name == kPathList && rest.starts_with('<')) {
        const std::size_t end = rest.find('>');
        const std::string_view index = rest.substr(1, end == std::string_view::npos ? 0 : end - 1);
        if (!index.empty() && index.find_first_not_of(kDigits) == std::string_view::npos) {
            rest.remove_prefix(end + 1);
            return path_entry(index);
        }
    }
    return environment(std::string(name));
}

/// The name with its variables replaced; a result longer than `most` ends somewhere after that.
std::string expand(std::string_view name, std::size_t most) {
    std::string expanded;
    while (!name.empty() && expanded.size() <= most) {
        const std::size_t dollar = name.find('$');
        expanded += name.substr(0, dollar);
        if (dollar == std::string_view::npos) break;
        name.remove_prefix(dollar + 1);
        expanded += take_variable(name);
    }
    return expanded;
}

/// Length of the root at the start of a name: "/", "\", "C:", "C:\"; 0 if there is none.
std::size_t root_length(std::string_view name) {
    std::size_t length = 0;
    if (name.size() >= 2 && is_in(kLetters, name[0]) && name[1] == ':') length = 2;
    if (length < name.size() && is_in(kSeparators, name[length])) ++length;
    return length;
}

/// The name under which the system knows a file: as it stands, else with the separator that every system takes.
std::string system_name(const char* name) {
    std::string file = expand(name, kMaxNameLength);
    std::error_code ignored;
    if (file.find('\\') == std::string::npos || std::filesystem::exists(zam::file_path(file), ignored)) return file;
    for (char& c : file) c = c == '\\' ? '/' : c;
    return file;
}

char* copy_out(std::string_view text, char* buffer, int size) {
    give_text(buffer, size, text);
    return buffer;
}

}  // namespace

FILE* FILEfopen(const char* name, const char* mode) {
    return answer(__func__, static_cast<FILE*>(nullptr), false, [&]() -> FILE* {
        if (!name || !mode) return nullptr;
        const std::string file = system_name(name);
        if (file.size() > kMaxNameLength) {
            errno = ENAMETOOLONG;
            return nullptr;
        }
        std::error_code ignored;
        const auto found = std::filesystem::status(zam::file_path(file), ignored);
        if (std::filesystem::is_directory(found)) {
            errno = EISDIR;
            return nullptr;
        }
        if (std::filesystem::is_fifo(found) || std::filesystem::is_socket(found)) {
            errno = ESPIPE;  // opening one waits for the other end, and readers go back and forth in files
            return nullptr;
        }
        std::string bytes_as_they_are = mode;  // "t" would take carriage returns away on Windows, and only there
        std::erase(bytes_as_they_are, 't');
        if (bytes_as_they_are.find('b') == std::string::npos) bytes_as_they_are += 'b';
        return std::fopen(file.c_str(), bytes_as_they_are.c_str());
    });
}

char* FILEmap_variables(const char* name, char* expanded, int size) {
    return answer(__func__, expanded, false, [&] {
        const std::size_t most = size > 0 ? static_cast<std::size_t>(size) : 0;
        return copy_out(name ? expand(name, most) : "", expanded, size);
    });
}

int FILEis_path_absolute(const char* name) { return name && root_length(name) > 0 ? 1 : 0; }

char* FILEget_dir_name(const char* name, char* directory, int size) {
    const std::string_view whole = name ? name : "";
    const std::size_t last = whole.find_last_of(kSeparators);
    const std::size_t length = last == std::string_view::npos ? 0 : last;
    return copy_out(whole.substr(0, std::max(length, root_length(whole))), directory, size);
}

char* FILEconcat_dir_and_file(const char* directory, const char* file, char* joined, int size) {
    return answer(__func__, joined, false, [&] {
        std::string name = directory ? directory : "";
        if (!name.empty() && !is_in(kSeparators, name.back())) name += '/';
        return copy_out(name + (file ? file : ""), joined, size);
    });
}
