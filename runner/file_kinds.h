// The kinds of files that `zam info` knows: how a file says what it is, and how a module is set up to read it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/types.h"
#include "session/values/value.h"

namespace zam::runner {

/// A file as far as its kind shows.
struct FileStart {
    std::string name;   // as given
    std::string bytes;  // the first kFileStartBytes at most
};
constexpr std::size_t kFileStartBytes = 4096;

/// What is printed about a file besides its field.
struct Description {
    std::string fault = {};                // what is wrong with the file, in place of all else; empty: nothing
    std::vector<std::string> arrays = {};  // of a file that holds several, in place of a field
    using Line = std::pair<std::string_view, std::string>;  // what is told, and a text
    std::vector<Line> lines = {};                           // what follows the field
    std::vector<std::string> notes = {};                    // what is worth knowing
    std::string warning = {};                               // what a person should look at; empty: nothing
};

/// One kind of file. A new kind is a row of the table in file_kinds.cpp, before kinds that are recognised with less
/// certainty; data files of other programs are there by the session's own table.
struct FileKind {
    std::string_view name;  // for people: "field file"
    bool (*matches)(std::string_view start);
    std::string_view entry;  // the update entry that reads such files
    /// What its instance is given: parameter names of the definition, and values.
    std::vector<std::pair<std::string_view, session::Value>> (*parameters)(const FileStart& file);
    std::string_view output;  // the field that it writes
    std::string_view time;    // the text or real that it writes, the time of the data; empty: none
    /// For files that are described without a run of a module, in place of the four above: fills a field with what
    /// is printed of it.
    Description (*describe)(const FileStart& file, OMobj_id field) = nullptr;
    bool described_only = false;  // neither a module nor a network reads such files
};

/// The first bytes of a file; `nullopt` if it cannot be opened.
std::optional<FileStart> read_file_start(const std::string& name);

/// The first kind that matches; null for other files.
const FileKind* find_file_kind(const FileStart& file);

/// Whether it begins as networks do.
bool is_network(std::string_view start);

}  // namespace zam::runner
