// LIC texture: draws a 2-D vector field as noise that is smeared along its streamlines.
// Reads in_fld (component 0: float vectors) and the parameters below. Writes out_fld, an image field.
// deliberate: the input's type and positions do not matter: values are taken for floats, nodes for pixels.
#include "modules/zam/lic_texture.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
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
#include "modules/zam/flow/lic_flow.h"
#include "modules/zam/flow/lic_image.h"
#include "modules/zam/flow/lic_kernel.h"

namespace {

using zam::HostArray;
using zam::MemoryBudget;
using zam::OutArray;
using zam::Parameters;
using zam::TypedBytes;
using namespace zam::lic;  // NOLINT(google-build-using-namespace): this file puts together what stands there

constexpr int kShortestVarying = 5;  // half-length of a kernel that varies
constexpr zam::Reporter report{.label = "", .flags = 96};

// --- Parameters ---

struct Params {
    int line;                  // kernel half-length in steps
    bool by_kernel;            // divide by the whole kernel, instead of what the streamline met of it
    double rate;               // part of the noise that is black
    int cycle;                 // periods of the ripple over the kernel
    int phase;                 // fifths of a period
    bool ripples;              // convolve with a ripple
    bool magnitude_to_length;  // see Shading
    bool magnitude_to_color;
    int comp_x, comp_y;  // components of the vectors
    int tex_plane;       // axis that is taken away from 3-vectors
};

Params read_params(const Parameters& given) {
    Params params{.line = given.integer("line", 10),
                  .by_kernel = given.integer("norm", 0) != 0,
                  .rate = given.real("rate", 0.0),
                  .cycle = given.integer("cycle", 0),
                  .phase = given.integer("phase", 0),
                  .ripples = given.integer("animflag", 0) != 0,
                  .magnitude_to_length = given.integer("filvecflag", 0) != 0,
                  .magnitude_to_color = given.integer("colvecflag", 0) != 0,
                  .comp_x = given.integer("comp_x", 0),
                  .comp_y = given.integer("comp_y", 1),
                  .tex_plane = given.integer("tex_plane", 0)};
    if (params.ripples) params.magnitude_to_length = params.magnitude_to_color = false;
    if (params.magnitude_to_length) params.line = std::max(params.line, kShortestVarying);
    return params;
}

// --- The field ---

struct Input {
    HostArray<xp_long> dims;
    int ndim = 0;
    HostArray<float> points;
    int veclen = 0;
    TypedBytes data;

