// Element types of arrays: the contract's codes, their C++ types, their sizes and names.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>

#include "contract/types.h"

namespace zam {

/// Type code of an element type.
template <class T>
constexpr int kTypeCode = [] {
    using U = std::remove_cv_t<T>;
    if constexpr (std::is_same_v<U, char> || std::is_same_v<U, std::byte>) return int{DTYPE_CHAR};
    if constexpr (std::is_same_v<U, std::uint8_t>) return int{DTYPE_BYTE};
    if constexpr (std::is_same_v<U, std::int16_t>) return int{DTYPE_SHORT};
    if constexpr (std::is_same_v<U, std::int32_t>) return int{DTYPE_INT};
    if constexpr (std::is_same_v<U, float>) return int{DTYPE_FLOAT};
    if constexpr (std::is_same_v<U, double>) return int{DTYPE_DOUBLE};
    if constexpr (std::is_same_v<U, xp_long>) return int{DTYPE_LONG};
}();

/// Their names in network files and in print, by code.
constexpr std::array<std::string_view, 7> kTypeNames{"char", "byte", "short", "int", "float", "double", "long"};

/// Whether a type code exists.
constexpr bool is_type(int type) { return type >= 0 && type < static_cast<int>(kTypeNames.size()); }

/// @pre  the type code exists
constexpr std::string_view type_name(int type) { return kTypeNames[static_cast<std::size_t>(type)]; }

constexpr std::optional<int> type_from_name(std::string_view name) {
    for (int type = 0; is_type(type); ++type) {
        if (type_name(type) == name) return type;
    }
    return std::nullopt;
}

/// Calls `use` with a zero of the element type: with_type(type, [&](auto zero) { using T = decltype(zero); ... }). Raw
/// bytes, and codes that do not exist, count as unsigned bytes.
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

/// Bytes of one element; 0 for a code that does not exist.
constexpr std::size_t type_size(int type) {
    return is_type(type) ? with_type(type, [](auto zero) { return sizeof zero; }) : 0;
}

}  // namespace zam
