#include "modules/zam/readers/voxel_field.h"

#include <algorithm>
#include <array>

#include "contract/fld.h"
#include "modules/support/host_array.h"
#include "modules/zam/readers/voxel_reports.h"

namespace zam::voxel {

bool write_mesh(OMobj_id field, const Grid& grid) {
    const auto& [x, y, z] = grid.axes;
    const std::array<xp_long, 3> dims{x.nodes, y.nodes, z.nodes};
    const std::array<float, 6> corners{x.min, y.min, z.min, x.max, y.max, z.max};
    if (FLDset_ndim(field, 3) != 1) return kStream.fail("FLD Error in set_ndim.\n");
    if (FLDset_nnodes(field, grid.nodes) != 1) return kStream.fail("FLD Error in set_nnodes.\n");
    if (FLDset_nspace(field, 3) != 1) return kStream.fail("FLD Error in set_nspace.\n");
    if (FLDset_npoints(field, 2) != 1) return kStream.fail("FLD Error in set_npoints.\n");
    if (FLDset_dims(field, dims.data()) != 1) return kStream.fail("Error in set_dims.\n");
    HostArray<float> points;
    if (FLDget_points(field, points.receive(), points.receive_count(), ARR_WRITE) != 1 ||
        points.span().size() < corners.size())
        return kStream.fail("Error in get_points\n");
    std::ranges::copy(corners, points.data());
    return true;
}

}  // namespace zam::voxel
