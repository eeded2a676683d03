// Capture files as `zam info` sees them: no module reads a single file of this kind.
#pragma once

#include <array>

#include "runner/file_kinds.h"

namespace zam::runner {

/// Gives a field what `zam info` prints of the file: dims, and each component with its range. Pixels are read in blocks
/// and not kept.
Description describe_capture(const FileStart& file, OMobj_id field);

}  // namespace zam::runner
