#include "modules/zam/readers/voxel_numbers.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace zam::voxel {
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

template <char kSeparator>
int count_fields(std::string_view line) {
    Fields<kSeparator> fields(line);
    float number = 0.0F;
    int count = 0;
    while (fields.next(number) != Fields<kSeparator>::Next::end) ++count;
    return count;
}

}  // namespace

float to_number(std::string_view field) {
    const auto first = field.find_first_not_of(" \t\n\v\f\r");
    if (first == std::string_view::npos) return 0.0F;
    field.remove_prefix(first);
    if (field.front() == '+') {
        field.remove_prefix(1);
        if (field.empty() || field.front() == '-') return 0.0F;
    }
    double value = 0.0;
    const auto result = std::from_chars(field.data(), field.data() + field.size(), value);
    if (result.ec == std::errc::result_out_of_range) value = beyond_range(field);
    return result.ec == std::errc::invalid_argument ? 0.0F : static_cast<float>(value);
}

char separator_of(std::string_view line) { return line.find(',') == std::string_view::npos ? ' ' : ','; }

int count_fields(std::string_view line, char separator) {
    return separator == ',' ? count_fields<','>(line) : count_fields<' '>(line);
}

}  // namespace zam::voxel
