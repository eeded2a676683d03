// Loops over many values, side by side in lanes. Arrays need no alignment; null values are of the type of the values,
// and a null pointer where there is none.
#pragma once

#include <array>
#include <cstddef>
#include <limits>

#include "contract/types.h"

namespace zam::session {

/// From a range to the whole range of a whole type: (value * share - start) * factor above the lowest element.
struct LinearScale {
    double share = 1.0;
    double start = 0.0;
    double factor = 0.0;
    double lowest = 0.0;  // what lies outside is clamped, nulls and what is not a number become the lowest
    double highest = 0.0;
};

/// The nearest elements of scaled values, the even one of two as near.
/// @param to_type  a whole one
void scale_values(int from_type, const std::byte* from, xp_long count, const std::byte* null_value,
                  const LinearScale& scale, int to_type, std::byte* to);

/// Smallest and largest value; as long as there is none, the smallest is the greater one.
struct ValueLimits {
    double smallest = std::numeric_limits<double>::infinity();
    double largest = -std::numeric_limits<double>::infinity();
};

/// Widens limits by all values that are finite and not null. Zero has no sign there.
void widen_limits(int type, const std::byte* values, xp_long count, const std::byte* null_value, ValueLimits& limits);

/// Values as doubles, nulls as not-a-number.
void load_values(int type, const std::byte* values, xp_long count, const std::byte* null_value, double* to);

/// Interpolates between neighbours: node i of the new ones lies after node low[i] of the old ones by weight[i]. Where
/// that is 0, it is node low[i], whatever the next one is.
/// @param from   the old nodes of `veclen` values each, and room for one more after them
/// @param count  of new nodes
void interpolate_nodes(const double* from, xp_long veclen, const xp_long* low, const double* weight, xp_long count,
                       double* to);

/// Four rows, two by two, and the shares of the second row of each two, and of the second two.
struct RowBlend {
    std::array<const double*, 4> rows{};
    double in_two = 0.0;
    double of_twos = 0.0;  // a share of 0 leaves out what it is the share of
};

/// Interpolates between rows: the nearest elements for whole types. What is not a number becomes the null value;
/// without one, in types that are not whole, always the same not-a-number.
void blend_rows(const RowBlend& blend, xp_long count, int type, const std::byte* null_value, std::byte* to);

}  // namespace zam::session
