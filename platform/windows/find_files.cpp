#include "platform/find_files.h"

#include <io.h>

#include <algorithm>

namespace zam::platform {

std::vector<FoundFile> find_files(const std::string& pattern) {
    std::vector<FoundFile> found;
    _finddata64i32_t record{};
    const intptr_t listing = _findfirst64i32(pattern.c_str(), &record);
    if (listing == -1) return found;
    do {
        found.push_back({record.name, record.attrib});
    } while (_findnext64i32(listing, &record) == 0);
    _findclose(listing);
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return found;
}

}  // namespace zam::platform
