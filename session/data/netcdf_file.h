// Variables of NetCDF files. The only place that knows the library for them; a build without it reads none.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "session/data/data_array.h"

namespace zam::session {

/// Whether a file is NetCDF by its first bytes: classic, with 64-bit offsets or sizes, or kept in HDF5.
bool is_netcdf(std::string_view start);

/// The variables of a file, those of groups as GROUP/NAME. The first unlimited dimension counts steps. Variables that
/// describe others (coordinates, bounds), and texts, are only taken by name.
/// @throws DataError  also if this build reads no such files
std::vector<DataArray> open_netcdf(const std::string& file);

}  // namespace zam::session
