#include "modules/zam/volume/ray_blocks.h"

#include <cstddef>
#include <cstring>
#include <new>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/zam/volume/ray_blocks.cpp"
#include "base/lanes.h"

HWY_BEFORE_NAMESPACE();
namespace zam::tracer::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

/// Which nodes of one byte are visible, a byte for each: 0 for those that are not. Whether any is.
bool see_bytes(const std::uint8_t* bytes, const std::uint8_t* visible, [[maybe_unused]] const VisibleBits& bits,
               int count, std::uint8_t* seen) {
    int x = 0;
    bool any = false;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> lanes;
    const hn::Repartition<std::uint16_t, decltype(lanes)> pairs;
    const auto first = hn::LoadDup128(lanes, bits.first), second = hn::LoadDup128(lanes, bits.second);
    const auto masks = hn::LoadDup128(lanes, bits.mask), half = hn::Set(lanes, std::uint8_t{15});
    auto all = hn::Zero(lanes);
    for (const int width = static_cast<int>(hn::Lanes(lanes)); x + width <= count; x += width) {
        const auto values = hn::LoadU(lanes, bytes + x);
        const auto low = hn::And(values, half);
        const auto high = hn::And(hn::BitCast(lanes, hn::ShiftRight<4>(hn::BitCast(pairs, values))), half);
        const auto is_first = hn::Lt(values, hn::Set(lanes, std::uint8_t{128}));
        const auto of_low =
            hn::IfThenElse(is_first, hn::TableLookupBytes(first, low), hn::TableLookupBytes(second, low));
        const auto is_seen = hn::And(of_low, hn::TableLookupBytes(masks, high));
        hn::StoreU(is_seen, lanes, seen + x);
        all = hn::Or(all, is_seen);
    }
    any = !hn::AllTrue(lanes, hn::Eq(all, hn::Zero(lanes)));
#endif
    for (; x < count; ++x) any |= (seen[x] = visible[bytes[x]]) != 0;
    return any;
}

}  // namespace
}  // namespace zam::tracer::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zam::tracer {

ZAM_EXPORT(see_bytes);

namespace {

constexpr std::int32_t kFar = 1 << 28;

/// As see_bytes(), for nodes of any size, the first bytes of which decide.
bool see(const std::uint8_t* bytes, int veclen, const std::uint8_t* visible, const VisibleBits& bits, int count,
         std::uint8_t* seen) {
    if (veclen == 1) return ZAM_DISPATCH(see_bytes)(bytes, visible, bits, count, seen);
    unsigned any = 0;
    for (int x = 0; x < count; ++x) {
        seen[x] = visible[bytes[static_cast<std::ptrdiff_t>(x) * veclen]];
        any |= seen[x];
    }
    return any != 0;
}

std::uint64_t load_eight(const std::uint8_t* bytes) {
    std::uint64_t eight;
    std::memcpy(&eight, bytes, sizeof eight);
    return eight;
}

}  // namespace

Blocks::Blocks(const std::uint8_t* bytes, int veclen, const std::uint8_t* visible, const Grid& grid, int reach) {
    for (int a = 0; a < 3; ++a) count_[a] = ((grid.nodes[a] - 1) >> kShift) + 1;
    if (!allocate(grid)) return;
    const auto blocks = static_cast<std::size_t>(count_[0]);
    const auto most = static_cast<std::size_t>(*std::max_element(count_, count_ + 3));
    // a row with invisible nodes around it
    const std::unique_ptr<std::uint8_t[]> seen(new (std::nothrow) std::uint8_t[(blocks + 2) * kSize]());
    const std::unique_ptr<std::uint8_t[]> row(new (std::nothrow) std::uint8_t[blocks]);
    const std::unique_ptr<std::int32_t[]> scratch(new (std::nothrow) std::int32_t[2 * most]);
    if (!seen || !row || !scratch) {
        steps_.reset();
        return;
    }
    const VisibleBits bits(visible);
    for (int z = 0; z < grid.nodes[2]; ++z) {
        for (int y = 0; y < grid.nodes[1]; ++y) {
            const std::int64_t first = z * grid.stride(2) + y * grid.stride(1);
            if (!see(bytes + first * veclen, veclen, visible, bits, grid.nodes[0], &seen[kSize])) continue;
            for (std::size_t block = 0; block < blocks; ++block) {
                const std::uint8_t* const from = &seen[(block + 1) * kSize];
                row[block] = (load_eight(from - reach) | load_eight(from + reach)) != 0;
            }
            mark(row.get(), y, z, reach);
        }
    }
    const std::size_t all = blocks * static_cast<std::size_t>(count_[1]) * static_cast<std::size_t>(count_[2]);
    const auto occupied = static_cast<std::size_t>(std::count(&steps_[0], &steps_[all], 0));
    if (occupied > all - all / 16)
        steps_.reset();
    else
        for (int a = 0; a < 3; ++a) spread(a, scratch.get());
}

bool Blocks::allocate(const Grid& grid) {
    constexpr std::int64_t kMost = std::int64_t{1} << 30;  // block numbers are lanes of 32 bits
    std::int64_t all = count_[0];
    for (int a = 1; a < 3; ++a) {
        if (all > kMost / count_[a]) return false;
        all *= count_[a];
    }
    if (all > std::max<std::int64_t>(grid.node_count() / 64, 64)) return false;  // flat: not worth their memory
    steps_.reset(new (std::nothrow) std::int32_t[static_cast<std::size_t>(all)]);
    if (steps_) std::fill_n(steps_.get(), all, kFar);
    return steps_ != nullptr;
}

void Blocks::mark(const std::uint8_t* row, int y, int z, int reach) {
    const auto first = [&](int node) { return std::max(node - reach, 0) >> kShift; };
    const auto last = [&](int node, int axis) {
        return static_cast<int>(std::min<std::int64_t>((std::int64_t{node} + reach) >> kShift, count_[axis] - 1));
    };
    for (int block_z = first(z); block_z <= last(z, 2); ++block_z) {
        for (int block_y = first(y); block_y <= last(y, 1); ++block_y) {
            std::int32_t* const to =
                &steps_[std::size_t(block_z) * std::size_t(stride(2)) + std::size_t(block_y) * std::size_t(stride(1))];
            for (int block = 0; block < count_[0]; ++block)
                if (row[block] != 0) to[block] = 0;
        }
    }
}

/// From any cell of a block, the n-th block along the axis is at least n * kSize - (kSize - 1) steps away.
void Blocks::spread(int axis, std::int32_t* scratch) {
    const std::ptrdiff_t along = stride(axis);
    const std::ptrdiff_t all = std::ptrdiff_t{stride(2)} * count_[2];
    const std::ptrdiff_t line = along * count_[axis];
    std::int32_t* const before = scratch;
    std::int32_t* const after = before + count_[axis];
    for (std::ptrdiff_t start = 0; start < all; start += line) {
        for (std::ptrdiff_t i = start; i < start + along; ++i) {
            std::int32_t* const steps = &steps_[std::size_t(i)];
            const int last = count_[axis] - 1;
            before[0] = after[last] = kFar;
            for (int n = 1; n <= last; ++n) before[n] = std::min({before[n - 1], steps[(n - 1) * along], kFar}) + kSize;
            for (int n = last - 1; n >= 0; --n)
                after[n] = std::min({after[n + 1], steps[(n + 1) * along], kFar}) + kSize;
            for (int n = 0; n <= last; ++n)
                steps[n * along] = std::min({steps[n * along], before[n] - (kSize - 1), after[n] - (kSize - 1), kFar});
        }
    }
}

}  // namespace zam::tracer
#endif
