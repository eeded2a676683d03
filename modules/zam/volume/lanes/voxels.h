// What nodes hold: read one after the other, turned into opacities and colours on lanes.
#if defined(ZAM_TRACER_VOXELS) == defined(HWY_TARGET_TOGGLE)  // read anew per target
#ifdef ZAM_TRACER_VOXELS
#undef ZAM_TRACER_VOXELS
#else
#define ZAM_TRACER_VOXELS
#endif

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "modules/zam/volume/lanes/doubles.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {  // only ray_march.cpp includes this

/// Opacity (0 to 1), red, green, blue (0 to 255), each of all lanes.
struct Colors {
    Floats channel[4];
};

/// One byte per node: an entry of the table.
struct TableVoxels {
    static constexpr bool kInDoubles = true;  // colours of cells are added in double precision, as by get_rgb()

    template <class Node>
    HWY_INLINE static std::uint32_t read(const Volume& volume, Node node) {
        return volume.bytes[node];
    }
    HWY_INLINE static unsigned visible(const Volume& volume, std::uint32_t value) { return volume.visible[value]; }

    HWY_INLINE static Colors colors(const Volume& volume, const std::uint32_t* values) {
#if HWY_TARGET == HWY_SCALAR
        const float* const color = volume.colors[values[0]];
        return {{hn::Set(F(), color[0]), hn::Set(F(), color[1]), hn::Set(F(), color[2]), hn::Set(F(), color[3])}};
#else
        // the entries of every fourth ray in one vector, whose blocks of four are then transposed
        const Floats a = entries(F(), volume, values), b = entries(F(), volume, values + 1);
        const Floats c = entries(F(), volume, values + 2), d = entries(F(), volume, values + 3);
        const hn::Repartition<double, F> twos;
        const auto two = [&](Floats v) HWY_ATTR { return hn::BitCast(twos, v); };
        const auto ab_low = two(hn::InterleaveLower(F(), a, b)), ab_high = two(hn::InterleaveUpper(F(), a, b));
        const auto cd_low = two(hn::InterleaveLower(F(), c, d)), cd_high = two(hn::InterleaveUpper(F(), c, d));
        return {{hn::BitCast(F(), hn::InterleaveLower(twos, ab_low, cd_low)),
                 hn::BitCast(F(), hn::InterleaveUpper(twos, ab_low, cd_low)),
                 hn::BitCast(F(), hn::InterleaveLower(twos, ab_high, cd_high)),
                 hn::BitCast(F(), hn::InterleaveUpper(twos, ab_high, cd_high))}};
#endif
    }

    HWY_INLINE static Doubles opacity(const Colors& colors, const std::uint32_t* /*values*/) {
        return widen(colors.channel[0]);
    }

private:
#if HWY_TARGET != HWY_SCALAR
    template <class Lanes>
    HWY_INLINE static hn::Vec<Lanes> entries(Lanes lanes, const Volume& volume, const std::uint32_t* values) {
        constexpr std::size_t kCount = hn::MaxLanes(Lanes());
        if constexpr (kCount == 4) {
            return hn::Load(lanes, volume.colors[values[0]]);
        } else {
            const hn::Half<Lanes> half;
            return hn::Combine(lanes, entries(half, volume, values + kCount / 2), entries(half, volume, values));
        }
    }
#endif
};

/// The 255th part of bytes, rounded as by a division: the factor has two parts, the first so short that its product
/// with a byte is exact.
template <class T>
struct Share {
    using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    static constexpr T kFirst = std::bit_cast<T>(std::bit_cast<Bits>(T{1} / 255) & ~Bits{255});
    static constexpr auto kSecond = static_cast<T>(1 / 255.0L - kFirst);

    static constexpr bool is_exact() {
        for (int i = 0; i < 256; ++i) {
            const auto byte = static_cast<T>(i);
            if (byte * kFirst + byte * kSecond != static_cast<T>(i / 255.0)) return false;
        }
        return true;
    }

    template <class Lanes>
    HWY_INLINE static hn::Vec<Lanes> of(Lanes lanes, hn::Vec<Lanes> bytes) {
        static_assert(is_exact());
        return hn::Add(hn::Mul(bytes, hn::Set(lanes, kFirst)), hn::Mul(bytes, hn::Set(lanes, kSecond)));
    }
};

/// Four bytes per node: opacity, red, green, blue.
struct RgbaVoxels {
    static constexpr bool kInDoubles = false;

    template <class Node>
    HWY_INLINE static std::uint32_t read(const Volume& volume, Node node) {
        const std::uint8_t* const from = volume.bytes + std::size_t{4} * static_cast<std::size_t>(node);
        return std::uint32_t{from[0]} | std::uint32_t{from[1]} << 8 | std::uint32_t{from[2]} << 16 |
               std::uint32_t{from[3]} << 24;
    }
    HWY_INLINE static unsigned visible(const Volume& /*volume*/, std::uint32_t value) { return value & 255; }

    HWY_INLINE static Colors colors(const Volume& /*volume*/, const std::uint32_t* values) {
        const hn::Rebind<std::uint32_t, F> bits;
        const auto all = hn::Load(bits, values);
        const auto byte = hn::Set(bits, 255);
        const auto level = [](auto from) HWY_ATTR { return hn::ConvertTo(F(), hn::BitCast(I(), from)); };
        return {{Share<float>::of(F(), level(hn::And(all, byte))), level(hn::And(hn::ShiftRight<8>(all), byte)),
                 level(hn::And(hn::ShiftRight<16>(all), byte)), level(hn::ShiftRight<24>(all))}};
    }

    HWY_INLINE static Doubles opacity(const Colors& /*colors*/, const std::uint32_t* values) {
        const hn::Rebind<std::uint32_t, F> bits;
        const auto byte = hn::And(hn::Load(bits, values), hn::Set(bits, 255));
        Doubles wide = widen(hn::ConvertTo(F(), hn::BitCast(I(), byte)));
        for (auto& part : wide.part) part = Share<double>::of(D(), part);
        return wide;
    }
};

/// The values of nodes, one per lane. One after the other: gathers are no faster, and would read beyond the last byte.
template <class Voxels, class Node>
HWY_INLINE void read_nodes(const Volume& volume, const Node* nodes, std::uint32_t* values) {
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; ++i) values[i] = Voxels::read(volume, nodes[i]);
}

/// Whether one of the values is visible.
template <class Voxels>
HWY_INLINE bool any_visible(const Volume& volume, const std::uint32_t* values) {
    unsigned any = 0;
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; ++i) any |= Voxels::visible(volume, values[i]);
    return any != 0;
}
HWY_INLINE Mask visible(const Colors& colors) { return hn::Ne(colors.channel[0], hn::Zero(F())); }

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
