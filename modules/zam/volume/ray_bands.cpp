// Images, bands of their rows, and single rays: the exported marchers over those of ray_march.h, and over their forms
// for a lone ray.
#include "modules/zam/volume/ray_bands.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "contract/om.h"
#include "modules/support/status_range.h"
#include "modules/zam/tracer.h"
#include "modules/zam/volume/ray_blocks.h"
#include "modules/zam/volume/ray_lone.h"
#include "modules/zam/volume/ray_march.h"
#include "modules/zam/volume/ray_packet.h"
#include "modules/zam/volume/ray_view.h"

namespace zam::tracer {
namespace {

enum class Sampling { constant, interpolated };

/// A band of image rows, as inner_loop and interp_loop take it.
struct Band {
    std::uint8_t* image;
    int first_row, rows, width, height;

    bool is_within_image() const {
        return image && width >= 1 && rows >= 1 && rows <= height && first_row >= 0 && first_row <= height - rows;
    }
};

/// Writes the four bytes of a pixel: clamped, then truncated. What is not a number becomes 0.
void write_pixel(std::uint8_t* pixel, const Color& color) {
    const auto clamped = [](float value, float top) { return value > 0 ? std::min(value, top) : 0.0F; };
    pixel[0] = static_cast<std::uint8_t>(static_cast<double>(clamped(color[0], 1)) * 255.0);
    for (std::size_t i = 1; i < 4; ++i) pixel[i] = static_cast<std::uint8_t>(clamped(color[i], 255));
}

/// The rays of an image that are marched together next, with their pixels.
template <class Node>
class Batch {
public:
    Batch(const Scene& scene, const Volume& volume) : scene_(scene), volume_(volume) {}

    void take(const Ray& ray, std::uint8_t* pixel) {
        const auto entry = enter_grid(ray, scene_.grid, scene_.interpolated ? Cells::between_nodes : Cells::voxels);
        if (!entry) return write_pixel(pixel, Color{});
        pixels_[count_] = pixel;
        packet_.start(count_, *entry);
        if (++count_ == Packet<Node>::kRays) march();
    }

