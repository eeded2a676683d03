// What classic NetCDF files claim of themselves, held against their length.
#pragma once

#include "session/data/byte_source.h"

namespace zam::session {

/// Checks a header before the library reads it, which allocates whatever a file claims to hold, and reads zeros where a
/// file was cut. Files of other kinds pass. Source: "NetCDF Classic Format Specification", with 64-bit sizes ("CDF\5").
/// @throws DataError  if the file is too short for its header or its values, or the header is broken
void check_classic_netcdf(const ByteSource& bytes);

}  // namespace zam::session
