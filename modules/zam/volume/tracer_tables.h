// Classification of byte values: the tracer's colour table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "modules/zam/tracer.h"

namespace zam::tracer {

constexpr std::size_t kTableSize = 256;

/// The 256 values of a colour map, each 0 to 255.
struct ColorMap {
    std::array<std::uint8_t, kTableSize> alpha, red, green, blue;
};

/// Turns a colour map into a colour table: opacities become 0 to 1, colours stay 0 to 255.
void fill_color_table(const ColorMap& map, std::span<TracerColor, kTableSize> table);

/// Opacity and colour of a value.
/// @param table  256 entries, or null: opacity from pow_table, grey levels
TracerColor classify(std::uint8_t value, const TracerColor* table);

}  // namespace zam::tracer
