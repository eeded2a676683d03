#include "runner/voxel_info.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "runner/commands.h"
#include "session/run/library.h"

namespace zam::runner {

using namespace session;

namespace {

constexpr xp_long kSparse = 100;  // nodes per sample; fewer are usual where a body fills part of its box

/// The module library's function for such texts.
using DescribeVoxels = int (*)(const char* file, int header_lines, OMobj_id field, xp_long* counts);

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

/// What a person should look at; empty: nothing.
std::string warning_about(xp_long samples, xp_long placed, xp_long filled, xp_long nodes) {
    if (placed < samples)
        return std::to_string(samples - placed) +
               " samples lie outside the grid: coordinates are x, y and z, below 214.7483647";
    if (filled < placed)
        return std::to_string(placed - filled) +
               " samples share a node with a later one, which stays; are all steps multiples of the last one?";
    if (filled < nodes / kSparse) return "few of the nodes have a sample; do the lines begin with x, y and z?";
    return {};
}

}  // namespace

bool is_voxel_text(std::string_view start) {
    const auto first = start.find_first_not_of(" \t\r\n");
    const bool json = first != std::string_view::npos && (start[first] == '{' || start[first] == '/');
    return !json && lines_before_samples(start).has_value();
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

Description describe_voxels(const FileStart& file, OMobj_id field) {
    const auto library = load_library();
    const auto describe = library ? library->find_as<DescribeVoxels>("zam_describe_voxels") : nullptr;
    xp_long counts[3]{};
    xp_long nodes = 0;
    if (!describe || describe(file.name.c_str(), *lines_before_samples(file.bytes), field, counts) != 1)
        return {.fault = "cannot be read as voxel text"};
    FLDget_nnodes(field, &nodes);
    const auto [samples, placed, filled] = counts;
    return {.lines = {{"samples", std::to_string(samples) + ", " + std::to_string(placed) +
                                      " of them in the grid, at " + std::to_string(filled) + " nodes"}},
            .warning = warning_about(samples, placed, filled, nodes)};
}

}  // namespace zam::runner
