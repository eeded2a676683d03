// Conversions of fields value by value: the yardstick of session/convert/lane_kernels.h.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <span>
#include <type_traits>

#include "session/convert/resample.h"

namespace zam {

template <class T>
bool plain_is_null(T value, const std::optional<T>& null_value) {
    return null_value && (value == *null_value || (value != value && *null_value != *null_value));
}

/// The nearest element; the end of long, 2^63, is the largest.
template <class T>
T plain_nearest(double value) {
    if constexpr (!std::is_integral_v<T>) return static_cast<T>(value);
    if (value >= 0x1p63) return std::numeric_limits<T>::max();
    return static_cast<T>(std::nearbyint(value));
}

template <class To, class From>
To plain_scaled(From value, const std::optional<From>& null_value, const std::array<double, 2>& range) {
    constexpr To kLowest = std::numeric_limits<To>::min(), kHighest = std::numeric_limits<To>::max();
    if (plain_is_null(value, null_value) || std::isnan(static_cast<double>(value))) return kLowest;
    if (range[0] == range[1]) return static_cast<double>(value) > range[0] ? kHighest : kLowest;
    const double share = std::isfinite(range[1] - range[0]) ? 1.0 : 0.5;
    const double low = range[0] * share;
    const double extent = range[1] * share - low;
    const auto lowest = static_cast<double>(kLowest), highest = static_cast<double>(kHighest);
    const double scaled = (static_cast<double>(value) * share - low) * ((highest - lowest) / extent) + lowest;
    if (!(scaled > lowest)) return kLowest;
    return scaled < highest ? plain_nearest<To>(scaled) : kHighest;
}

template <class T>
std::array<double, 2> plain_range(std::span<const T> values, const std::optional<T>& null_value) {
    std::optional<std::array<double, 2>> range;
    for (const T value : values) {
        const auto real = static_cast<double>(value);
        if (plain_is_null(value, null_value) || !std::isfinite(real)) continue;
        range = range ? std::array{std::min((*range)[0], real), std::max((*range)[1], real)} : std::array{real, real};
    }
    return range.value_or(std::array<double, 2>{});
}

/// Part `part` of a node of a resampled grid.
template <class T>
T plain_resampled(std::span<const T> values, xp_long veclen, const std::optional<T>& null_value,
                  const std::vector<xp_long>& dims, const std::vector<session::AxisWeights>& axes,
                  std::array<std::size_t, 3> node, xp_long part) {
    const auto along = [&](const auto& self, std::size_t axes_left, xp_long first, xp_long stride) -> double {
        if (axes_left == 0) {
            const T value = values[static_cast<std::size_t>(first * veclen + part)];
            return plain_is_null(value, null_value) ? std::nan("") : static_cast<double>(value);
        }
        const std::size_t axis = axes_left - 1;
        const xp_long below = stride / dims[axis];  // nodes from one to the next along this axis
        const xp_long low = first + axes[axis].low[node[axis]] * below;
        const double weight = axes[axis].weight[node[axis]];
        const double value = self(self, axis, low, below);
        return weight == 0.0 ? value : value + (self(self, axis, low + below, below) - value) * weight;
    };
    xp_long nodes = 1;
    for (const xp_long size : dims) nodes *= size;
    const double value = along(along, dims.size(), 0, nodes);
    if (!std::isnan(value)) return plain_nearest<T>(value);
    return null_value.value_or(std::numeric_limits<T>::quiet_NaN());
}

}  // namespace zam
