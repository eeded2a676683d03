// Get files: lists the files of a directory that have a given extension.
#pragma once

#include <string>
#include <string_view>

#include "contract/types.h"

namespace zam {

/// The pattern that lists a directory: all names for the extension "*", names without one for "".
/// @param directory  one trailing backslash is dropped
std::string listing_pattern(std::string_view directory, std::string_view extension);

}  // namespace zam

/// The module's entry: writes the names of the files in `dir` with the extension `ext` into `files`, in the order of
/// their bytes, and their number into `nFiles`. The parameters are in get_files.json.
/// @return 1; 0 when `dir`, `ext` or `nFiles` cannot be read (silent, nothing changed)
extern "C" ZAM_MODULE_API int GetFilesCore_update(OMobj_id instance, unsigned event_mask, int seq);
