// The volume tracer: renders a 3-D volume of bytes into an image, one ray per pixel.
// Reads in (component 0: a byte per node, or opacity, red, green, blue), xform, color_table and the scalars below.
// Writes out, an image field. The volume is taken in index space: where the field lies does not matter.
#include "modules/zam/tracer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/image_field.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
#include "modules/support/typed_bytes.h"
#include "modules/zam/volume/tracer_tables.h"

namespace {

using zam::HostArray;
using zam::MemoryBudget;
using zam::OutArray;
using zam::Parameters;
using zam::TypedBytes;
using zam::tracer::ColorMap;
using zam::tracer::kTableSize;

constexpr zam::Reporter report{.label = "", .flags = 96};

// --- Parameters ---

struct Params {
    int width, height;  // of the image, in pixels
    int interpolate;    // 0: constant voxels
    float a_scale;      // opacity scale
    float fptr;         // perspective: 0 parallel, else 1 / distance of the eye
    float matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};  // from voxel to view space
};

Params read_params(const Parameters& given) {
    given.integer("trigger");  // deliberate: it only makes the host run the module
    Params params{.width = given.integer("width", 128),
                  .height = given.integer("height", 128),
                  .interpolate = given.integer("interpolate", 1),
                  .a_scale = static_cast<float>(given.real("a_scale_ptr", 1.0)),
                  .fptr = static_cast<float>(given.real("fptr", 1.0))};
    given.transform("xform", params.matrix);
    return params;
}

// --- The volume ---

struct Input {
    HostArray<xp_long> dims;
    int ndim = 0;
    xp_long nnodes = 0;
    HostArray<float> points;
    int veclen = 0;
    TypedBytes data;  // read as bytes whatever the type

    bool has_known_layout() const { return veclen == 1 || veclen == 4; }
};

/// Whether the dims are those of a volume with that many nodes, each below 2^31.
bool is_volume(std::span<const xp_long> dims, xp_long nnodes) {
    if (dims.size() < 3) return false;
    xp_long left = nnodes;
    for (const xp_long n : dims) {
        if (n < 1 || n > std::numeric_limits<int>::max() || left % n != 0) return false;
        left /= n;
    }
    return left == 1;
}

/// Whether there are as many bytes as the volume's first three dimensions need.
bool has_all_bytes(const Input& input) {
    const xp_long nodes = input.dims[0] * input.dims[1] * input.dims[2];
    const auto value_size = static_cast<xp_long>(zam::type_size(input.data.type()));
    const xp_long values = input.data.count();
    // a number of bytes beyond 64 bits is enough
    const xp_long bytes = values > std::numeric_limits<xp_long>::max() / std::max<xp_long>(value_size, 1)
                              ? std::numeric_limits<xp_long>::max()
                              : values * value_size;
    return input.veclen >= 1 && bytes / input.veclen >= nodes;
}

/// Reads component 0 of the volume; the other components do not matter.
std::optional<Input> read_volume(OMobj_id field) {
    Input input;
    int nspace = 0;
    if (FLDget_nnodes(field, &input.nnodes) != 1) return report.reject("can,t get nnodes\n");
    if (FLDget_dims(field, input.dims.receive(), &input.ndim) != 1) return report.reject("can,t get dims\n");
    if (FLDget_nspace(field, &nspace) != 1) return report.reject("can,t get nspace\n");

    const auto ndim = static_cast<std::size_t>(std::max(input.ndim, 0));
    if (!input.dims || !is_volume({input.dims.data(), ndim}, input.nnodes))
        return report.reject("in is not a volume\n");
    if (FLDget_points(field, input.points.receive(), input.points.receive_count(), ARR_READ) != 1 || !input.points)
        return report.reject("can,t get points\n");
    const bool has_veclen = FLDget_node_data_veclen(field, 0, &input.veclen) == 1;
    auto data = has_veclen ? TypedBytes::read(field, 0) : std::nullopt;
    if (!data) return report.reject("can,t get node data\n");
    input.data = std::move(*data);
    if (input.has_known_layout() && !has_all_bytes(input)) return report.reject("in has too little node data\n");
    return input;
}

// --- The colour table ---

/// Copies an array of the instance's colour map, the low byte of each value. Entries that it lacks are 0.
void read_map(const Parameters& color_table, const char* name, std::array<std::uint8_t, kTableSize>& map) {
    const auto values = color_table.array(name);
    map.fill(0);
    if (!values) return;
    const std::uint8_t* bytes = values->as<std::uint8_t>().data();
    const std::size_t value_size = zam::type_size(values->type());
    const auto known = static_cast<std::size_t>(std::clamp<xp_long>(values->count(), 0, kTableSize));
    for (std::size_t i = 0; i < known; ++i) map[i] = bytes[i * value_size];
}

TracerColor* entries(const OutArray<float>& table) {
    static_assert(sizeof(TracerColor) == 4 * sizeof(float));
    return reinterpret_cast<TracerColor*>(table.data());
}

