// Arrays as NumPy saves them.
#pragma once

#include <string>

#include "session/data/byte_source.h"
#include "session/data/data_array.h"

namespace zam::session {

/// The six bytes that .npy files begin with.
constexpr std::string_view kNpyMagic{"\x93NUMPY", 6};

/// Reads the header of an .npy file, versions 1 to 3. Source: numpy.lib.format.
/// @throws DataError
DataArray open_npy(const ByteSourcePointer& bytes);

}  // namespace zam::session
