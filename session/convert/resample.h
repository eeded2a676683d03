// Multilinear interpolation on grids whose positions follow from their axes.
#pragma once

#include <optional>
#include <vector>

#include "session/values/field_value.h"

namespace zam::session {

/// Where the nodes of a new axis lie between those of an old one.
struct AxisWeights {
    std::vector<xp_long> low;  // per new node, the old node before it; a node follows that one where `weight` is not 0
    std::vector<double> weight;  // share of the old node after it, from 0 to below 1
};

/// `count` nodes, equally spaced over the extent of an axis. One node lies in its middle.
/// @param positions  of the old nodes, ascending or descending; empty: equally spaced
/// @param size       number of old nodes
AxisWeights resample_axis(const std::vector<float>& positions, xp_long size, xp_long count);

/// A component's values at the nodes of new axes; along x, then along y, then along z. Whole types take the nearest
/// number. A node with a null among the neighbours whose weight is not 0 is null.
/// @param dims        of the old grid, one to three
/// @param kept_bytes  of old rows, besides those that make a new one; two planes should fit
NumberArray resampled(const ComponentValue& component, const std::vector<xp_long>& dims,
                      const std::vector<AxisWeights>& axes, xp_long kept_bytes = xp_long{24} << 20);

}  // namespace zam::session