/// The instance's colour map as a colour table; empty if there is no memory for it.
OutArray<float> read_color_table(const Parameters& params) {
    const Parameters color_table(params.find("color_table", OM_OBJ_RW));
    ColorMap map;
    read_map(color_table, "alpha", map.alpha);
    read_map(color_table, "red", map.red);
    read_map(color_table, "green", map.green);
    read_map(color_table, "blue", map.blue);
    auto table = OutArray<float>::allocate(4 * kTableSize);
    if (table) zam::tracer::fill_color_table(map, std::span<TracerColor, kTableSize>(entries(table), kTableSize));
    return table;
}

// --- The image ---

struct Image {
    OutArray<xp_long> dims;
    OutArray<float> points;
    OutArray<std::uint8_t> pixels;
};

std::optional<Image> allocate_image(const Params& params) {
    Image image{OutArray<xp_long>::allocate(2), {}, {}};
    if (!image.dims) return report.reject("dims array is not allocated\n");
    image.points = OutArray<float>::allocate(4);
    if (!image.points) return report.reject("points array is not allocated\n");
    MemoryBudget memory;
    image.pixels = zam::allocate_pixels(memory, params.width, params.height);
    if (!image.pixels) return report.reject("image array is not allocated\n");
    return image;
}

void render(const Input& input, const Params& params, const OutArray<float>& table, const Image& image) {
    // tracer_body() renders nothing then
    if (!input.has_known_layout()) std::ranges::fill(image.pixels.span(), std::uint8_t{0});
    float bounds[6] = {};
    for (int a = 0; a < 3; ++a) bounds[2 * a + 1] = static_cast<float>(input.dims[a] - 1);
    const TracerVolume volume{input.veclen, input.dims.data(), bounds, input.data.bytes().data()};
    const TracerImage target{image.pixels.data()};
    tracer_body(&volume, params.matrix, entries(table), &target, &params.a_scale, &params.fptr, params.width,
                params.height, params.interpolate);
}

/// Silent if the host refuses a part: what it has taken stays.
void write_image(OMobj_id out, const Params& params, Image& image) {
    if (zam::set_image_shape(out, params.width, params.height, image.dims, image.points) &&
        FLDset_node_data_veclen(out, 0, zam::kImageVeclen) == 1 && zam::set_pixels(out, image.pixels))
        FLDset_node_data_id(out, 0, zam::kImageColorsId);
}

}  // namespace

int ZAMtracer_render_update(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    const Parameters given(instance);
    const Params params = read_params(given);
    const auto input = read_volume(given.find("in", OM_OBJ_RW));
    if (!input) return 0;
    if (params.width < 1 || params.height < 1) return report.fail("width and height must be at least 1\n");
    if (!input->has_known_layout()) report.warn("veclen must be 1 or 4\n");

    auto image = allocate_image(params);
    if (!image) return 0;
    const auto table = read_color_table(given);
    if (!table) return report.fail("color table array is not allocated\n");
    render(*input, params, table, *image);
    write_image(given.find("out"), params, *image);
    return 1;
}

void matrix_inverse(float* result, const float* source) {
    float m[16];  // a copy, since `result` may be `source`
    std::copy_n(source, std::size(m), m);
    const float determinant = m[0] * m[5] * m[10] - m[0] * m[6] * m[9] - m[1] * m[4] * m[10] + m[1] * m[6] * m[8] +
                              m[2] * m[4] * m[9] - m[2] * m[5] * m[8];
    const float f = 1 / determinant;
    const float inverse[16] = {(m[5] * m[10] - m[6] * m[9]) * f,
                               (m[9] * m[2] - m[10] * m[1]) * f,
                               (m[6] * m[1] - m[2] * m[5]) * f,
                               0,
                               (m[6] * m[8] - m[4] * m[10]) * f,
                               (m[10] * m[0] - m[2] * m[8]) * f,
                               (m[4] * m[2] - m[6] * m[0]) * f,
                               0,
                               (m[4] * m[9] - m[8] * m[5]) * f,
                               (m[8] * m[1] - m[9] * m[0]) * f,
                               (m[0] * m[5] - m[4] * m[1]) * f,
                               0,
                               (m[9] * m[6] * m[12] - m[10] * m[5] * m[12] - m[8] * m[6] * m[13] +
                                m[4] * m[10] * m[13] + m[8] * m[5] * m[14] - m[4] * m[9] * m[14]) *
                                   f,
                               (m[1] * m[10] * m[12] - m[2] * m[9] * m[12] + m[2] * m[8] * m[13] -
                                m[10] * m[0] * m[13] - m[8] * m[1] * m[14] + m[9] * m[0] * m[14]) *
                                   f,
                               (m[2] * m[5] * m[12] - m[1] * m[6] * m[12] - m[2] * m[4] * m[13] + m[6] * m[0] * m[13] +
                                m[1] * m[4] * m[14] - m[0] * m[5] * m[14]) *
                                   f,
                               1};
    std::copy_n(inverse, std::size(inverse), result);
}

void mat_print(const float* matrix) {
    for (int row = 0; row < 4; ++row) {
        const float* m = matrix + std::ptrdiff_t{4} * row;
        std::printf("%9.4f %9.4f %9.4f %9.4f\n", static_cast<double>(m[0]), static_cast<double>(m[1]),
                    static_cast<double>(m[2]), static_cast<double>(m[3]));
    }
}

int tracer_spec(void) { return 0; }
