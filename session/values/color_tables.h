// Colour tables: named presets and the curves that a network file draws.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "session/document/cursor.h"

namespace zam::session {

constexpr std::size_t kTableSize = 256;

/// 256 values from 0 to 255 over the index.
using Curve = std::array<std::uint8_t, kTableSize>;

struct ColorTable {
    Curve alpha, red, green, blue;
};

/// A preset's colours with the opacity rising from 0 to 255; `nullopt` for an unknown name.
/// There are gray, bone, heat, rainbow and viridis.
std::optional<ColorTable> preset_table(std::string_view name);

/// The names of the presets, separated by blanks.
std::vector<std::string_view> preset_names();

/// Reads 256 numbers, or points [index, value] with ascending indices that are joined linearly and rounded to the
/// nearest; before the first and after the last point the curve is level. `nullopt` after a problem.
std::optional<Curve> read_curve(const Cursor& cursor);

}  // namespace zam::session