    /// Marches what has been taken, and writes the pixels.
    void march() {
        for (int i = count_; i < Packet<Node>::kRays; ++i) packet_.leave_out(i);
        if (scene_.interpolated)
            march_faces(packet_, volume_);
        else
            march_cells(packet_, volume_);
        const auto& color = packet_.color;
        for (int i = 0; i < count_; ++i) write_pixel(pixels_[i], {color[0][i], color[1][i], color[2][i], color[3][i]});
        count_ = 0;
    }

private:
    const Scene& scene_;
    const Volume& volume_;
    Packet<Node> packet_{};
    std::uint8_t* pixels_[Packet<Node>::kRays];
    int count_ = 0;
};

/// Renders a band in squares of pixels, and these in squares of squares: so rays that are marched together keep close
/// together. The interrupt request is read and left: a render always runs to its end.
template <class Node>
void render_rows(const Band& band, const Scene& scene, const Volume& volume) {
    constexpr int kSide = 8;
    const View view(scene.inverse, scene.grid, band.width, band.height, scene.largest, scene.perspective);
    Batch<Node> batch(scene, volume);
    for (int first = 0; first < band.rows; first += kSide) {
        const int rows = std::min(band.rows - first, kSide);
        for (int k = first; k < first + rows; ++k) {
            int interrupt = 0;
            OMstatus_check(static_cast<int>(std::int64_t{100} * k / band.rows), nullptr, &interrupt);
        }
        for (int left = 0; left < band.width; left += kSide) {
            const int columns = std::min(band.width - left, kSide);
            for (unsigned i = 0; i < kSide * kSide; ++i) {
                const auto every_second = [](unsigned n) {
                    return static_cast<int>((n & 1) | (n >> 1 & 2) | (n >> 2 & 4));
                };
                const int x = every_second(i), y = every_second(i >> 1);
                if (x >= columns || y >= rows) continue;
                const int row = band.first_row + first + y, column = left + x;
                batch.take(View::Row(view, row).ray(column),
                           band.image + 4 * (std::int64_t{row} * band.width + column));
            }
        }
    }
    batch.march();
}

/// Whether a look at every node costs less than the rays of so many pixels can save by it.
bool pays(double pixels, const Scene& scene) {
    const double nodes_per_step = scene.veclen == 1 ? 16 : 3;  // that are looked at in the time of a step
    const double steps = pixels * *std::max_element(scene.grid.nodes, scene.grid.nodes + 3);
    return nodes_per_step * steps >= static_cast<double>(scene.grid.node_count());
}

/// Renders bands of an image one after the other, the n-th as what `around(n, ...)` calls. Nothing is rendered of what
/// is no volume.
template <class Around>
void render(std::span<const Band> bands, const Scene& scene, Around around) {
    const bool is_volume = scene.inverse && scene.data && scene.grid.is_countable();
    if (!is_volume || (scene.veclen != 1 && scene.veclen != 4)) {
        for (std::size_t i = 0; i < bands.size(); ++i) around(i, [] {});
        return;
    }
    Volume volume(static_cast<const std::uint8_t*>(scene.data), scene.veclen, scene.table, scene.opacity_scale);
    double pixels = 0;
    for (const Band& band : bands) pixels += static_cast<double>(band.rows) * band.width;
    std::optional<Blocks> blocks;
    if (pays(pixels, scene) && (volume.is_finite || !scene.interpolated)) {
        const int reach = scene.interpolated ? Blocks::kReachOfFaces : Blocks::kReachOfCells;
        volume.blocks = &blocks.emplace(volume.bytes, volume.veclen, volume.visible, scene.grid, reach);
    }
    for (std::size_t i = 0; i < bands.size(); ++i) {
        around(i, [&] {
            if (!bands[i].is_within_image()) return;
            if (scene.wide_nodes || scene.grid.node_count() > std::int64_t{1} << 32)
                render_rows<std::int64_t>(bands[i], scene, volume);
            else
                render_rows<std::uint32_t>(bands[i], scene, volume);
        });
    }
}

void render_one(const Band& band, const Scene& scene) {
    if (!band.is_within_image()) return;
    render({&band, 1}, scene, [](std::size_t /*band*/, auto rows) { rows(); });
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

void render_image(std::uint8_t* pixels, int width, int height, const Scene& scene) {
    constexpr int kBands = 4;
    const int quarter = height / kBands;
    std::array<Band, kBands> bands{};
    for (int i = 0; i < kBands; ++i) {
        const int first_row = i * quarter;
        const int rows = i + 1 < kBands ? quarter : height - first_row;
        bands[static_cast<std::size_t>(i)] = {pixels, first_row, rows, width, height};
    }
    render(bands, scene, [](std::size_t band, auto rows) {
        const int percent = 100 / kBands * static_cast<int>(band);
        const StatusRange progress(percent, percent + 100 / kBands);
        progress.done(0);
        rows();
        progress.done(100);
    });
}

}  // namespace zam::tracer

using zam::tracer::Sampling;

void inner_loop(unsigned char* image, int first_row, int rows, int width, int height, const float* inverse,
                const void* data, int nx, int ny, int nz, double largest, double fptr, const TracerColor* color_table,
                int veclen, double a_scale) {
    zam::tracer::render_one({image, first_row, rows, width, height},
                            {inverse, data, {{nx, ny, nz}}, largest, fptr, color_table, veclen, a_scale, false});
}

void interp_loop(unsigned char* image, int first_row, int rows, int width, int height, const float* inverse,
                 const void* data, int nx, int ny, int nz, double largest, double fptr, const TracerColor* color_table,
                 int veclen, double a_scale) {
    zam::tracer::render_one({image, first_row, rows, width, height},
                            {inverse, data, {{nx, ny, nz}}, largest, fptr, color_table, veclen, a_scale, true});
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
