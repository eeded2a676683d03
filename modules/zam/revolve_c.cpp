// Revolve: sweeps a plane profile of points (x, r) around the x axis.
// Reads resolution, smooth, profile. Writes out: a cell set of quadrilaterals for every segment of the profile.
#include "modules/zam/revolve_c.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <optional>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/float_values.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"

namespace zam {

RingAngles::RingAngles(int resolution) : angles_(static_cast<std::size_t>(resolution)) {
    constexpr float kFullTurn = 6.2831855F;
    for (int k = 0; k < resolution; ++k) {
        const float angle = static_cast<float>(k) * kFullTurn / static_cast<float>(resolution);
        angles_[static_cast<std::size_t>(k)] = {std::sin(double{angle}), std::cos(double{angle})};
    }
}

void RingAngles::place(float x, float radius, float* ring) const {
    for (const Angle& angle : angles_) {
        ring[0] = x;
        ring[1] = static_cast<float>(radius * angle.sine);
        ring[2] = static_cast<float>(radius * angle.cosine);
        ring += 3;
    }
}

void revolve_nodes(std::span<const float> profile, int resolution, bool smooth, std::span<float> coord) {
    const RingAngles angles(resolution);
    const std::size_t ring_size = 3 * angles.size();
    const std::size_t points = profile.size() / 2;
    if (points < 2 && !smooth) return;
    float* ring = coord.data();
    for (std::size_t point = 0; point < points; ++point, ring += ring_size) {
        angles.place(profile[2 * point], profile[2 * point + 1], ring);
        if (smooth || point == 0 || point + 1 == points) continue;
        std::copy_n(ring, ring_size, ring + ring_size);  // an inner point ends one segment and begins the next
        ring += ring_size;
    }
}

void ring_quads(xp_long first, xp_long second, int resolution, std::span<xp_long> connect) {
    xp_long* quad = connect.data();
    const auto add = [&](xp_long k, xp_long next) {
        for (const xp_long node : {first + k, second + k, second + next, first + next}) *quad++ = node;
    };
    for (xp_long k = 0; k + 1 < resolution; ++k) add(k, k + 1);
    add(xp_long{resolution} - 1, 0);
}

namespace {

constexpr Reporter report{.label = "", .flags = 66};

struct Params {
    int resolution;       // nodes per ring, at least 3
    bool smooth;          // whether segments share rings
    FloatValues profile;  // points x 2, at least one

    xp_long points() const { return static_cast<xp_long>(profile.span().size() / 2); }
    xp_long segments() const { return points() - 1; }
    xp_long rings() const { return smooth ? points() : 2 * segments(); }
};

std::optional<Params> read_params(OMobj_id instance) {
    const Parameters given(instance);
    const int resolution = given.integer("resolution", 4);
    const bool smooth = given.integer("smooth", 0) != 0;
    if (resolution < 3) return report.reject("resolution must be at least 3!\n");
    auto profile = given.floats("profile");
    if (!profile || profile->span().empty()) return report.reject("revolve: couldn't get profile array!");
    if (profile->span().size() % 2 != 0) return report.reject("revolve: profile size must be even!");
    return Params{resolution, smooth, std::move(*profile)};
}

/// Whether there is memory for coordinates, cell sets with their node lists, and the table of angles: the host makes
/// all but the last, after dropping the old ones.
bool fits(const Params& params) {
    constexpr std::size_t kCellSetBytes = 512;  // what a host may need for the object and its array
    const auto nodes = checked_product(params.rings(), params.resolution);
    const auto cells = checked_product(params.segments(), params.resolution);
    MemoryBudget memory;
    return nodes && cells && params.segments() <= std::numeric_limits<int>::max() &&
           memory.take(*nodes, 3 * sizeof(float)) && memory.take(*cells, 4 * sizeof(xp_long)) &&
           memory.take(params.segments(), kCellSetBytes) && memory.take(params.resolution, 2 * sizeof(double));
}

void write_cells(OMobj_id out, const Params& params) {
    const xp_long resolution = params.resolution;
    for (xp_long segment = 0; segment < params.segments(); ++segment) {
        OMobj_id cell_set{};
        HostArray<xp_long> connect;
        if (FLDget_cell_set(out, static_cast<int>(segment), &cell_set) != 1 || FLDset_cell_set(cell_set, "Quad") != 1 ||
            FLDset_ncells(cell_set, resolution) != 1 ||
            FLDget_node_connect(cell_set, connect.receive(), connect.receive_count(), ARR_WRITE) != 1 || !connect ||
            connect.size() < 4 * resolution)
            return;  // silent: what has been written stays
        const xp_long ring = params.smooth ? segment : 2 * segment;
        ring_quads(ring * resolution, (ring + 1) * resolution, params.resolution, connect.span());
    }
}

int update(OMobj_id instance) {
    constexpr const char* kNoCoordinates = "revolve: couldn't get coordinate array!";
    const auto params = read_params(instance);
    if (!params) return 0;
    if (!fits(*params)) return report.fail(kNoCoordinates);

    const OMobj_id out = Parameters(instance).find("out", OM_OBJ_RW);
    const xp_long nnodes = params->rings() * params->resolution;
    HostArray<float> coord;
    if (FLDset_nspace(out, 3) != 1 || FLDset_ncell_sets(out, static_cast<int>(params->segments())) != 1 ||
        FLDset_nnodes(out, nnodes) != 1 || FLDget_coord(out, coord.receive(), coord.receive_count(), ARR_WRITE) != 1 ||
        !coord || coord.size() < 3 * nnodes)
        return report.fail(kNoCoordinates);
    revolve_nodes(params->profile.span(), params->resolution, params->smooth, coord.span());
    write_cells(out, *params);
    return 1;
}

}  // namespace
}  // namespace zam

int DVRevolveUpdate(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        zam::update(instance);
    } catch (const std::bad_alloc&) {
        zam::report.fail("revolve: couldn't get coordinate array!");
    }
    return 1;  // deliberate: also after a failure, which leaves the previous output in place
}
