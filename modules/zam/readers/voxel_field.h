// The mesh of voxels in a field.
#pragma once

#include "contract/types.h"
#include "modules/zam/readers/voxel_grid.h"

namespace zam::voxel {

/// Makes a field the grid, uniform and without node data.
/// @return false after a line on the standard error stream
bool write_mesh(OMobj_id field, const Grid& grid);

}  // namespace zam::voxel
