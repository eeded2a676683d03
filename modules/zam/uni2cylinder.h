// Uniform to cylinder: bends a uniform volume into a sector of a cylinder.
#pragma once

#include <array>
#include <span>

#include "contract/types.h"

namespace zam {

/// How a volume of nodes is bent: j (about x) or i (about y) becomes the distance from the axis, k the angle.
struct Sector {
    int axis;                     // 0: about x, 1: about y; others leave the positions as they are
    double start_angle, angle;    // degrees
    std::array<xp_long, 3> dims;  // dims[2] at least 2
    std::array<float, 3> extent;  // of the volume along each axis
};

/// Positions of the bent volume's nodes, i fastest.
///
/// Distances are computed in float, angles in double and rounded to float, their products with sine and cosine in
/// double and rounded to float.
/// @param coord  nodes x 3
void bend_nodes(const Sector& sector, std::span<float> coord);

/// Reverses the rows of every slice: row j comes from row rows - j, row 0 from the first row of the next slice.
///
/// What would come from outside `from` reads as 0, what would lie outside `to` is dropped.
/// @param row     bytes per row
/// @param rows    rows per slice
/// @param to      filled whole
void flip_rows(std::span<const std::byte> from, xp_long row, xp_long rows, xp_long slices, std::span<std::byte> to);

}  // namespace zam

/// The module's entry: writes the uniform volume `in`, bent into a sector of a cylinder, into `out`. The parameters are
/// in uni2cylinder.json.
/// @return 1, whatever happens; nothing is reported. `out` stays as it was if `in` has fewer than three dimensions
///         or space components, fewer than two slices, or no corners, or if memory runs out.
extern "C" ZAM_MODULE_API int ADDuni2cylinder(OMobj_id instance, unsigned event_mask, int seq);
