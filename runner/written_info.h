// Files that zam writes and does not read, as `zam info` sees them, whoever wrote them.
#pragma once

#include "runner/file_kinds.h"

namespace zam::runner {

/// Gives a field the grid and the node data of a VTK file.
Description describe_vtk(const FileStart& file, OMobj_id field);

/// Gives a field the size of a picture, and a component per channel.
Description describe_png(const FileStart& file, OMobj_id field);

}  // namespace zam::runner
