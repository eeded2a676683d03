#include "modules/zam/ld_rdfld/ascii_values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "modules/support/common_decimal.h"

namespace zam::ldrf {
namespace {

constexpr bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// The forms that from_chars does not know: exponents with D, magnitudes beyond the type's range.
template <class Real>
const char* parse_unusual_real(const char* first, const char* last, Real& value) {
    const char* end = std::find_if(first, last, is_blank);
    std::string word(first, end);
    if (word.find_first_of("xXpP") != std::string::npos) return nullptr;  // strtod would read hexadecimal numbers
    std::replace(word.begin(), word.end(), 'D', 'E');
    std::replace(word.begin(), word.end(), 'd', 'e');
    char* parsed = nullptr;
    if constexpr (std::is_same_v<Real, float>)
        value = std::strtof(word.c_str(), &parsed);
    else
        value = std::strtod(word.c_str(), &parsed);
    return parsed == word.c_str() ? nullptr : first + (parsed - word.c_str());
}

template <class Real>
const char* parse_real(const char* first, const char* last, Real& value) {
    const auto fortran_exponent = [last](const char* end) { return end != last && (*end == 'D' || *end == 'd'); };
    const char* const common = read_common_decimal(first, last, value);
    if (common != nullptr && !fortran_exponent(common)) return common;
    const auto [end, error] = std::from_chars(first, last, value);
    if (error == std::errc{} && !fortran_exponent(end)) return end;
    return error == std::errc::invalid_argument ? nullptr : parse_unusual_real(first, last, value);
}

template <class Integer>
const char* parse_integer(const char* first, const char* last, Integer& value) {
    using Wide = std::conditional_t<sizeof(Integer) == 8, xp_long, std::int32_t>;
    Wide wide = 0;
    auto [end, error] = std::from_chars(first, last, wide);
    const bool real = end != last && (*end == '.' || *end == 'e' || *end == 'E' || *end == 'd' || *end == 'D');
    if (error == std::errc::invalid_argument || real) {
        double number = 0.0;
        end = parse_real(first, last, number);
        // 2^63 itself is representable and too large; a NaN fails both comparisons
        const double limit = -static_cast<double>(std::numeric_limits<Wide>::min());
        if (end == nullptr || !(number < limit && number >= -limit)) return nullptr;
        wide = static_cast<Wide>(number);
    } else if (error != std::errc{}) {
        return nullptr;
    }
    value = static_cast<Integer>(wide);
    return end;
}

}  // namespace

template <class T>
const char* parse_number(const char* first, const char* last, T& value) {
    if (first != last && *first == '+') {
        ++first;
        if (first != last && (*first == '-' || *first == '+')) return nullptr;
    }
    if constexpr (std::is_floating_point_v<T>)
        return parse_real(first, last, value);
    else
        return parse_integer(first, last, value);
}

void AsciiCursor::take_window() {
    const std::string_view window = bytes_.window();
    at_ = window.data();
    end_ = at_ + window.size();
}

/// Reads on after what is left; false if nothing was added.
bool AsciiCursor::refill() {
    if (at_end_of_file_) return false;
    bytes_.seek(position());
    at_end_of_file_ = !bytes_.extend_window();
    take_window();
    return !at_end_of_file_;
}

xp_long AsciiCursor::skip_lines(xp_long count) {
    for (xp_long line = 0; line < count; ++line) {
        const void* newline = nullptr;
        while (at_ == end_ || (newline = std::memchr(at_, '\n', static_cast<std::size_t>(end_ - at_))) == nullptr) {
            at_ = end_;
            if (!refill()) return line;
        }
        at_ = static_cast<const char*>(newline) + 1;
    }
    return count;
}

bool AsciiCursor::skip_blanks() {
    for (;;) {
        while (at_ != end_ && is_blank(*at_)) ++at_;
        if (at_ != end_) return true;
        if (!refill()) return false;
    }
}

xp_long AsciiCursor::skip_words(xp_long count) {
    for (xp_long word = 0; word < count; ++word) {
        if (!skip_blanks()) return word;
        for (;;) {
            while (at_ != end_ && !is_blank(*at_)) ++at_;
            if (at_ != end_ || !refill()) break;
        }
    }
    return count;
}

template <class T>
bool AsciiCursor::read(T& value) {
    if (!skip_blanks()) return false;
    // so that the word lies in one piece
    if (end_ - at_ <= kMaxNumberLength) refill();
    const char* limit = at_ + std::min(end_ - at_, kMaxNumberLength + 1);
    const char* end = parse_number(at_, limit, value);
    if (end == nullptr || end - at_ > kMaxNumberLength || (end != end_ && !is_blank(*end))) return false;
    at_ = end;
    return true;
}

template <class T>
xp_long AsciiCursor::read_run(xp_long count, std::byte* to, xp_long spacing) {
    T value{};
    for (xp_long i = 0; i < count; ++i) {
        if (!read(value)) return i;
        std::memcpy(to + i * spacing * static_cast<xp_long>(sizeof value), &value, sizeof value);
    }
    return count;
}

template const char* parse_number(const char*, const char*, float&);
template bool AsciiCursor::read(std::uint8_t&);
template bool AsciiCursor::read(std::int32_t&);
template bool AsciiCursor::read(double&);
template xp_long AsciiCursor::read_run<std::uint8_t>(xp_long, std::byte*, xp_long);
template xp_long AsciiCursor::read_run<std::int16_t>(xp_long, std::byte*, xp_long);
template xp_long AsciiCursor::read_run<std::int32_t>(xp_long, std::byte*, xp_long);
template xp_long AsciiCursor::read_run<xp_long>(xp_long, std::byte*, xp_long);
template xp_long AsciiCursor::read_run<float>(xp_long, std::byte*, xp_long);
template xp_long AsciiCursor::read_run<double>(xp_long, std::byte*, xp_long);

}  // namespace zam::ldrf
