// Smallest and largest values of long arrays.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace zam::host {

/// Limits of the values of every lane: value i belongs to lane i modulo kLanes. Lanes do not wait for one another, and
/// their number is a multiple of 1, 2 and 3, so that a lane always sees the same component of a position.
template <class T>
struct LaneLimits {
    static constexpr std::size_t kLanes = 24;

    std::array<T, kLanes> low;
    std::array<T, kLanes> high;

    LaneLimits() {
        using Known = std::numeric_limits<T>;
        low.fill(Known::has_infinity ? Known::infinity() : Known::max());
        high.fill(Known::has_infinity ? -Known::infinity() : Known::lowest());
    }

    /// Takes the values that `counts`. Comparisons leave out what is not a number.
    template <class Counts>
    void take(const T* values, std::size_t count, Counts counts) {
        for (; count >= kLanes; values += kLanes, count -= kLanes) take_lanes(values, kLanes, counts);
        take_lanes(values, count, counts);
    }

    T minimum(std::size_t first = 0, std::size_t step = 1) const {
        T least = low[first];
        for (std::size_t lane = first; lane < kLanes; lane += step) least = std::min(least, low[lane]);
        return least;
    }
    T maximum(std::size_t first = 0, std::size_t step = 1) const {
        T most = high[first];
        for (std::size_t lane = first; lane < kLanes; lane += step) most = std::max(most, high[lane]);
        return most;
    }

private:
    template <class Counts>
    void take_lanes(const T* values, std::size_t lanes, Counts counts) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const T value = values[lane];
            const bool counted = counts(value);
            low[lane] = counted && value < low[lane] ? value : low[lane];
            high[lane] = counted && value > high[lane] ? value : high[lane];
        }
    }
};

}  // namespace zam::host
