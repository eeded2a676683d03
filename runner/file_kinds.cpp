#include "runner/file_kinds.h"

#include <algorithm>
#include <cstdio>

#include "base/file_handle.h"
#include "contract/file.h"
#include "runner/capture_info.h"
#include "runner/data_info.h"
#include "runner/voxel_info.h"
#include "runner/written_info.h"
#include "session/data/data_file.h"
#include "session/data/png_file.h"
#include "session/data/vtk_file.h"
#include "session/document/parser.h"

namespace zam::runner {

using namespace session;

namespace {

using Parameters = std::vector<std::pair<std::string_view, Value>>;

bool is_field_file(std::string_view start) { return start.starts_with("# AVS"); }
Parameters field_file_parameters(const FileStart& file) { return {{"filename", {file.name}}}; }

/// A first record of 2 or 3 integers of 4 or 8 bytes, between markers of 4 or 8 bytes in either order.
bool is_fortran_grid(std::string_view start) {
    const std::string marker(start.substr(0, 8));
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

Parameters voxel_text_parameters(const FileStart& file) {
    return {{"filename", {file.name}}, {"iheader", {lines_before_samples(file.bytes).value_or(0)}}};
}

constexpr FileKind kFileKinds[] = {
    {"field dump", is_field_dump, "", nullptr, "", "", describe_field_dump},
    {"PNG picture", is_png, "", nullptr, "", "", describe_png, true},
    {"VTK file", is_vtk, "", nullptr, "", "", describe_vtk, true},
    {"field file", is_field_file, "DVLDread_field_update", field_file_parameters, "out", "time_string"},
    {"Fortran-record grid", is_fortran_grid, "ZAMread_frt", fortran_grid_parameters, "out", "time"},
    {"capture file", is_capture_file, "", nullptr, "", "", describe_capture},
    {"voxel text", is_voxel_text, "ZAMread_voxel_update", voxel_text_parameters, "outfld", "", describe_voxels},
};

std::vector<FileKind> all_kinds() {
    std::vector<FileKind> kinds;
    kinds.reserve(data_file_kinds().size() + std::size(kFileKinds));
    for (const DataFileKind& kind : data_file_kinds())
        kinds.push_back({kind.name, kind.matches, "", nullptr, "", "", describe_data_file});
    kinds.insert(kinds.end(), std::begin(kFileKinds), std::end(kFileKinds));
    return kinds;
}

}  // namespace

std::optional<FileStart> read_file_start(const std::string& name) {
    const FileHandle file(FILEfopen(name.c_str(), "rb"));
    if (!file) return std::nullopt;
    FileStart start{name, std::string(kFileStartBytes, '\0')};
    start.bytes.resize(std::fread(start.bytes.data(), 1, start.bytes.size(), file.get()));
    return start;
}

const FileKind* find_file_kind(const FileStart& file) {
    static const std::vector<FileKind> kinds = all_kinds();
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(), [&](const FileKind& known) { return known.matches(file.bytes); });
    return kind == kinds.end() ? nullptr : &*kind;
}

bool is_network(std::string_view start) {
    const std::string key = first_key(start);
    return key == "modules" || key == "events" || key == "write";
}

}  // namespace zam::runner
