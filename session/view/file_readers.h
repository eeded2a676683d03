// Files that modules read: how a file says what it is, and how a module is set up to read it.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/types.h"
#include "session/values/value.h"

namespace zam::session {

/// A file as far as its kind shows.
struct FileStart {
    std::string name;   // as given
    std::string bytes;  // the first kFileStartBytes at most
};
constexpr std::size_t kFileStartBytes = 4096;

/// The first bytes of a file; `nullopt` if it cannot be opened.
std::optional<FileStart> read_file_start(const std::string& name);

/// A kind of file and the module that reads it.
struct ModuleFile {
    std::string_view name;  // for people: "field file"
    bool (*matches)(std::string_view start);
    std::string_view entry;  // the update entry that reads such files
    /// What its instance is given: parameter names of the definition, and values.
    std::vector<std::pair<std::string_view, Value>> (*parameters)(const FileStart& file);
    std::string_view output;  // the field that it writes
    std::string_view time;    // the text or real that it writes, the time of the data; empty: none
};
extern const ModuleFile kFieldFile, kFortranGrid, kVoxelText;

/// The module that reads a file; null if none does.
const ModuleFile* find_module_file(std::string_view start);

/// Whether it begins as networks do.
bool is_network(std::string_view start);

/// Whether a file begins as capture files do, with ten digits: a width and a height. No module reads a single one.
bool is_capture_file(std::string_view start);
constexpr std::size_t kCaptureHeader = 10;  // bytes
/// Width and height of a capture. @pre  is_capture_file(start)
std::array<xp_long, 2> capture_dims(std::string_view start);
/// Whether all pixels of a capture are there. @pre  is_capture_file(file.bytes)
bool is_whole_capture(const FileStart& file);

/// Number of lines of a voxel text before the first sample, a line of four numbers or more; `nullopt` if there is none.
std::optional<int> lines_before_samples(std::string_view start);

}  // namespace zam::session
