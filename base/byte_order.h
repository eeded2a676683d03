// Reversing the bytes of values, in place.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "base/element_types.h"

namespace zam {

inline std::uint16_t reversed(std::uint16_t v) { return static_cast<std::uint16_t>(v << 8 | v >> 8); }
inline std::uint32_t reversed(std::uint32_t v) { return v << 24 | (v & 0xff00U) << 8 | (v >> 8 & 0xff00U) | v >> 24; }
inline std::uint64_t reversed(std::uint64_t v) {
    return std::uint64_t{reversed(static_cast<std::uint32_t>(v))} << 32 | reversed(static_cast<std::uint32_t>(v >> 32));
}

/// Reverses the bytes of each of `count` values as wide as Word.
template <class Word>
void reverse_bytes(std::byte* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, values + i * sizeof word, sizeof word);
        word = reversed(word);
        std::memcpy(values + i * sizeof word, &word, sizeof word);
    }
}

/// As above, of `count` elements of a type.
inline void reverse_bytes(int type, std::byte* values, std::size_t count) {
    with_type(type, [&](auto zero) {
        using Wide = std::conditional_t<sizeof zero == 4, std::uint32_t, std::uint64_t>;
        using Word = std::conditional_t<sizeof zero == 2, std::uint16_t, Wide>;
        if constexpr (sizeof zero > 1) reverse_bytes<Word>(values, count);
    });
}

}  // namespace zam
