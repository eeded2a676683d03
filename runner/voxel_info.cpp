#include "runner/voxel_info.h"

#include <string>

#include "runner/commands.h"
#include "session/run/library.h"

namespace zam::runner {

using namespace session;

namespace {

constexpr xp_long kSparse = 100;  // nodes per sample; fewer are usual where a body fills part of its box

/// The module library's function for such texts.
using DescribeVoxels = int (*)(const char* file, int header_lines, OMobj_id field, xp_long* counts);

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
