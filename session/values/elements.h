// Numbers as elements of any type.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

#include "contract/types.h"

namespace zam::session {

/// A real as an element; `nullopt` if it does not fit. Whole element types take whole numbers in their range.
template <class T>
std::optional<T> exact_element(double value) {
    if constexpr (std::is_floating_point_v<T>) {
        const auto narrowed = static_cast<T>(value);
        if (std::isinf(narrowed) && !std::isinf(value)) return std::nullopt;
        return narrowed;
    } else {
        constexpr auto kLow = static_cast<double>(std::numeric_limits<T>::min());
        constexpr auto kHigh = static_cast<double>(std::numeric_limits<T>::max());  // for long: 2^63, not included
        const bool in_range = value >= kLow && (sizeof(T) < sizeof(xp_long) ? value <= kHigh : value < kHigh);
        if (!in_range || std::trunc(value) != value) return std::nullopt;
        return static_cast<T>(value);
    }
}

template <class T>
std::optional<T> exact_element(std::int64_t value) {
    if constexpr (std::is_integral_v<T>) {
        if (!std::in_range<T>(value)) return std::nullopt;
    }
    return static_cast<T>(value);
}

/// As above; whole element types take the nearest whole number, the even one of two as near.
template <class T>
std::optional<T> nearest_element(double value) {
    return exact_element<T>(std::is_integral_v<T> ? std::nearbyint(value) : value);
}

}  // namespace zam::session
