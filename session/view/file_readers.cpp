#include "session/view/file_readers.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>

#include "base/file_handle.h"
#include "base/file_path.h"
#include "contract/file.h"
#include "session/document/parser.h"

namespace zam::session {
namespace {

using Parameters = std::vector<std::pair<std::string_view, Value>>;

constexpr std::size_t kDigits = kCaptureHeader / 2;

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

xp_long number_at(std::string_view start, std::size_t at) { return std::stoi(std::string(start.substr(at, kDigits))); }

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

bool is_voxel_text(std::string_view start) {
    const auto first = start.find_first_not_of(" \t\r\n");
    const bool json = first != std::string_view::npos && (start[first] == '{' || start[first] == '/');
    return !json && lines_before_samples(start).has_value();
}

}  // namespace

const ModuleFile kFieldFile{"field file",          is_field_file, "DVLDread_field_update",
                            field_file_parameters, "out",         "time_string"};
const ModuleFile kFortranGrid{"Fortran-record grid",   is_fortran_grid, "ZAMread_frt",
                              fortran_grid_parameters, "out",           "time"};
const ModuleFile kVoxelText{"voxel text", is_voxel_text, "ZAMread_voxel_update", voxel_text_parameters, "outfld", ""};

const ModuleFile* find_module_file(std::string_view start) {
    for (const ModuleFile* kind : {&kFieldFile, &kFortranGrid, &kVoxelText}) {
        if (kind->matches(start)) return kind;
    }
    return nullptr;
}

std::optional<FileStart> read_file_start(const std::string& name) {
    const FileHandle file(FILEfopen(name.c_str(), "rb"));
    if (!file) return std::nullopt;
    FileStart start{name, std::string(kFileStartBytes, '\0')};
    start.bytes.resize(std::fread(start.bytes.data(), 1, start.bytes.size(), file.get()));
    return start;
}

bool is_network(std::string_view start) {
    const std::string key = first_key(start);
    return key == "modules" || key == "events" || key == "write";
}

bool is_capture_file(std::string_view start) {
    const std::string_view text = start.substr(0, 2 * kDigits);
    if (text.size() < 2 * kDigits || text.find_first_not_of("0123456789") != std::string_view::npos) return false;
    return number_at(text, 0) > 0 && number_at(text, kDigits) > 0;
}

std::array<xp_long, 2> capture_dims(std::string_view start) { return {number_at(start, 0), number_at(start, kDigits)}; }

bool is_whole_capture(const FileStart& file) {
    constexpr xp_long kPixelBytes = 8;  // colours and depth
    const auto dims = capture_dims(file.bytes);
    std::error_code error;
    const auto size = static_cast<xp_long>(std::filesystem::file_size(file_path(file.name), error));
    return !error && size >= xp_long{2 * kDigits} + kPixelBytes * dims[0] * dims[1];
}

std::optional<int> lines_before_samples(std::string_view start) {
    if (start.find('\0') != std::string_view::npos) return std::nullopt;
    int lines = 0;
    for (std::size_t at = 0; at < start.size(); ++lines) {
        const auto end = std::min(start.find('\n', at), start.size());
        if (is_sample(start.substr(at, end - at))) return lines;
        at = end + 1;
    }
    return std::nullopt;
}

}  // namespace zam::session
