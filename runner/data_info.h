// Data files of other programs as `zam info` sees them: their arrays with shapes and ranges, read in blocks.
#pragma once

#include "runner/file_kinds.h"

namespace zam::runner {

bool is_numpy_array(const FileStart& file);
bool is_numpy_archive(const FileStart& file);
bool is_netcdf_file(const FileStart& file);
bool is_nrrd_file(const FileStart& file);

/// Gives a field the grid and the component of a file's only array. Of several arrays it tells their names, shapes and
/// ranges, one line each.
Description describe_data_file(const FileStart& file, OMobj_id field);

}  // namespace zam::runner
