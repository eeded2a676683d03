// Get files: lists the files of a directory that have a given extension, for a user to choose from.
// Reads dir, ext, nFiles. Writes nFiles and files.
#include "modules/zam/get_files.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <optional>
#include <vector>

#include "contract/file.h"
#include "contract/om.h"
#include "modules/support/parameters.h"
#include "modules/support/text_value.h"
#include "platform/find_files.h"

namespace zam {

std::string listing_pattern(std::string_view directory, std::string_view extension) {
    if (directory.ends_with('\\')) directory.remove_suffix(1);
    std::string pattern(directory);
    if (extension.empty()) return pattern += "\\*.";
    if (extension == "*") return pattern += "\\*";
    return pattern.append("\\*.").append(extension);
}

namespace {

/// The text with its host variables expanded; `nullopt` if it cannot be read.
std::optional<std::string> read_expanded(const Parameters& params, const char* name) {
    char* text = nullptr;
    if (OMget_str_val(params.find(name), &text, 0) != 1) return std::nullopt;
    const HostText owner(text);
    std::array<char, 4 * FILE_NAME_SIZE> expanded{};
    FILEmap_variables(text, expanded.data(), int{expanded.size()});
    return expanded.data();
}

/// Empties the first `count` entries of `files`, or all if it has fewer.
void clear(OMobj_id files, int count) {
    xp_long size = 0;
    if (OMget_array_size(files, &size) != 1) return;
    for (xp_long i = 0; i < std::min<xp_long>(count, size); ++i) OMset_str_array_val(files, i, nullptr);
}

std::vector<platform::FoundFile> list(const std::string& pattern) {
    auto found = platform::find_files(pattern);
    // deliberate: directories with any further attribute count as files
    std::erase_if(found, [](const auto& file) { return file.attributes == platform::kDirectory; });
    return found;
}

int update(const Parameters& params) {
    const auto directory = read_expanded(params, "dir");
    const auto extension = read_expanded(params, "ext");
    const OMobj_id number = params.find("nFiles");
    const OMobj_id files = params.find("files");
    int count = 0;
    if (!directory || !extension || OMget_int_val(number, &count) != 1) return 0;
    clear(files, count);
    if (directory->empty()) return 1;

    const std::string pattern = listing_pattern(*directory, *extension);
    const auto found = list(pattern).size();
    OMset_int_val(number, static_cast<int>(std::min<std::size_t>(found, std::numeric_limits<int>::max())));
    if (found == 0) return 1;
    xp_long entry = 0;
    // deliberate: listed anew, whatever the number says: files come and go
    for (const auto& file : list(pattern)) OMset_str_array_val(files, entry++, file.name.c_str());
    return 1;
}

}  // namespace
}  // namespace zam

int GetFilesCore_update(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        return zam::update(zam::Parameters(instance));
    } catch (const std::bad_alloc&) {
        return 1;  // silent: the module reports nothing
    }
}
