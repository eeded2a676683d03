// Ticks are whole multiples of a decimal step, so that their texts are exact, whatever binary fractions make of them.
#include "session/outputs/ticks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace zam::session {
namespace {

/// count x 10^exponent.
struct Decimal {
    std::int64_t count = 0;
    int exponent = 0;

    double value() const {
        std::string text = std::to_string(count);
        text.append("e").append(std::to_string(exponent));
        double number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);  // stays 0 where no double is as small
        return number;
    }
};

/// The nearest decimal of so many digits.
Decimal nearest_decimal(double value, int digits) {
    std::array<char, 40> text{};
    const auto* end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific, digits - 1).ptr;
    const std::string_view written(text.data(), static_cast<std::size_t>(end - text.data()));
    const auto e = written.find('e');
    std::string mantissa(written.substr(0, e));
    std::erase(mantissa, '.');
    Decimal decimal;
    std::from_chars(mantissa.data(), mantissa.data() + mantissa.size(), decimal.count);
    const char* exponent = written.data() + e + (written[e + 1] == '+' ? 2 : 1);
    std::from_chars(exponent, end, decimal.exponent);
    decimal.exponent -= digits - 1;
    if (decimal.count == 0) return {};
    for (; decimal.count % 10 == 0; decimal.count /= 10) ++decimal.exponent;
    return decimal;
}

/// The least step of 1, 2 or 5 times a power of ten that is not below a number.
Decimal round_step(double least) {
    int exponent = static_cast<int>(std::floor(std::log10(least)));
    for (;; ++exponent) {
        for (const std::int64_t count : {1, 2, 5}) {
            const Decimal step{count, exponent};
            if (step.value() >= least * (1 - 1e-9)) return step;
        }
    }
}

std::string superscript(int number) {
    constexpr std::string_view kDigits[] = {"⁰", "¹", "²", "³", "⁴", "⁵", "⁶", "⁷", "⁸", "⁹"};
    std::string text(number < 0 ? "⁻" : "");
    for (const char digit : std::to_string(std::abs(number))) text += kDigits[digit - '0'];
    return text;
}

/// "−0.25" with so many decimals.
std::string plain_text(const Decimal& decimal) {
    std::string digits = std::to_string(std::abs(decimal.count));
    if (decimal.exponent >= 0) {
        if (decimal.count != 0) digits.append(static_cast<std::size_t>(decimal.exponent), '0');
    } else {
        const auto decimals = static_cast<std::size_t>(-decimal.exponent);
        if (digits.size() <= decimals) digits.insert(0, decimals + 1 - digits.size(), '0');
        digits.insert(digits.size() - decimals, 1, '.');
    }
    return (decimal.count < 0 ? "−" : "") + digits;
}

/// "−2.5×10⁻³⁰"
std::string power_text(const Decimal& decimal) {
    if (decimal.count == 0) return "0";
    std::string digits = std::to_string(std::abs(decimal.count));
    const int power = decimal.exponent + static_cast<int>(digits.size()) - 1;
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.size() > 1) digits.insert(1, 1, '.');
    std::string text(decimal.count < 0 ? "−" : "");
    if (digits != "1") text.append(digits).append("×");
    return text.append("10").append(superscript(power));
}

/// Whether a number is easily read without a power of ten.
bool is_plain(const Decimal& largest) {
    constexpr int kMaxWhole = 6;     // digits before the point
    constexpr int kMaxDecimals = 5;  // and behind it
    const int whole = largest.exponent + static_cast<int>(std::to_string(std::abs(largest.count)).size());
    return largest.count == 0 || (whole <= kMaxWhole && -largest.exponent <= kMaxDecimals);
}

Tick single_tick(double value) {
    constexpr int kDigits = 6;
    const Decimal decimal = nearest_decimal(value, kDigits);
    return {value, is_plain(decimal) ? plain_text(decimal) : power_text(decimal)};
}

}  // namespace

std::vector<Tick> round_ticks(double low, double high, int at_most) {
    constexpr double kMaxCount = 1e15;                // steps from zero that are still exact
    const double half_span = high * 0.5 - low * 0.5;  // the whole one may be no finite number
    const double middle = low + half_span;
    if (!(half_span > 0) || half_span < std::max(std::abs(low), std::abs(high)) / kMaxCount)
        return {single_tick(middle)};
    const Decimal step = round_step(std::max(half_span / (at_most - 1) * 2, 1e-307));
    const double width = step.value();
    constexpr double kSlack = 1e-9;  // ends that miss a step by rounding
    const auto first = static_cast<std::int64_t>(std::ceil(low / width - kSlack));
    const auto last = static_cast<std::int64_t>(std::floor(high / width + kSlack));
    if (first > last) return {single_tick(middle)};
    const Decimal largest{std::max(std::abs(first), std::abs(last)) * step.count, step.exponent};
    std::vector<Tick> ticks;
    ticks.reserve(static_cast<std::size_t>(last - first + 1));
    for (std::int64_t i = first; i <= last; ++i) {
        const Decimal decimal{i * step.count, step.exponent};
        ticks.push_back({decimal.value(), is_plain(largest) ? plain_text(decimal) : power_text(decimal)});
    }
    return ticks;
}

}  // namespace zam::session
