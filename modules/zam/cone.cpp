// Cone: makes a closed cone of triangles about the x axis.
// Reads div, offset, length, radius. Writes out: its nodes and the triangles of its first cell set.
#include "modules/zam/cone.h"

#include <optional>
#include <utility>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"

namespace zam {

void cone_triangles(int div, std::span<xp_long> connect) {
    constexpr xp_long kFirstOfRim = 2;
    xp_long* triangle = connect.data();
    const auto add_segment = [&](xp_long node, xp_long next) {
        for (const xp_long n : {xp_long{0}, next, node}) *triangle++ = n;  // base
        for (const xp_long n : {xp_long{1}, node, next}) *triangle++ = n;  // mantle
    };
    const xp_long last = xp_long{div} + 1;
    for (xp_long node = kFirstOfRim; node < last; ++node) add_segment(node, node + 1);
    add_segment(last, kFirstOfRim);
}

namespace {

constexpr Reporter report{.label = "", .flags = 66};

std::optional<Cone> read_cone(OMobj_id instance) {
    const Parameters params(instance);
    const auto div = params.integer("div");
    if (!div) return report.reject("can't get div\n");
    if (*div < 3) return report.reject("div must be at least 3!\n");
    const auto offset = params.real("offset");
    if (!offset) return report.reject("can't get offset!\n");
    const auto length = params.real("length");
    if (!length) return report.reject("can't get length!\n");
    const auto radius = params.real("radius");
    if (!radius) return report.reject("can't get radius!\n");
    return Cone{*div, *offset, *length, *radius};
}

void write_cells(OMobj_id out, const Cone& cone, OutArray<xp_long> connect) {
    OMobj_id cell_set{};
    // silent: the first cell set belongs to the object's definition, and without it the nodes stand alone
    if (FLDget_cell_set(out, 0, &cell_set) != 1) return;
    if (FLDset_ncells(cell_set, 2 * xp_long{cone.div}) != 1) return;
    if (FLDset_node_connect(cell_set, connect.data(), connect.size(), ARR_HOST_OWNS) == 1) connect.release();
}

int update(OMobj_id instance) {
    const auto cone = read_cone(instance);
    if (!cone) return 0;
    const xp_long nnodes = xp_long{cone->div} + 2;
    MemoryBudget memory;
    auto coord = memory.allocate<float>(3 * nnodes);
    if (!coord) return report.fail("can't alloc coord !\n");
    auto connect = memory.allocate<xp_long>(6 * xp_long{cone->div});
    if (!connect) return report.fail("can't alloc coord connect_array!\n");
    cone_nodes(*cone, coord.span());
    cone_triangles(cone->div, connect.span());

    const OMobj_id out = Parameters(instance).find("out", OM_OBJ_RW);
    if (FLDset_nnodes(out, nnodes) != 1 || FLDset_nspace(out, 3) != 1 ||
        FLDset_coord(out, coord.data(), coord.size(), ARR_HOST_OWNS) != 1)
        return report.fail("revolve: couldn't set coord!");  // deliberate: the text of another module
    coord.release();
    write_cells(out, *cone, std::move(connect));
    return 1;
}

}  // namespace
}  // namespace zam

int DVConeUpdate(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    zam::update(instance);
    return 1;  // deliberate: also after a failure, which leaves the previous output in place
}
