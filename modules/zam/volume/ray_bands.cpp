// Bands of image rows and single rays: the exported marchers over march_cells and march_faces, and over their forms for
// a lone ray.
#include <cstdint>

#include "contract/om.h"
#include "modules/zam/tracer.h"
#include "modules/zam/volume/ray_lone.h"
#include "modules/zam/volume/ray_march.h"
#include "modules/zam/volume/ray_view.h"

namespace zam::tracer {
namespace {

/// The rays of an image row, each with its pixel.
class RowRays {
public:
    RowRays(const View& view, int row, std::uint8_t* pixels, int width)
        : row_(view, row), pixels_(pixels), width_(width) {}

    bool next(Ray& ray, std::uint8_t*& pixel) {
        if (column_ == width_) return false;
        ray = row_.ray(column_);
        pixel = pixels_ + 4 * static_cast<std::int64_t>(column_);
        ++column_;
        return true;
    }

private:
    View::Row row_;
    std::uint8_t* pixels_;
    int width_;
    int column_ = 0;
};

enum class Sampling { constant, interpolated };

/// Marches with node numbers as wide as the grid needs.
template <Sampling kSampling, class Voxels, class Rays>
void march(Rays& rays, const Grid& grid, const Voxels& voxels, double opacity_scale) {
    const auto with = [&]<class Node>(Node) {
        if constexpr (kSampling == Sampling::constant)
            march_cells<Node>(rays, grid, voxels, opacity_scale);
        else
            march_faces<Node>(rays, grid, voxels, opacity_scale);
    };
    if (grid.node_count() <= std::int64_t{1} << 32)
        with(std::uint32_t{});
    else
        with(std::int64_t{});
}

/// A band of image rows, as inner_loop and interp_loop take it.
struct Band {
    std::uint8_t* image;
    int first_row, rows, width, height;

    bool is_within_image() const {
        return image && width >= 1 && rows >= 1 && rows <= height && first_row >= 0 && first_row <= height - rows;
    }
};

/// Renders a band. The interrupt request is read and left: a render always runs to its end.
template <Sampling kSampling, class Voxels>
void render_rows(const Band& band, const View& view, const Grid& grid, const Voxels& voxels, double opacity_scale) {
    for (int k = 0; k < band.rows; ++k) {
        int interrupt = 0;
        OMstatus_check(static_cast<int>(std::int64_t{100} * k / band.rows), nullptr, &interrupt);
        const int row = band.first_row + k;
        RowRays rays(view, row, band.image + 4 * std::int64_t{row} * band.width, band.width);
        march<kSampling>(rays, grid, voxels, opacity_scale);
    }
}

template <Sampling kSampling>
void render_band(const Band& band, const float* inverse, const void* data, const Grid& grid, double largest,
                 double fptr, const TracerColor* table, int veclen, double opacity_scale) {
    if (!band.is_within_image() || !inverse || !data || !grid.is_countable()) return;
    const View view(inverse, grid, band.width, band.height, largest, fptr);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    if (veclen == 4) render_rows<kSampling>(band, view, grid, RgbaVoxels(bytes), opacity_scale);
    if (veclen == 1) render_rows<kSampling>(band, view, grid, TableVoxels(bytes, table), opacity_scale);
}

template <Sampling kSampling, class Voxels>
int trace_one(unsigned char* pixel, const TracerRay* ray, const Grid& grid, const Voxels& voxels,
              double opacity_scale) {
    constexpr bool kIsConstant = kSampling == Sampling::constant;
    const auto entry = enter_grid(*ray, grid, kIsConstant ? Cells::voxels : Cells::between_nodes);
    Color color{};
    if (entry)
        color = kIsConstant ? march_lone_cells(*entry, voxels, opacity_scale)
                            : march_lone_faces(*entry, voxels, opacity_scale);
    write_pixel(pixel, color);
    return 0;
}

/// Whether there is a volume to trace; if not, the pixel becomes transparent.
bool can_trace(unsigned char* pixel, const void* data, const Grid& grid) {
    const bool can = data && grid.is_countable();
    if (!can) write_pixel(pixel, Color{});
    return can;
}

template <Sampling kSampling>
int trace_rgba(unsigned char* pixel, const TracerRay* ray, const void* data, const Grid& grid, double opacity_scale) {
    if (!can_trace(pixel, data, grid)) return 0;
    return trace_one<kSampling>(pixel, ray, grid, RgbaVoxels(static_cast<const std::uint8_t*>(data)), opacity_scale);
}

template <Sampling kSampling>
int trace_bytes(unsigned char* pixel, const TracerRay* ray, const void* data, const Grid& grid,
                const TracerColor* table, double opacity_scale) {
    if (!can_trace(pixel, data, grid)) return 0;
    const LookedUpVoxels voxels(static_cast<const std::uint8_t*>(data), table);
    return trace_one<kSampling>(pixel, ray, grid, voxels, opacity_scale);
}

}  // namespace
}  // namespace zam::tracer

using zam::tracer::Sampling;

void inner_loop(unsigned char* image, int first_row, int rows, int width, int height, const float* inverse,
                const void* data, int nx, int ny, int nz, double largest, double fptr, const TracerColor* color_table,
                int veclen, double a_scale) {
    zam::tracer::render_band<Sampling::constant>({image, first_row, rows, width, height}, inverse, data, {{nx, ny, nz}},
                                                 largest, fptr, color_table, veclen, a_scale);
}

void interp_loop(unsigned char* image, int first_row, int rows, int width, int height, const float* inverse,
                 const void* data, int nx, int ny, int nz, double largest, double fptr, const TracerColor* color_table,
                 int veclen, double a_scale) {
    zam::tracer::render_band<Sampling::interpolated>({image, first_row, rows, width, height}, inverse, data,
                                                     {{nx, ny, nz}}, largest, fptr, color_table, veclen, a_scale);
}

int trace_volume(unsigned char* pixel, const TracerRay* ray, const void* data, int nx, int ny, int nz, double a_scale) {
    return zam::tracer::trace_rgba<Sampling::constant>(pixel, ray, data, {{nx, ny, nz}}, a_scale);
}

int trace_byte_volume(unsigned char* pixel, const TracerRay* ray, const void* data, int nx, int ny, int nz,
                      const TracerColor* color_table, double a_scale) {
    return zam::tracer::trace_bytes<Sampling::constant>(pixel, ray, data, {{nx, ny, nz}}, color_table, a_scale);
}

int interp_trace_volume(unsigned char* pixel, const TracerRay* ray, const void* data, int nx, int ny, int nz,
                        double a_scale) {
    return zam::tracer::trace_rgba<Sampling::interpolated>(pixel, ray, data, {{nx, ny, nz}}, a_scale);
}

int interp_trace_byte_volume(unsigned char* pixel, const TracerRay* ray, const void* data, int nx, int ny, int nz,
                             const TracerColor* color_table, double a_scale) {
    return zam::tracer::trace_bytes<Sampling::interpolated>(pixel, ray, data, {{nx, ny, nz}}, color_table, a_scale);
}
