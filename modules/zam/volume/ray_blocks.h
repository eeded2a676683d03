// Where a volume is empty: blocks of cells without a visible node in them or near them. Rays that go through them only
// step.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

#include "modules/zam/volume/ray_entry.h"

namespace zam::tracer {

/// Which bytes are visible, a bit for each: the lower half of a byte chooses eight bits of the first or, from 128 on,
/// the second table, its upper half one of these.
struct VisibleBits {
    alignas(16) std::uint8_t first[16] = {}, second[16] = {}, mask[16];

    explicit VisibleBits(const std::uint8_t* visible) {
        for (unsigned i = 0; i < 16; ++i) mask[i] = static_cast<std::uint8_t>(1U << (i & 7));
        for (unsigned i = 0; i < 256; ++i) {
            std::uint8_t& to = (i < 128 ? first : second)[i & 15];
            if (visible[i] != 0) to = static_cast<std::uint8_t>(to | mask[i >> 4]);
        }
    }
};

/// How many steps a ray is away from what is visible, for blocks of 8 x 8 x 8 cells. 0 for a block with a visible node
/// in it or within `reach` nodes of it; else whatever the direction, no such block is reached in fewer steps.
class Blocks {
public:
    static constexpr int kShift = 3;
    static constexpr int kSize = 1 << kShift;
    /// The faces of a cell reach one node beyond it, and so does the next face.
    static constexpr int kReachOfFaces = 1;
    static constexpr int kReachOfCells = 0;

    /// Looks at every node once.
    /// @param veclen   bytes per node; the first decides
    /// @param visible  256 entries, by that byte: 1 if it is visible, else 0
    /// @param reach    0 to 4
    Blocks(const std::uint8_t* bytes, int veclen, const std::uint8_t* visible, const Grid& grid, int reach);

    /// Steps by block, x fastest; null if no block is worth a look: most are occupied, there are too many, or there is
    /// no memory for them.
    const std::int32_t* steps() const { return steps_.get(); }
    /// Distance of neighbours along an axis, in blocks.
    std::int32_t stride(int axis) const { return axis == 0 ? 1 : axis == 1 ? count_[0] : count_[0] * count_[1]; }

private:
    bool allocate(const Grid& grid);
    /// Marks the blocks that a row of nodes reaches. `row` has a byte per block along x.
    void mark(const std::uint8_t* row, int y, int z, int reach);
    /// Lets the distances spread along an axis. `scratch` has two values per block along it.
    void spread(int axis, std::int32_t* scratch);

    std::int32_t count_[3] = {};
    std::unique_ptr<std::int32_t[]> steps_;
};

}  // namespace zam::tracer
