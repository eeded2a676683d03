// Products of counts, in 64 bits.
#pragma once

#include <limits>
#include <optional>
#include <span>

#include "contract/types.h"

namespace zam {

/// The product of two counts; `nullopt` if one is negative or the product has more than 63 bits.
constexpr std::optional<xp_long> checked_product(xp_long a, xp_long b) {
    if (a < 0 || b < 0 || (a > 0 && b > std::numeric_limits<xp_long>::max() / a)) return std::nullopt;
    return a * b;
}

/// The product of any number of counts.
constexpr std::optional<xp_long> checked_product(std::span<const xp_long> counts) {
    std::optional<xp_long> product = 1;
    for (const xp_long count : counts) product = product ? checked_product(*product, count) : std::nullopt;
    return product;
}

}  // namespace zam
