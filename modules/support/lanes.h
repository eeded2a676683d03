// Lanes: values side by side in one vector, so that one operation works on all of them.
//
// The vectors are the compiler's (GCC and clang); no other source names one, or a builtin for them. Arithmetic and
// comparisons work lane by lane, a scalar stands for the same value in every lane, and v[i] is lane i. A comparison
// gives a mask: all bits of a lane are set, or none, so that a mask counts as -1 or 0.
//
// 16 bytes fit a register of every 64-bit processor. Wider vectors are not handed from function to function by value,
// since processors without registers for them have rules of their own for that: what takes or makes such vectors has
// references. All is inlined, so that callers translated for other sets of instructions can use it.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace zam {

namespace detail {

template <class T, int N>
struct VectorOf {
    typedef T type __attribute__((vector_size(N * sizeof(T))));
};

}  // namespace detail

/// N values of T, N being a power of 2.
template <class T, int N>
using Lanes = typename detail::VectorOf<T, N>::type;

/// The type of one lane of a vector, and the number of its lanes.
template <class V>
using LaneOf = std::remove_reference_t<decltype(std::declval<V&>()[0])>;
template <class V>
constexpr int kLanesOf = static_cast<int>(sizeof(V) / sizeof(LaneOf<V>));

/// What a comparison of two such vectors gives.
template <class V>
using MaskOf = decltype(std::declval<V>() < std::declval<V>());

// --- Making ---

/// The values of at(kFirst), at(kFirst + 1), ..., one per lane. Spelled out: a loop over lanes goes through memory.
template <class V, int kFirst = 0, class At>
[[gnu::always_inline]] inline V gather(const At& at) {
    return [&]<int... i>(std::integer_sequence<int, i...>) { return V{at(kFirst + i)...}; }
    (std::make_integer_sequence<int, kLanesOf<V>>{});
}

/// A value in all lanes.
template <class V>
[[gnu::always_inline]] inline V broadcast(LaneOf<V> value) {
    return gather<V>([=](int) { return value; });
}

// --- Masks and bits ---

/// The bits of each lane as an integer.
template <class V>
[[gnu::always_inline]] inline MaskOf<V> bits(V values) {
    return std::bit_cast<MaskOf<V>>(values);
}

/// The values where the mask is set, 0 elsewhere.
template <class V>
[[gnu::always_inline]] inline V keep(MaskOf<V> mask, V values) {
    return std::bit_cast<V>(bits(values) & mask);
}

/// The first values where the mask is set, the second elsewhere.
template <class V>
[[gnu::always_inline]] inline V select(MaskOf<V> mask, V set, V clear) {
    return mask ? set : clear;
}

/// Whether any lane is negative; of a mask: whether any is set. For integers of 32 or 64 bits in 16 bytes.
template <class V>
[[gnu::always_inline]] inline bool any_negative(V values) {
    const auto halves = std::bit_cast<Lanes<std::uint64_t, 2>>(values);
    constexpr std::uint64_t kSigns = sizeof(LaneOf<V>) == 4 ? 0x8000000080000000U : 0x8000000000000000U;
    return ((halves[0] | halves[1]) & kSigns) != 0;
}

// --- Other types ---

/// Each lane as another type: to the nearest, integers towards 0.
template <class V, class From>
[[gnu::always_inline]] inline void convert(const From& from, V& to) {
    to = __builtin_convertvector(from, V);
}
template <class V, class From>
[[gnu::always_inline]] inline V convert(From from) {
    return __builtin_convertvector(from, V);
}

/// Lanes in two registers.
template <class V>
struct Halves {
    V low, high;
};

/// From single to double precision and back.
[[gnu::always_inline]] inline Halves<Lanes<double, 2>> widen(Lanes<float, 4> values) {
    const auto wide = __builtin_convertvector(values, Lanes<double, 4>);
    return {__builtin_shufflevector(wide, wide, 0, 1), __builtin_shufflevector(wide, wide, 2, 3)};
}
[[gnu::always_inline]] inline Lanes<float, 4> narrow(Halves<Lanes<double, 2>> values) {
    return __builtin_convertvector(__builtin_shufflevector(values.low, values.high, 0, 1, 2, 3), Lanes<float, 4>);
}

// --- From lane to lane ---

/// Lanes of two vectors in the given order; those of the second are counted on from those of the first.
template <int... kOrder, class V>
[[gnu::always_inline]] inline auto shuffle(V first, V second) {
    return __builtin_shufflevector(first, second, kOrder...);
}

/// The value of one lane in all lanes.
template <int kLane, class V>
[[gnu::always_inline]] inline V broadcast(V values) {
    return [=]<int... i>(std::integer_sequence<int, i...>) { return shuffle<(0 * i + kLane)...>(values, values); }
    (std::make_integer_sequence<int, kLanesOf<V>>{});
}

/// The columns of a matrix of four rows.
[[gnu::always_inline]] inline std::array<Lanes<float, 4>, 4> transpose(Lanes<float, 4> a, Lanes<float, 4> b,
                                                                       Lanes<float, 4> c, Lanes<float, 4> d) {
    const auto ab_low = shuffle<0, 4, 1, 5>(a, b), ab_high = shuffle<2, 6, 3, 7>(a, b);
    const auto cd_low = shuffle<0, 4, 1, 5>(c, d), cd_high = shuffle<2, 6, 3, 7>(c, d);
    return {shuffle<0, 1, 4, 5>(ab_low, cd_low), shuffle<2, 3, 6, 7>(ab_low, cd_low),
            shuffle<0, 1, 4, 5>(ab_high, cd_high), shuffle<2, 3, 6, 7>(ab_high, cd_high)};
}

/// Loads four bytes as floats, by way of 16 and 32 bits.
[[gnu::always_inline]] inline Lanes<float, 4> load_bytes(const std::uint8_t* from) {
    using Bytes = Lanes<std::uint8_t, 16>;
    using Shorts = Lanes<std::uint16_t, 8>;
    using Ints = Lanes<std::int32_t, 4>;
    std::int32_t four;
    std::memcpy(&four, from, sizeof four);
    const auto bytes = std::bit_cast<Bytes>(Ints{four, 0, 0, 0});
    const auto shorts =
        std::bit_cast<Shorts>(shuffle<0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23>(bytes, Bytes{}));
    const auto ints = std::bit_cast<Ints>(shuffle<0, 8, 1, 9, 2, 10, 3, 11>(shorts, Shorts{}));
    return convert<Lanes<float, 4>>(ints);
}

}  // namespace zam
