// Decimal numbers of the common kind, converted without the generality that from_chars has to have.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace zam {

/// Gathers digits one by one: most numbers have so few that blocks of eight or sixteen take longer.
struct DecimalDigits {
    const char* at;
    const char* last;
    std::uint64_t value = 0;

    void gather() {
        for (; at != last && static_cast<unsigned char>(*at - '0') < 10; ++at) {
            value = value * 10 + static_cast<unsigned char>(*at - '0');
        }
    }
};

/// Whether a double >= 0, wrong by up to four units in its last place, becomes the same float as the number that it
/// stands for. It may not if it is about half way between two floats, or beyond them.
inline bool rounds_safely_to_float(double value) {
    if (value > static_cast<double>(std::numeric_limits<float>::max())) return false;
    constexpr std::uint64_t kHalf = std::uint64_t{1} << 28;  // the bits of a double below those of a float
    constexpr std::uint64_t kMargin = 4;
    return ((std::bit_cast<std::uint64_t>(value) - kHalf + kMargin) & (2 * kHalf - 1)) > 2 * kMargin;
}

/// 10^power, -22 to 22; exact from 10^0 on.
inline double power_of_ten(std::ptrdiff_t power) {
    static constexpr std::array kPowers{
        1e-22, 1e-21, 1e-20, 1e-19, 1e-18, 1e-17, 1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11, 1e-10, 1e-9, 1e-8,
        1e-7,  1e-6,  1e-5,  1e-4,  1e-3,  1e-2,  1e-1,  1e0,   1e1,   1e2,   1e3,   1e4,   1e5,   1e6,  1e7,
        1e8,   1e9,   1e10,  1e11,  1e12,  1e13,  1e14,  1e15,  1e16,  1e17,  1e18,  1e19,  1e20,  1e21, 1e22};
    return kPowers[static_cast<std::size_t>(power + static_cast<std::ptrdiff_t>(kPowers.size() / 2))];
}
constexpr std::ptrdiff_t kMaxPowerOfTen = 22;

/// Reads an exponent with its E, if there is one at `at`, and adds it to `power`.
/// @return the place after it; null if it has no digits, or more than any number needs
inline const char* add_exponent(const char* at, const char* last, std::ptrdiff_t& power) {
    constexpr std::ptrdiff_t kMaxDigits = 4;
    if (at == last || (*at != 'e' && *at != 'E')) return at;
    if (++at == last) return nullptr;
    const bool small = *at == '-';
    if (small || *at == '+') ++at;
    DecimalDigits digits{at, last};
    digits.gather();
    if (digits.at == at || digits.at - at > kMaxDigits) return nullptr;
    const auto exponent = static_cast<std::ptrdiff_t>(digits.value);
    power += small ? -exponent : exponent;
    return digits.at;
}

/// Reads a number that a text begins with, as from_chars does and to the same bits, if it is of the common kind:
/// perhaps a minus sign, then at most 18 digits, perhaps with a point and an exponent with E. Digits and power of ten
/// that are exact as doubles give the nearest double (Clinger, "How to read floating point numbers accurately"). For a
/// float it is enough to be near: it is also what the nearest double would be rounded to.
/// @return the place after the number; null if it is of another kind, or no number
template <class Real>
const char* read_common_decimal(const char* first, const char* last, Real& value) {
    constexpr std::ptrdiff_t kMaxDigits = std::numeric_limits<std::int64_t>::digits10;
    const bool negative = first != last && *first == '-';
    const char* const begin = first + (negative ? 1 : 0);
    DecimalDigits digits{begin, last};
    digits.gather();
    std::ptrdiff_t count = digits.at - begin;
    std::ptrdiff_t power = 0;
    if (digits.at != last && *digits.at == '.') {
        const char* const fraction = ++digits.at;
        digits.gather();
        power = fraction - digits.at;
        count -= power;
    }
    if (count == 0 || count > kMaxDigits) return nullptr;
    const char* const end = add_exponent(digits.at, last, power);
    if (end == nullptr || power < -kMaxPowerOfTen || power > kMaxPowerOfTen) return nullptr;

    const auto whole = static_cast<double>(static_cast<std::int64_t>(digits.value));
    double magnitude = whole * power_of_ten(power);
    if constexpr (std::is_same_v<Real, float>) {
        if (!rounds_safely_to_float(magnitude)) return nullptr;
    } else {
        if (digits.value >> std::numeric_limits<double>::digits != 0) return nullptr;
        if (power < 0) magnitude = whole / power_of_ten(-power);
    }
    value = static_cast<Real>(negative ? -magnitude : magnitude);
    return end;
}

}  // namespace zam
