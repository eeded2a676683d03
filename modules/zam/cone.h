// Cone: a closed cone of triangles about the x axis.
#pragma once

#include <span>

#include "contract/types.h"

namespace zam {

/// A cone with its base in the plane x = offset and its apex at x = offset + length.
struct Cone {
    int div;  // segments around the axis, at least 3
    double offset, length, radius;
};

/// Positions of a cone's nodes: the base's centre, the apex, then the base's rim from +y towards +z.
///
/// Computed in double, rounded to float at the end.
/// @param coord  div + 2 nodes x 3
void cone_nodes(const Cone& cone, std::span<float> coord);

/// Node lists of a cone's triangles: per segment one of the base, then one of the mantle.
/// @param connect  2 div triangles x 3
void cone_triangles(int div, std::span<xp_long> connect);

}  // namespace zam

/// The module's entry: writes the cone that div, offset, length and radius describe into `out`, whose first cell set
/// holds triangles. The parameters are in cone.json.
/// @return 1, whatever happens. A parameter that cannot be read or a failed allocation is reported and leaves `out` as
///         it was; if `out` takes its node count but not its coordinates, that is reported too.
extern "C" ZAM_MODULE_API int DVConeUpdate(OMobj_id instance, unsigned event_mask, int seq);
