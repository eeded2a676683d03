// The files of a directory by a pattern, as find-first, find-next and find-close of Windows give them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zam::platform {

/// Attribute bits of a found file, with the values that they have on Windows.
enum FileAttribute : unsigned { kHidden = 2, kDirectory = 16 };

struct FoundFile {
    std::string name;     // without the directory
    unsigned attributes;  // a plain directory has kDirectory and nothing else
};

/// The entries of a directory whose names match, in the order of their names' bytes.
///
/// The last part of `pattern`, after either separator, is matched as matches_pattern() says; what stands before it is
/// the directory. "." and ".." are entries too. Elsewhere than on Windows, kHidden marks files whose names begin with a
/// dot, directories have no further bits, and links count as what they lead to; on Windows all bits are the system's.
/// @return `nullopt` if the directory cannot be read
std::vector<FoundFile> find_files(const std::string& pattern);

/// Whether Windows' functions find a file by that name with a pattern.
///
/// `*` stands for any characters and `?` for one, or for none before a dot and at the end. A dot before `*` or `?` may
/// be missing at a name's end. `*.` at the end stands for names without an extension: no dot, or only after the last
/// character. The case of ASCII letters does not matter.
bool matches_pattern(std::string_view name, std::string_view pattern);

}  // namespace zam::platform