    int width() const { return static_cast<int>(dims[0]); }
    int height() const { return static_cast<int>(dims[1]); }
    VectorValues vectors(const Params& params) const { return {{data.bytes(), veclen}, params.comp_x, params.comp_y}; }
    std::size_t pixels() const { return static_cast<std::size_t>(dims[0]) * static_cast<std::size_t>(dims[1]); }
};

bool is_plane(std::span<const xp_long> dims) {
    const auto fits = [](xp_long n) { return n >= 1 && n < std::numeric_limits<int>::max(); };
    return dims.size() >= 2 && fits(dims[0]) && fits(dims[1]);
}

/// Reads the field. Of more than two dimensions the first plane counts.
std::optional<Input> read_field(OMobj_id field, const Params& params) {
    Input input;
    int nspace = 0;
    // silent: a network whose field has not been made yet is no fault
    if (FLDget_dims(field, input.dims.receive(), &input.ndim) != 1) return std::nullopt;
    FLDget_nspace(field, &nspace);
    if (FLDget_points(field, input.points.receive(), input.points.receive_count(), ARR_READ) != 1 ||
        FLDget_node_data_veclen(field, 0, &input.veclen) != 1 || input.veclen < 2)
        return std::nullopt;
    auto data = TypedBytes::read(field, 0);
    if (!data) return std::nullopt;
    input.data = std::move(*data);

    const auto ndim = static_cast<std::size_t>(std::max(input.ndim, 0));
    const auto is_component = [&](int comp) { return comp >= 0 && comp < input.veclen; };
    if (!input.dims || !is_plane({input.dims.data(), ndim})) return report.reject("in_fld has no plane of nodes\n");
    if (!is_component(params.comp_x) || !is_component(params.comp_y))
        return report.reject("comp_x and comp_y must be components of the vectors\n");
    return input;
}

// --- The image ---

/// Gives the output its shape and allocates its pixels; `nullopt` after a report.
std::optional<OutArray<std::uint8_t>> begin_image(OMobj_id out, const Input& input, MemoryBudget& memory) {
    auto dims = OutArray<xp_long>::allocate(2);
    if (!dims) return report.reject("dims array is not allocated\n");
    auto points = OutArray<float>::allocate(4);
    if (!points) return report.reject("points array is not allocated\n");
    if (!zam::set_image_shape(out, input.width(), input.height(), dims, points) ||
        FLDset_node_data_ncomp(out, 1) != 1 || FLDset_node_data_id(out, 0, zam::kImageColorsId) != 1 ||
        FLDset_node_data_veclen(out, 0, zam::kImageVeclen) != 1)
        return report.reject("can't write out_fld\n");
    auto pixels = zam::allocate_pixels(memory, input.width(), input.height());
    if (!pixels) return report.reject("image array is not allocated\n");
    return pixels;
}

Kernel make_kernel(const Params& params, int width, int height, MemoryBudget& memory) {
    const int steps = std::clamp(params.line, 1, longest_walk(width, height));
    memory.require(steps, 3 * sizeof(double));  // two directions, and a copy on the way
    return params.ripples ? ripple_kernel(params.line, params.cycle, params.phase, steps)
                          : box_kernel(params.line, steps);
}

/// What a texture is drawn from, for every pixel.
struct Values {
    OutArray<float> off_axis;  // deliberate: computed for vectors of three and more, and left
    OutArray<std::uint8_t> noise;
    OutArray<float> magnitudes;
    Range range;  // of the magnitudes
};

/// `nullopt` if memory runs out, after a report where it matters.
std::optional<Values> make_values(const Input& input, const Params& params, MemoryBudget& memory) {
    const auto count = static_cast<xp_long>(input.pixels());
    Values values{};
    if (input.veclen > 2) {
        values.off_axis = memory.allocate<float>(3 * count);
        if (!values.off_axis) return std::nullopt;  // silent: nothing depends on it
        subtract_axis(input.data.bytes(), params.tex_plane, values.off_axis.span());
    }
    values.noise = memory.allocate_as<std::uint8_t>(DTYPE_CHAR, count);
    if (!values.noise) return report.reject("noise alloc error\n");
    fill_noise(params.rate, values.noise.span());
    values.magnitudes = memory.allocate<float>(count);
    if (!values.magnitudes) return report.reject("vec_scale alloc error\n");
    values.range = measure(input.vectors(params), values.magnitudes.span());
    return values;
}

/// The rows from top to bottom, with progress.
/// @throws std::bad_alloc, std::length_error
void draw(const Input& input, const Params& params, const Values& values, MemoryBudget& memory,
          std::span<std::uint8_t> pixels) {
    const int width = input.width();
    const int height = input.height();
    memory.require(Flow::pixels(width, height), Flow::kPixelBytes);
    const Flow flow(input.vectors(params), values.noise.span(), width, height);
    const Kernel kernel = make_kernel(params, width, height, memory);
    const RowPainter painter(flow, width, values.magnitudes.span(), values.range, kernel,
                             {.half_length = params.line,
                              .by_kernel = params.by_kernel,
                              .magnitude_to_length = params.magnitude_to_length,
                              .magnitude_to_color = params.magnitude_to_color});
    const std::size_t row_bytes = 4 * static_cast<std::size_t>(width);
    for (int row = 0; row < height; ++row) {
        int interrupt = 0;  // ignored: a texture is drawn to its end
        OMstatus_check(height > 1 ? static_cast<int>(std::int64_t{100} * row / (height - 1)) : 0, nullptr, &interrupt);
        painter.paint(row, pixels.subspan(static_cast<std::size_t>(row) * row_bytes, row_bytes));
    }
}

}  // namespace

int ZAMlic_texture_func(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    const Parameters given(instance);
    const Params params = read_params(given);
    const auto input = read_field(given.find("in_fld", OM_OBJ_RW), params);
    if (!input) return 0;
    const OMobj_id out = given.find("out_fld");
    MemoryBudget memory;
    auto pixels = begin_image(out, *input, memory);
    if (!pixels) return 0;
    const auto values = make_values(*input, params, memory);
    if (!values) return 0;
    try {
        draw(*input, params, *values, memory, pixels->span());
    } catch (const std::exception&) {  // no memory, or more than can be counted
        return report.fail("flow array is not allocated\n");
    }
    // deliberate: raw bytes, not DTYPE_BYTE
    if (FLDset_node_data(out, 0, pixels->data(), DTYPE_CHAR, pixels->size(), ARR_HOST_OWNS) != 1)
        return report.fail("can't write out_fld\n");
    pixels->release();
    return 1;
}
