#include "modules/zam/readers/voxel_grid.h"

#include <algorithm>
#include <cmath>

namespace zam::voxel {
namespace {

/// deliberate: fixed point of seven decimals in 32 bits; that limits the coordinates.
constexpr float kScale = 10000000.0F;

/// The scaled number, truncated; `nullopt` beyond 32 bits. The product stays in single precision.
std::optional<std::int32_t> fixed_point(float value, float scale) {
    const float product = value * scale;
    if (!(product >= -2147483648.0F && product < 2147483648.0F)) return std::nullopt;  // a NaN too
    return static_cast<std::int32_t>(product);
}

}  // namespace

std::optional<GridAxis> GridAxis::find(std::span<const float> coordinates) {
    if (coordinates.size() < 2) return std::nullopt;
    GridAxis axis{coordinates[0], coordinates[0], 0.0F, 0};
    bool finite = true;
    float before = coordinates[0];
    for (const float at : coordinates) {
        finite = finite && std::isfinite(at);
        axis.min = std::min(axis.min, at);
        axis.max = std::max(axis.max, at);
        if (at > before) axis.step = at - before;  // deliberate: the last increase, not the smallest
        before = at;
    }
    const auto scaled_step = fixed_point(axis.step, kScale);  // 0 where no coordinate increases
    if (!finite || !scaled_step || *scaled_step == 0 || !fixed_point(axis.min, -kScale)) return std::nullopt;
    // the sum too is rounded to single precision: it makes up for a quotient just below a whole number
    const float nodes = (axis.max - axis.min) / axis.step + 1.0F;
    if (!(nodes < 9.0e18F)) return std::nullopt;
    axis.nodes = static_cast<xp_long>(nodes);
    return axis;
}

CellFinder::CellFinder(const GridAxis& axis)
    : min_(fixed_point(axis.min, -kScale).value_or(0)),
      step_(fixed_point(axis.step, kScale).value_or(1)),
      nodes_(axis.nodes) {}

xp_long CellFinder::cell_at(float coordinate) const {
    const auto scaled = fixed_point(coordinate, -kScale);
    if (!scaled) return -1;
    const std::int64_t cell = (min_ - *scaled) / step_;  // the difference may need more than 32 bits
    return cell < nodes_ ? cell : -1;
}

std::optional<Grid> Grid::find(const Samples& samples) {
    const auto x = GridAxis::find(samples.axis(0));
    const auto y = GridAxis::find(samples.axis(1));
    const auto z = GridAxis::find(samples.axis(2));
    if (!x || !y || !z) return std::nullopt;
    const auto nodes = checked_product(std::array{x->nodes, y->nodes, z->nodes});
    if (!nodes) return std::nullopt;
    return Grid{{*x, *y, *z}, *nodes};
}

void Grid::place(const Samples& samples, std::span<float* const> columns) const {
    const NodeFinder finder(*this);
    for (std::size_t sample = 0; sample < samples.count; ++sample) {
        const xp_long node = finder.node_of(samples, sample);
        if (node < 0) continue;
        for (std::size_t i = 0; i < columns.size(); ++i) columns[i][node] = samples.values[i][sample];
    }
}

NodeFinder::NodeFinder(const Grid& grid)
    : x_(grid.axes[0]), y_(grid.axes[1]), z_(grid.axes[2]), nx_(grid.axes[0].nodes), ny_(grid.axes[1].nodes) {}

}  // namespace zam::voxel
