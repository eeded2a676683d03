// Capture files as `zam info` sees them: no module reads a single file of this kind.
#pragma once

#include <array>

#include "runner/file_kinds.h"

namespace zam::runner {

/// Whether a file begins as capture files do, with ten digits: a width and a height.
bool is_capture_file(std::string_view start);
/// Width and height of a capture. @pre  is_capture_file(start)
std::array<xp_long, 2> capture_dims(std::string_view start);
/// Whether all pixels of a capture are there. @pre  is_capture_file(file.bytes)
bool is_whole_capture(const FileStart& file);

/// Gives a field what `zam info` prints of the file: dims, and each component with its range. Pixels are read in blocks
/// and not kept.
Description describe_capture(const FileStart& file, OMobj_id field);

}  // namespace zam::runner
