// What a value's "convert" asks for: a field made of another one.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "contract/types.h"
#include "session/document/cursor.h"

namespace zam::session {

/// Steps of a conversion, in the order in which they are applied; each may be left out.
struct Conversion {
    std::vector<std::variant<xp_long, std::string>> components;  // kept, by number or label; empty: all
    bool vector = false;                                         // joins them
    std::vector<std::array<xp_long, 2>> crop;                    // first and last node per axis, x first
    std::vector<xp_long> resample;                               // nodes per axis, x first
    bool magnitude = false;
    bool automatic_range = false;  // from the smallest to the largest finite value
    std::optional<std::array<double, 2>> range;
    std::optional<int> type;
};

/// Reads the object at "convert". `nullopt` after a problem.
std::optional<Conversion> read_conversion(const Cursor& cursor);

}  // namespace zam::session
