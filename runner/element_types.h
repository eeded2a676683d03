// Element types of arrays: the contract's codes, their names in network files, their C++ types.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "contract/types.h"

namespace zam::runner {

constexpr std::array<std::string_view, 7> kTypeNames{"char", "byte", "short", "int", "float", "double", "long"};

constexpr bool is_type(int type) { return type >= 0 && type < static_cast<int>(kTypeNames.size()); }

/// The name of a type code that exists.
constexpr std::string_view type_name(int type) { return kTypeNames[static_cast<std::size_t>(type)]; }

constexpr std::optional<int> type_from_name(std::string_view name) {
    for (int type = 0; is_type(type); ++type) {
        if (type_name(type) == name) return type;
    }
    return std::nullopt;
}

/// Calls `use` with a zero of the element type; raw characters count as unsigned bytes.
template <class Use>
constexpr auto with_type(int type, Use&& use) {
    switch (type) {
        case DTYPE_SHORT: return use(std::int16_t{0});
        case DTYPE_INT: return use(std::int32_t{0});
        case DTYPE_FLOAT: return use(0.0F);
        case DTYPE_DOUBLE: return use(0.0);
        case DTYPE_LONG: return use(xp_long{0});
        default: return use(std::uint8_t{0});
    }
}

constexpr std::size_t type_size(int type) {
    return with_type(type, [](auto zero) { return sizeof zero; });
}

/// a x b, or nothing when it does not fit or a factor is negative.
constexpr std::optional<xp_long> checked_product(xp_long a, xp_long b) {
    xp_long product = 0;
    if (a < 0 || b < 0 || __builtin_mul_overflow(a, b, &product)) return std::nullopt;
    return product;
}

}  // namespace zam::runner
