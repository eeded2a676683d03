// The uniform grid that scattered samples lie on, found from the samples themselves.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "contract/types.h"
#include "modules/zam/voxel_samples.h"

namespace zam::voxel {

/// One axis of the grid, in the units of the coordinates.
struct GridAxis {
    float min;
    float max;
    float step;
    xp_long nodes;

    /// Extent, step and node count from the coordinates of all samples, in the order of the file. The step is the last
    /// increase from a sample to the next.
    /// @return nothing when the samples do not make an axis: fewer than two, no increase, something not finite, or a
    ///         minimum or step out of the range of cell_at()
    static std::optional<GridAxis> find(std::span<const float> coordinates);
};

/// Finds the cell of a coordinate in fixed point: coordinates in ten millionths, held in 32 bits, so that magnitudes
/// below 214.7483647 have cells.
class CellFinder {
public:
    explicit CellFinder(const GridAxis& axis);

    /// Index of the cell; -1 outside the grid.
    xp_long cell_at(float coordinate) const;

private:
    std::int64_t min_;  // scaled by -10000000
    std::int64_t step_;
    xp_long nodes_;
};

struct Grid {
    std::array<GridAxis, 3> axes;
    xp_long nodes;  // product over the axes

    /// @param memory  is charged with a float per node and value column
    /// @return nothing when an axis is nothing, or the nodes need more memory than there is
    static std::optional<Grid> find(const Samples& samples, MemoryBudget& memory);

    /// Writes the values of all samples to their nodes, x fastest. Of two samples in one cell the later one stays; a
    /// sample outside the grid is left out.
    /// @param columns  one array a value column, `nodes` floats each
    void place(const Samples& samples, std::span<float* const> columns) const;
};

}  // namespace zam::voxel
