// Image fields: 2-D uniform fields with one component of four bytes per node: opacity, red, green, blue, top row first.
#pragma once

#include <cstdint>

#include "contract/fld.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"

namespace zam {

constexpr int kImageVeclen = 4;
constexpr int kImageColorsId = 669;  // tells the host's viewers that the component is image colours

/// width * height * 4 bytes, uninitialised. Empty if they cannot be counted or allocated.
/// @pre  width and height are at least 1
inline OutArray<std::uint8_t> allocate_pixels(MemoryBudget& memory, int width, int height,
                                              SourcePlace where = SourcePlace::here()) {
    const auto bytes = checked_product(std::int64_t{width} * height, kImageVeclen);
    return bytes ? memory.allocate_as<std::uint8_t>(DTYPE_CHAR, *bytes, where) : OutArray<std::uint8_t>();
}

/// Gives a field the shape of an image: dims, and points from the centre of the first pixel to that of the last.
/// @param dims    2 values, filled here; the host copies them
/// @param points  4 values, filled here; the host takes them over
/// @return whether the host took all; what it took before a failure stays
inline bool set_image_shape(OMobj_id field, int width, int height, OutArray<xp_long>& dims, OutArray<float>& points) {
    dims[0] = width;
    dims[1] = height;
    points[0] = points[1] = 0;
    points[2] = static_cast<float>(width - 1);
    points[3] = static_cast<float>(height - 1);
    if (FLDset_ndim(field, 2) != 1 || FLDset_dims(field, dims.data()) != 1 || FLDset_nspace(field, 2) != 1)
        return false;
    if (FLDset_points(field, points.data(), points.size(), ARR_HOST_OWNS) != 1) return false;
    points.release();
    return true;
}

/// Hands the pixels over as component 0, which has been given kImageVeclen.
inline bool set_pixels(OMobj_id field, OutArray<std::uint8_t>& pixels) {
    if (FLDset_node_data(field, 0, pixels.data(), DTYPE_BYTE, pixels.size(), ARR_HOST_OWNS) != 1) return false;
    pixels.release();
    return true;
}

}  // namespace zam
