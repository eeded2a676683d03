// Single numbers of any type code.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <type_traits>

#include "base/element_types.h"

namespace zam::host {

/// A real as an integer type, truncated toward zero; `nullopt` if it is not finite or does not fit.
template <class Integer>
std::optional<Integer> truncated(double value) {
    // a power of two: exact also where the largest integer has more digits than a double, and is rounded up to it
    constexpr double kMax = static_cast<double>(std::numeric_limits<Integer>::max());
    constexpr double kBeyond =
        std::numeric_limits<Integer>::digits > std::numeric_limits<double>::digits ? kMax : kMax + 1.0;
    constexpr double kLowest = static_cast<double>(std::numeric_limits<Integer>::min());
    const double whole = std::trunc(value);
    if (!(whole >= kLowest && whole < kBeyond)) return std::nullopt;
    return static_cast<Integer>(whole);
}

/// One number, exact for every type code.
class Number {
public:
    /// Reads one value of `type`, which must exist.
    static Number read(int type, const void* from) {
        return with_type(type, [&](auto value) {
            std::memcpy(&value, from, sizeof value);
            return Number(value);
        });
    }

    template <class T>
    requires std::is_arithmetic_v<T>
    explicit Number(T value) : integral_(std::is_integral_v<T>) {
        if constexpr (std::is_integral_v<T>) {
            integer_ = value;
        } else {
            real_ = value;
        }
    }

    double real() const { return integral_ ? static_cast<double>(integer_) : real_; }

    /// The number as a T; `nullopt` if an integer T cannot hold it.
    template <class T>
    std::optional<T> to() const {
        if constexpr (std::is_floating_point_v<T>) {
            return static_cast<T>(real());
        } else {
            if (!integral_) return truncated<T>(real_);
            if (integer_ < std::numeric_limits<T>::min() || integer_ > std::numeric_limits<T>::max()) {
                return std::nullopt;
            }
            return static_cast<T>(integer_);
        }
    }

    /// Writes it as one value of `type`; false, and nothing written, if it does not fit.
    bool write(int type, void* to_place) const {
        return with_type(type, [&](auto zero) {
            const auto value = to<decltype(zero)>();
            if (value) std::memcpy(to_place, &*value, sizeof *value);
            return value.has_value();
        });
    }

private:
    bool integral_;
    xp_long integer_ = 0;
    double real_ = 0.0;
};

}  // namespace zam::host
