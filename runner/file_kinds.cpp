#include "runner/file_kinds.h"

#include <cstdio>

#include "base/file_handle.h"
#include "contract/file.h"
#include "runner/capture_info.h"
#include "runner/data_info.h"
#include "runner/voxel_info.h"

namespace zam::runner {

using namespace session;

namespace {

using Parameters = std::vector<std::pair<std::string_view, Value>>;

bool is_field_file(const FileStart& file) { return file.bytes.starts_with("# AVS"); }
Parameters field_file_parameters(const FileStart& file) { return {{"filename", {file.name}}}; }

/// A first record of 2 or 3 integers of 4 or 8 bytes, between markers of 4 or 8 bytes in either order.
bool is_fortran_grid(const FileStart& file) {
    std::string marker = file.bytes.substr(0, 8);
    if (marker.size() < 8) return false;
    const auto is_length = [](char byte) { return byte == 8 || byte == 12 || byte == 16 || byte == 24; };
    const auto zeros = [&](std::size_t from, std::size_t count) {
        return marker.substr(from, count) == std::string(count, '\0');
    };
    return (is_length(marker[0]) && zeros(1, 3)) ||                 // little-endian
           (is_length(marker[3]) && zeros(0, 3)) ||                 // big-endian
           (zeros(0, 4) && is_length(marker[4]) && zeros(5, 3)) ||  // halves exchanged
           (zeros(0, 7) && is_length(marker[7]));                   // big-endian, 8 bytes
}
Parameters fortran_grid_parameters(const FileStart& file) { return {{"frt_fname", {file.name}}}; }

constexpr FileKind kFileKinds[] = {
    {"NumPy array", is_numpy_array, "", nullptr, "", "", describe_data_file},
    {"NumPy archive", is_numpy_archive, "", nullptr, "", "", describe_data_file},
    {"NetCDF file", is_netcdf_file, "", nullptr, "", "", describe_data_file},
    {"NRRD file", is_nrrd_file, "", nullptr, "", "", describe_data_file},
    {"field file", is_field_file, "DVLDread_field_update", field_file_parameters, "out", "time_string"},
    {"Fortran-record grid", is_fortran_grid, "ZAMread_frt", fortran_grid_parameters, "out", "time"},
    {"capture file", is_capture_file, "", nullptr, "", "", describe_capture},
    {"voxel text", is_voxel_text, "", nullptr, "", "", describe_voxels},
};

}  // namespace

std::optional<FileStart> read_file_start(const std::string& name) {
    const FileHandle file(FILEfopen(name.c_str(), "rb"));
    if (!file) return std::nullopt;
    FileStart start{name, std::string(kFileStartBytes, '\0')};
    start.bytes.resize(std::fread(start.bytes.data(), 1, start.bytes.size(), file.get()));
    return start;
}

const FileKind* find_file_kind(const FileStart& file) {
    for (const FileKind& kind : kFileKinds) {
        if (kind.matches(file)) return &kind;
    }
    return nullptr;
}

}  // namespace zam::runner
