// Numbers as texts with a decimal point, whatever the process' locale says.
#pragma once

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

#include "base/decimal_text.h"

namespace zam::platform {

/// As strtod in the C locale of C99, which not every system's has: with hexadecimal numbers.
inline double parse_real(std::string_view text) {
    std::string_view digits = text.substr(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool negative = digits.starts_with('-');
    if (negative || digits.starts_with('+')) digits.remove_prefix(1);
    if (!digits.starts_with("0x") && !digits.starts_with("0X")) return read_decimal(text);
    digits.remove_prefix(2);
    if (digits.find_first_of("0123456789ABCDEFabcdef.") != 0) return negative ? -0.0 : 0.0;
    double value = 0.0;
    const char* const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, value, std::chars_format::hex);
    if (error == std::errc::result_out_of_range) {
        const std::string_view power = digits.substr(std::min(digits.find_first_of("pP"), digits.size()));
        value = power.starts_with("p-") || power.starts_with("P-") ? 0.0 : std::numeric_limits<double>::infinity();
    }
    return negative ? -value : value;
}

}  // namespace zam::platform
