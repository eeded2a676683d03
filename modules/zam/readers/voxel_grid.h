// The uniform grid that scattered samples lie on, found from the samples themselves.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "contract/types.h"
#include "modules/zam/readers/voxel_samples.h"

namespace zam::voxel {

/// One axis of the grid, in the units of the coordinates.
struct GridAxis {
    float min;
    float max;
    float step;
    xp_long nodes;

    /// Extent, step and node count from the coordinates of all samples, in the order of the file. The step is the last
    /// increase from a sample to the next.
    /// @return `nullopt` if the samples do not make an axis: fewer than two, no increase, something not finite, or a
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

    /// @return `nullopt` if an axis cannot be found, or there are more nodes than can be counted
    static std::optional<Grid> find(const Samples& samples);

    /// Writes the values of all samples to their nodes, x fastest. Of two samples in one cell the later one stays; a
    /// sample outside the grid is left out.
    /// @param columns  one array per value column, `nodes` floats each
    void place(const Samples& samples, std::span<float* const> columns) const;
};

/// Finds the nodes of samples, x fastest.
class NodeFinder {
public:
    explicit NodeFinder(const Grid& grid);

    /// Index of the sample's node; -1 outside the grid.
    xp_long node_of(const Samples& samples, std::size_t sample) const {
        const xp_long ix = x_.cell_at(samples.positions[0][sample]);
        const xp_long iy = y_.cell_at(samples.positions[1][sample]);
        const xp_long iz = z_.cell_at(samples.positions[2][sample]);
        return ix < 0 || iy < 0 || iz < 0 ? -1 : (iz * ny_ + iy) * nx_ + ix;
    }

private:
    CellFinder x_, y_, z_;
    xp_long nx_, ny_;
};

}  // namespace zam::voxel
