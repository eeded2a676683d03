#include "platform/find_files.h"

#include <sys/stat.h>

#include <algorithm>

#include "platform/posix/listing.h"
#include "platform/posix/path.h"

namespace zam::platform {
namespace {

/// @param directory  with its separator at the end
bool is_directory(const std::string& directory, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK) return entry.d_type == DT_DIR;
    struct stat status {};
    return stat((directory + entry.d_name).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

unsigned attributes_of(const std::string& directory, const dirent& entry) {
    if (is_directory(directory, entry)) return kDirectory;
    return entry.d_name[0] == '.' ? unsigned{kHidden} : 0U;
}

}  // namespace

std::vector<FoundFile> find_files(const std::string& pattern) {
    const std::string path = native_path(pattern);
    const std::size_t names_at = path.rfind('/') + 1;  // 0 where there is no directory
    const std::string names = path.substr(names_at);
    const std::string directory = names_at == 0 ? "./" : path.substr(0, names_at);

    std::vector<FoundFile> found;
    const Listing listing = open_listing(directory);
    if (!listing) return found;
    while (const dirent* entry = readdir(listing.get())) {
        if (matches_pattern(entry->d_name, names)) found.push_back({entry->d_name, attributes_of(directory, *entry)});
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return found;
}

}  // namespace zam::platform
