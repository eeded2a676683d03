// The kinds of files that `zam info` knows: how a file says what it is, and what is told of it.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/types.h"
#include "session/view/file_readers.h"

namespace zam::runner {

using session::FileStart;

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
    const session::ModuleFile* reader = nullptr;  // the module that reads such files; null: none
    /// For files that are described without a run of a module: fills a field with what is printed of it.
    Description (*describe)(const FileStart& file, OMobj_id field) = nullptr;
    bool described_only = false;  // neither a module nor a network reads such files
};

/// The first kind that matches; null for other files.
const FileKind* find_file_kind(const FileStart& file);

}  // namespace zam::runner
