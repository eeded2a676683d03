// The render driver: prepares the view and renders the image in four bands.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <limits>
#include <optional>

#include "contract/mat.h"
#include "modules/zam/tracer.h"
#include "modules/zam/volume/ray_bands.h"
#include "modules/zam/volume/ray_entry.h"

namespace {

using zam::tracer::Grid;

/// The view of the last render: one for the whole process.
struct {
    float forward[16];
    float inverse[16];  // from view to voxel space
    std::int64_t pixel_count;
} view;

bool has_all_arrays(const TracerVolume* volume, const float* matrix, const TracerImage* image) {
    return volume && volume->dims && volume->bounds && volume->data && matrix && image && image->pixels;
}

/// The volume's grid; `nullopt` if its nodes cannot be counted.
std::optional<Grid> read_grid(const TracerVolume& volume) {
    Grid grid{};
    for (int a = 0; a < 3; ++a) {
        if (volume.dims[a] > std::numeric_limits<int>::max()) return std::nullopt;
        grid.nodes[a] = static_cast<int>(std::max(volume.dims[a], xp_long{0}));
    }
    return grid.is_countable() ? std::optional(grid) : std::nullopt;
}

/// Sets the view's matrices. The inverse is stretched from the box of the nodes to that of the voxels around them.
void set_view(const TracerVolume& volume, const float* matrix) {
    std::copy_n(matrix, std::size(view.forward), view.forward);
    matrix_inverse(view.inverse, view.forward);

    float stretch[16] = {};
    stretch[15] = 1;
    for (int a = 0; a < 3; ++a) {
        const float extent = volume.bounds[2 * a + 1] - volume.bounds[2 * a];
        if (extent == 0) return;  // a flat volume stays as it is, on all axes
        stretch[5 * a] = static_cast<float>(volume.dims[a]) / extent;
    }
    MATmat4_multiply(view.inverse, stretch, view.inverse);
}

}  // namespace

int tracer_body(const TracerVolume* volume, const float* matrix, const TracerColor* color_table,
                const TracerImage* image, const float* a_scale, const float* fptr, int width, int height,
                int interpolate) {
    if (!has_all_arrays(volume, matrix, image)) return 0;
    const auto grid = read_grid(*volume);
    if (!grid) return 0;
    if (volume->veclen != 1 && volume->veclen != 4)
        std::printf("tracer_body  OK  tracer requires 4-vector or 1-vector data");

    set_view(*volume, matrix);
    view.pixel_count = std::int64_t{width} * height;
    const auto& [nx, ny, nz] = grid->nodes;
    const double largest = std::max({nx, ny, nz});
    const double perspective = fptr ? static_cast<double>(*fptr) : 1.0;
    const double opacity_scale = a_scale ? static_cast<double>(*a_scale) : 1.0;

    zam::tracer::render_image(image->pixels, width, height,
                              {.inverse = view.inverse,
                               .data = volume->data,
                               .grid = *grid,
                               .largest = largest,
                               .perspective = perspective,
                               .table = color_table,
                               .veclen = volume->veclen,
                               .opacity_scale = opacity_scale,
                               .interpolated = interpolate != 0});
    return 1;
}
