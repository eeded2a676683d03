#include "modules/zam/readers/voxel_numbers.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "modules/zam/readers/voxel_lines.h"

namespace zam::voxel {
namespace {

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_blank(char c) { return c == ' ' || c == '\t'; }

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

/// What a number beyond the range of double is: infinite, or 0 when it is too small.
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

bool is_missing(std::string_view field) { return field.find_first_not_of(' ') == std::string_view::npos; }

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

std::optional<std::string_view> Fields::next() {
    if (separator_ == ' ') rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
    if (rest_.empty()) return std::nullopt;
    const auto length = std::min(rest_.find(separator_), rest_.size());
    const std::string_view field = rest_.substr(0, length);
    rest_.remove_prefix(std::min(length + 1, rest_.size()));
    return field;
}

char separator_of(std::string_view line) { return line.find(',') == std::string_view::npos ? ' ' : ','; }

int count_fields(std::string_view line, char separator) {
    Fields fields(line, separator);
    int count = 0;
    while (fields.next()) ++count;
    return count;
}

bool read_ordinary_line(std::string_view line, char separator, std::span<float> numbers) {
    if (line.size() > kMaxLine / 2) return false;  // tabs might push the end of the line over its limit
    const char* at = line.data();
    const char* const end = at + line.size();
    const auto skip_blanks = [&] {
        while (at != end && is_blank(*at)) ++at;
    };
    const auto at_line_end = [&] {
        return at == end || *at == '\n' || (*at == '\r' && at + 1 != end && at[1] == '\n');
    };
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        skip_blanks();
        if (separator == ',' && i > 0) {
            if (at == end || *at != ',') return false;
            ++at;
            skip_blanks();
        }
        double value = 0.0;
        const auto result = std::from_chars(at, end, value);
        if (result.ec != std::errc{}) return false;
        at = result.ptr;
        if (!at_line_end() && !is_blank(*at) && *at != separator) return false;
        numbers[i] = static_cast<float>(value);
    }
    skip_blanks();
    if (at_line_end()) return true;
    if (separator == ',' && *at != ',') return false;
    return std::memchr(at, '#', static_cast<std::size_t>(end - at)) == nullptr;
}

}  // namespace zam::voxel
