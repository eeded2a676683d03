// PNG pictures: what they hold.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "contract/types.h"

namespace zam::session {

struct PngFile {
    std::array<xp_long, 2> dims{};
    std::string pixels;                      // for people: "RGB with opacity"
    int bits = 8;                            // per channel
    std::vector<std::string_view> channels;  // "red"; of a palette: "index"
    std::vector<std::array<int, 2>> ranges;  // smallest and largest number of each channel
};

/// Whether a file begins as such files do.
bool is_png(std::string_view start);

/// Reads a picture row by row.
/// @throws DataError  if it is damaged, or has more than a million rows or columns
PngFile read_png(const std::string& file);

}  // namespace zam::session
