// NRRD files: nearly raw raster data. The only place that knows the library for their headers; a build without it reads
// none.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "session/data/data_array.h"

namespace zam::session {

bool is_nrrd(std::string_view start);

/// The array of a file, whose values follow its header or stand in another file that this names; raw or packed by gzip.
/// Axes are listed from x on; those whose kind is no domain hold the parts of vectors.
/// @throws DataError  also if this build reads no such files
std::vector<DataArray> open_nrrd(const std::string& file);

}  // namespace zam::session
