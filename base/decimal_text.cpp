#include "base/decimal_text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace zam {
namespace {

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// Decimal exponent written at the front of `text`, "e+400" say; 0 without one. Long ones stop growing.
long long exponent_of(std::string_view text) {
    if (text.empty() || (text.front() != 'e' && text.front() != 'E')) return 0;
    text.remove_prefix(1);
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
    long long exponent = 0;
    for (const char c : text) {
        if (!is_digit(c)) break;
        exponent = std::min(exponent * 10 + (c - '0'), 1'000'000LL);
    }
    return negative ? -exponent : exponent;
}

/// The value of a number beyond the range of double: infinite, or 0 if it is too small.
double beyond_range(std::string_view text) {
    const bool negative = text.front() == '-';
    if (negative) text.remove_prefix(1);
    long long digits_before_point = 0;  // from the first digit that is not 0; negative: zeros after the point
    bool after_point = false;
    bool significant = false;
    std::size_t i = 0;
    for (; i < text.size() && (is_digit(text[i]) || (text[i] == '.' && !after_point)); ++i) {
        if (text[i] == '.') {
            after_point = true;
            continue;
        }
        significant = significant || text[i] != '0';
        if (significant && !after_point) ++digits_before_point;
        if (!significant && after_point) --digits_before_point;
    }
    const bool large = significant && digits_before_point + exponent_of(text.substr(i)) > 0;
    const double magnitude = large ? std::numeric_limits<double>::infinity() : 0.0;
    return negative ? -magnitude : magnitude;
}

}  // namespace

double read_decimal(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\n\v\f\r");
    if (first == std::string_view::npos) return 0.0;
    text.remove_prefix(first);
    if (text.front() == '+') {
        text.remove_prefix(1);
        if (text.empty() || text.front() == '-') return 0.0;
    }
    double value = 0.0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range) return beyond_range(text);
    return result.ec == std::errc::invalid_argument ? 0.0 : value;
}

}  // namespace zam
