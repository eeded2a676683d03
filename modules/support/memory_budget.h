// Allocations that parameters alone make large. A system that lends more memory than it has would end the process when
// such arrays are filled; they are refused instead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

#include "modules/support/host_array.h"
#include "platform/memory.h"

namespace zam {

/// What one update may allocate: as much as the machine has.
class MemoryBudget {
public:
    /// Whether `count` elements fit into what is left; if so they are counted.
    bool take(xp_long count, std::size_t element_bytes) {
        const auto bytes = static_cast<std::int64_t>(element_bytes);
        if (count < 0 || count > left_ / bytes) return false;
        left_ -= count * bytes;
        return true;
    }

    /// An array for the host; empty when it does not fit or cannot be allocated.
    template <class T>
    OutArray<T> allocate(xp_long count, SourcePlace where = SourcePlace::here()) {
        return take(count, sizeof(T)) ? OutArray<T>::allocate(count, where) : OutArray<T>();
    }
    /// As allocate(), with a type code that is known only at run time.
    OutArray<std::byte> allocate_as(int type, xp_long count, SourcePlace where = SourcePlace::here()) {
        const std::size_t bytes = type_size(type);
        return bytes > 0 && take(count, bytes) ? OutArray<std::byte>::allocate_as(type, count, where)
                                               : OutArray<std::byte>();
    }

private:
    std::int64_t left_ = platform::physical_memory();
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
