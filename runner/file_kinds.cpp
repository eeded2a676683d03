#include "runner/file_kinds.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>

#include "contract/file.h"
#include "runner/capture_info.h"
#include "runner/file_handle.h"

namespace zam::runner {
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

/// Whether a line is four numbers or more and nothing else, with commas or white space between them.
bool is_sample(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r";
    const char* const end = line.data() + line.size();
    const auto skip_blanks = [&](const char* at) {
        return std::find_if(at, end, [&](char c) { return kBlanks.find(c) == std::string_view::npos; });
    };
    int numbers = 0;
    for (const char* at = skip_blanks(line.data()); at != end; ++numbers) {
        if (*at == '+') ++at;
        double number = 0.0;
        const auto result = std::from_chars(at, end, number);
        if (result.ec == std::errc::invalid_argument) return false;
        at = skip_blanks(result.ptr);
        if (at != end && *at == ',')
            at = skip_blanks(at + 1);
        else if (at != end && at == result.ptr)
            return false;
    }
    return numbers >= 4;
}

/// Lines in front of the first that is a sample; nothing when none is.
std::optional<int> lines_before_samples(const FileStart& file) {
    if (file.bytes.find('\0') != std::string::npos) return std::nullopt;
    int lines = 0;
    for (std::size_t at = 0; at < file.bytes.size(); ++lines) {
        const auto end = std::min(file.bytes.find('\n', at), file.bytes.size());
        if (is_sample(std::string_view(file.bytes).substr(at, end - at))) return lines;
        at = end + 1;
    }
    return std::nullopt;
}

bool is_voxel_text(const FileStart& file) { return lines_before_samples(file).has_value(); }
Parameters voxel_text_parameters(const FileStart& file) {
    return {{"filename", {file.name}}, {"iheader", {std::int32_t{*lines_before_samples(file)}}}};
}

constexpr FileKind kFileKinds[] = {
    {"field file", is_field_file, "DVLDread_field_update", field_file_parameters, "out", "time_string"},
    {"Fortran-record grid", is_fortran_grid, "ZAMread_frt", fortran_grid_parameters, "out", "time"},
    {"capture file", is_capture_file, "", nullptr, "", "", describe_capture},
    {"voxel text", is_voxel_text, "ZAMread_voxel_update", voxel_text_parameters, "outfld", "time_label"},
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
