// Voxel texts as `zam info` sees them: without the grid, which a few samples can make larger than memory.
#pragma once

#include <optional>

#include "runner/file_kinds.h"

namespace zam::runner {

/// Whether a file begins as voxel texts do: a line of four numbers or more, perhaps after lines of another kind.
bool is_voxel_text(std::string_view start);
/// Number of lines before the first sample; `nullopt` if there is none.
std::optional<int> lines_before_samples(std::string_view start);

/// Gives a field the mesh and the components, each with its range.
Description describe_voxels(const FileStart& file, OMobj_id field);

}  // namespace zam::runner
