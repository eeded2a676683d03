// Data files of other programs as fields, their kinds told by their contents.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "session/data/data_array.h"
#include "session/data/data_request.h"
#include "session/values/field_value.h"

namespace zam::session {

/// A kind of data file.
struct DataFileKind {
    std::string_view name;  // for people: "NumPy array"
    bool (*matches)(std::string_view start);
    /// All arrays of the file, in its order. Those that no field can be made of say why.
    /// @throws DataError  if the file cannot be read
    std::vector<DataArray> (*open)(const std::string& file);
};

std::span<const DataFileKind> data_file_kinds();

/// The kind of a file by its first bytes, 512 of them if it has so many; null for files of other kinds.
const DataFileKind* data_file_kind(std::string_view start);

/// The first 512 bytes of a file, or all of a shorter one.
/// @throws DataError
std::string data_file_start(const std::string& file);

/// The arrays that hold data of their own, and do not just describe others.
std::vector<DataArray> without_descriptions(std::vector<DataArray> arrays);

/// Opens the file and makes the field that the request asks for. Values are read when they are needed.
/// @param notes  takes what a user should know of the file
/// @throws DataError
FieldPointer open_data_file(const DataRequest& request, std::vector<std::string>& notes);

}  // namespace zam::session
