// Uniform to cylinder: bends a uniform volume into a sector of a cylinder about x or y, with its node data.
// Reads axis, direct, start_angle, angle, in. Writes out: dims, coordinates and copies of all components.
#include "modules/zam/uni2cylinder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/typed_bytes.h"

namespace zam {

// deliberate: a little less than pi
constexpr double kPi = 3.141592652589793;

namespace {

/// The angle of a slice in radians.
float slice_angle(const Sector& sector, xp_long slice) {
    const double step = sector.angle / static_cast<double>(sector.dims[2] - 1);
    return static_cast<float>(step * (kPi / 180.0) * static_cast<double>(slice) + sector.start_angle * (kPi / 180.0));
}

/// Distance of node `index` along an axis from the first one.
// deliberate: n, not n - 1 parts, and from 0, not from the volume's corner
float distance(const Sector& sector, std::size_t axis, xp_long index) {
    return sector.extent[axis] / static_cast<float>(sector.dims[axis]) * static_cast<float>(index);
}

/// Distances of all nodes along an axis.
std::vector<float> distances(const Sector& sector, std::size_t axis) {
    std::vector<float> along(static_cast<std::size_t>(sector.dims[axis]));
    for (std::size_t i = 0; i < along.size(); ++i) along[i] = distance(sector, axis, static_cast<xp_long>(i));
    return along;
}

void bend_about_x(const Sector& sector, float* node) {
    const std::vector<float> x = distances(sector, 0);
    const std::vector<float> radius = distances(sector, 1);
    for (xp_long k = 0; k < sector.dims[2]; ++k) {
        const double angle = slice_angle(sector, k);
        const double cosine = std::cos(angle);
        const double sine = std::sin(angle);
        for (const float r : radius) {
            const auto y = static_cast<float>(r * cosine);
            const auto z = static_cast<float>(r * sine);
            for (const float along : x) {
                node[0] = along;
                node[1] = y;
                node[2] = z;
                node += 3;
            }
        }
    }
}

void bend_about_y(const Sector& sector, float* node) {
    const std::vector<float> radius = distances(sector, 0);
    const std::vector<float> y = distances(sector, 1);
    std::vector<float> row(3 * radius.size());  // one of the slice: all of them differ only in y
    for (xp_long k = 0; k < sector.dims[2]; ++k) {
        const double angle = slice_angle(sector, k);
        const double cosine = std::cos(angle);
        const double sine = std::sin(angle);
        for (std::size_t i = 0; i < radius.size(); ++i) {
            row[3 * i] = static_cast<float>(radius[i] * cosine);
            row[3 * i + 2] = static_cast<float>(-radius[i] * sine);
        }
        for (const float along : y) {
            for (std::size_t i = 0; i < row.size(); i += 3) {
                node[i] = row[i];
                node[i + 1] = along;
                node[i + 2] = row[i + 2];
            }
            node += row.size();
        }
    }
}

}  // namespace

void bend_nodes(const Sector& sector, std::span<float> coord) {
    if (sector.axis == 0) bend_about_x(sector, coord.data());
    if (sector.axis == 1) bend_about_y(sector, coord.data());
}

void flip_rows(std::span<const std::byte> from, xp_long row, xp_long rows, xp_long slices, std::span<std::byte> to) {
    const auto available = static_cast<xp_long>(from.size());
    const auto room = static_cast<xp_long>(to.size());
    std::ranges::fill(to, std::byte{0});
    if (row < 1 || rows < 1) return;
    for (xp_long k = 0; k < slices; ++k) {
        for (xp_long j = 0; j < rows; ++j) {
            const xp_long target = (k * rows + j) * row;
            // deliberate: not row rows - 1 - j, so that row 0 comes from the next slice
            const xp_long source = ((k + 1) * rows - j) * row;
            const xp_long bytes = std::min({row, available - source, room - target});
            if (bytes > 0) std::memcpy(to.data() + target, from.data() + source, static_cast<std::size_t>(bytes));
        }
    }
}

namespace {

struct Input {
    OMobj_id field;
    bool flip;  // reverses the rows of the node data
    int nspace = 0;
    std::vector<xp_long> dims;
    Sector sector;
};

/// `nullopt` if there is no volume to bend.
std::optional<Input> read_input(const Parameters& params) {
    Input input{
        .field = params.find("in", OM_OBJ_RW), .flip = params.integer("direct", 0) != 0, .dims = {}, .sector = {}};
    HostArray<xp_long> dims;
    int ndim = 0;
    if (FLDget_dims(input.field, dims.receive(), &ndim) != 1 || !dims || ndim < 3) return std::nullopt;
    if (FLDget_nspace(input.field, &input.nspace) != 1 || input.nspace < 3) return std::nullopt;
    HostArray<float> points;
    if (FLDget_points(input.field, points.receive(), points.receive_count(), ARR_READ) != 1 || points.span().size() < 6)
        return std::nullopt;
    input.dims.assign(dims.data(), dims.data() + ndim);
    if (input.dims[2] < 2) return std::nullopt;
    input.sector = {.axis = params.integer("axis", 0),
                    .start_angle = params.real("start_angle", 0.0),
                    .angle = params.real("angle", 360.0),
                    .dims = {dims[0], dims[1], dims[2]},
                    .extent = {points[3] - points[0], points[4] - points[1], points[5] - points[2]}};
    return input;
}

bool copy_frame(const Input& input, OMobj_id out) {
    auto dims = OutArray<xp_long>::allocate(static_cast<xp_long>(input.dims.size()));
    if (!dims) return false;
    std::ranges::copy(input.dims, dims.data());
    return FLDset_ndim(out, static_cast<int>(input.dims.size())) == 1 && FLDset_dims(out, dims.data()) == 1 &&
           FLDset_nspace(out, input.nspace) == 1;
}

/// A copy of a component's values. deliberate: the array has room for veclen x size values, and as many bytes are
/// copied, so that only one-byte types arrive whole.
OwnedTypedBytes copy_values(const Input& input, const TypedBytes& data, int veclen, MemoryBudget& memory) {
    const auto count = checked_product(veclen, data.count());
    auto copy = count ? OwnedTypedBytes::allocate(memory, data.type(), *count) : OwnedTypedBytes();
    if (!copy) return copy;
    const auto values = data.bytes();
    const auto room = copy.bytes();
    if (input.flip) {
        const auto& dims = input.sector.dims;
        flip_rows(values, dims[0] * veclen, dims[1], dims[2], room);
        return copy;
    }
    const auto bytes = std::min({static_cast<std::size_t>(*count), values.size(), room.size()});
    std::ranges::fill(room.subspan(bytes), std::byte{0});
    std::memcpy(room.data(), values.data(), bytes);
    return copy;
}

void copy_component(const Input& input, OMobj_id out, int comp, MemoryBudget& memory) {
    int veclen = 1;
    if (FLDget_node_data_veclen(input.field, comp, &veclen) != 1 || FLDset_node_data_veclen(out, comp, veclen) != 1)
        return;
    const auto data = TypedBytes::read(input.field, comp);
    if (!data) return;
    auto copy = copy_values(input, *data, veclen, memory);
    if (copy) copy.hand_over(out, comp);
}

void update(const Parameters& params) {
    const auto input = read_input(params);
    if (!input) return;
    MemoryBudget memory;
    const auto size = checked_product(input->nspace, checked_product(input->dims).value_or(-1));
    auto coord = size ? memory.allocate<float>(*size) : OutArray<float>();
    if (!coord) return;
    // bend_nodes() leaves positions unset for other axes and beyond the third dimension: make them the same everywhere
    if (input->dims.size() > 3 || input->sector.axis < 0 || input->sector.axis > 1)
        std::ranges::fill(coord.span(), 0.0F);
    if (!coord.span().empty()) {
        const auto& dims = input->sector.dims;
        for (const xp_long along : {dims[0], dims[1], 3 * dims[0]})
            memory.require(along, sizeof(float));  // of the rows
        bend_nodes(input->sector, coord.span());
    }

    const OMobj_id out = params.find("out");
    if (!copy_frame(*input, out) || FLDset_coord(out, coord.data(), coord.size(), ARR_HOST_OWNS) != 1) return;
    coord.release();
    int ncomp = 0;
    if (FLDget_node_data_ncomp(input->field, &ncomp) != 1 || FLDset_node_data_ncomp(out, ncomp) != 1) return;
    for (int comp = 0; comp < ncomp; ++comp) copy_component(*input, out, comp, memory);
}

}  // namespace
}  // namespace zam

int ADDuni2cylinder(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        zam::update(zam::Parameters(instance));
    } catch (const std::bad_alloc&) {
        // silent: the module reports nothing
    }
    return 1;  // deliberate: also when there was nothing to bend
}
