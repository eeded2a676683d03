// Numbers that JSON does not have, and the texts that stand for them.
#pragma once

#include <limits>
#include <optional>
#include <string_view>

namespace zam::session {

/// What "nan", "inf" and "-inf" stand for; `nullopt` for any other text.
inline std::optional<double> special_number(std::string_view text) {
    if (text == "nan") return std::numeric_limits<double>::quiet_NaN();
    if (text == "inf") return std::numeric_limits<double>::infinity();
    if (text == "-inf") return -std::numeric_limits<double>::infinity();
    return std::nullopt;
}

/// The text of a number that is not finite.
inline const char* special_text(double value) {
    if (value != value) return "nan";
    return value > 0 ? "inf" : "-inf";
}

}  // namespace zam::session
