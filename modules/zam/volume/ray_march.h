// The marchers: from voxel to voxel, and from cell face to cell face. A ray on its own takes ray_lone.h.
#pragma once

#include <cstdint>

#include "modules/zam/volume/ray_packet.h"

namespace zam::tracer {

/// Marches rays to their ends, which gives their colours.
/// march_cells: values of voxels, constant inside each, times the exact length of the ray in it.
/// march_faces: values interpolated on cell faces, by the trapezoid rule between faces.
void march_cells(Packet<std::uint32_t>& rays, const Volume& volume);
void march_cells(Packet<std::int64_t>& rays, const Volume& volume);
void march_faces(Packet<std::uint32_t>& rays, const Volume& volume);
void march_faces(Packet<std::int64_t>& rays, const Volume& volume);

}  // namespace zam::tracer
