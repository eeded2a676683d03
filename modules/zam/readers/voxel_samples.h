// Scattered samples of a voxel text file, read in two passes: the first counts lines, the second fills arrays.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contract/types.h"
#include "modules/support/memory_budget.h"

namespace zam::voxel {

/// Characters of a header line that are kept at most.
constexpr std::size_t kMaxTimeLabel = 255;

/// How a file is to be read.
struct ReadOptions {
    int header_lines;                     // skipped before the samples; none if negative
    float null_value;                     // stands for missing values
    std::optional<std::string> time_key;  // text to look for in the header lines
};

/// One array per coordinate and value, so that each is traversed at the speed of memory.
struct Samples {
    std::size_t count = 0;
    std::array<std::unique_ptr<float[]>, 3> positions;  // x, y, z: `count` values each
    std::vector<std::unique_ptr<float[]>> values;       // one array per value column, at least one

    std::span<const float> axis(std::size_t axis) const { return {positions[axis].get(), count}; }
    std::span<const float> column(std::size_t column) const { return {values[column].get(), count}; }
};

/// Reads the samples of an open file.
/// @param memory      is charged with the samples
/// @param time_label  receives what the last header line with the time key has from the key on, cut at kMaxTimeLabel
/// @return `nullopt` after one message
/// @throws std::bad_alloc if there is not even memory for a block of the file
std::optional<Samples> read_samples(std::FILE* file, const ReadOptions& options, MemoryBudget& memory,
                                    std::string& time_label);

}  // namespace zam::voxel
