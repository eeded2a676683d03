// Voxel texts as `zam info` sees them: without the grid, which a few samples can make larger than memory.
#pragma once

#include <optional>

#include "runner/file_kinds.h"

namespace zam::runner {

/// Gives a field the mesh and the components, each with its range.
Description describe_voxels(const FileStart& file, OMobj_id field);

}  // namespace zam::runner
