// Data files of other programs and field dumps as `zam info` sees them: their arrays with shapes and ranges, read in
// blocks.
#pragma once

#include "runner/file_kinds.h"

namespace zam::runner {

/// Gives a field the grid and the component of a file's only array. Of several arrays it tells their names, shapes and
/// ranges, one line each.
Description describe_data_file(const FileStart& file, OMobj_id field);

/// Whether it begins as fields do that are written as JSON.
bool is_field_dump(std::string_view start);

/// Gives a field all that the dump of one holds.
Description describe_field_dump(const FileStart& file, OMobj_id field);

}  // namespace zam::runner
