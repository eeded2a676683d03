// A whole image, in the four bands that it is rendered in.
#pragma once

#include <cstdint>

#include "modules/zam/tracer.h"
#include "modules/zam/volume/ray_entry.h"

namespace zam::tracer {

/// What is rendered, as inner_loop() and interp_loop() take it.
struct Scene {
    const float* inverse;  // from view to voxel space
    const void* data;
    Grid grid;
    double largest;            // dimension
    double perspective;        // 0 parallel, else 1 / distance of the eye
    const TracerColor* table;  // of volumes of one byte per node
    int veclen;
    double opacity_scale;
    bool interpolated;
    bool wide_nodes = false;  // node numbers of 64 bits, which only volumes of more than 2^32 nodes need
};

/// Renders an image in four bands, each as the exported loop does it, with progress over all of them. What is to be
/// known of the volume as a whole is found once.
void render_image(std::uint8_t* pixels, int width, int height, const Scene& scene);

}  // namespace zam::tracer
