// Arrays of the host that a memory budget allows, and products of counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

#include "modules/support/host_array.h"
#include "platform/memory_budget.h"

namespace zam {

/// The budget of one update of a module. A module takes from it whatever parameters or files alone make large, its own
/// scratch memory included; arrays of a few values need no budget.
class MemoryBudget : public platform::MemoryBudget {
public:
    /// An array for the host; empty when it does not fit or cannot be allocated.
    template <class T>
    OutArray<T> allocate(xp_long count, SourcePlace where = SourcePlace::here()) {
        return take(count, sizeof(T)) ? OutArray<T>::allocate(count, where) : OutArray<T>();
    }
    /// As allocate(), with a type code that is known only at run time.
    template <class T = std::byte>
    OutArray<T> allocate_as(int type, xp_long count, SourcePlace where = SourcePlace::here()) {
        const std::size_t bytes = type_size(type);
        return bytes > 0 && take(count, bytes) ? OutArray<T>::allocate_as(type, count, where) : OutArray<T>();
    }
};

/// The product of two counts; nothing when one is negative or the product has more than 64 bits.
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
