// Arrays as NumPy saves them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "session/data/byte_source.h"
#include "session/data/data_array.h"

namespace zam::session {

/// The six bytes that .npy files begin with.
constexpr std::string_view kNpyMagic{"\x93NUMPY", 6};

/// Reads the header of an .npy file, versions 1 to 3. Source: numpy.lib.format.
/// @throws DataError
DataArray open_npy(const ByteSourcePointer& bytes);

/// The values of an .npy file one after another, as they are stored.
struct NpyValues {
    ValueSourcePointer values;
    int type;
    xp_long count;
    xp_long stored_size;  // bytes of one of them in the file
};

/// @return `nullopt` if the file is no .npy file
/// @throws DataError  if it cannot be read
std::optional<NpyValues> open_npy_values(const std::string& file);

}  // namespace zam::session
