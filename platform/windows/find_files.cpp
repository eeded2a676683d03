#include "platform/find_files.h"

#include <io.h>

#include <algorithm>

#include "platform/windows/wide_text.h"

namespace zam::platform {

// The system lists, but does not choose: it also compares short names that nobody sees, and emulators of it take "*."
// in their own ways.
std::vector<FoundFile> find_files(const std::string& pattern) {
    const std::size_t names_at = pattern.find_last_of("/\\:") + 1;  // 0 where there is no directory
    const std::string names = pattern.substr(names_at);
    std::vector<FoundFile> found;
    _wfinddata64i32_t record{};
    const intptr_t listing = _wfindfirst64i32(to_wide(pattern.substr(0, names_at) + "*").c_str(), &record);
    if (listing == -1) return found;
    do {
        const std::string name = from_wide(record.name);
        if (matches_pattern(name, names)) found.push_back({name, record.attrib});
    } while (_wfindnext64i32(listing, &record) == 0);
    _findclose(listing);
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return found;
}

}  // namespace zam::platform
