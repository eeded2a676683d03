// topologyline2D: draws the topological skeleton of a steady plane vector field on a structured grid: its critical
// points, each with its class, and the separatrices of its saddles.
// Reads in_field (one component of veclen 2), go, Interval, Radius. Writes out_field (separatrices as lines) and
// out_field2 (critical points with two letters each). Positions are grid indices, not the field's coordinates.
// Source: Helman and Hesselink, "Visualizing vector field topology in fluid flows", IEEE Computer Graphics and
// Applications 11 (1991).
#include "modules/zam/topology.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <new>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/float_values.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
#include "modules/support/typed_bytes.h"
#include "modules/zam/flow/critical_points.h"
#include "modules/zam/flow/separatrix.h"

double Interval = 100.0;
double Radius = 0.01;
CriticalPoint critical_index[TOPOLOGY_MAX_POINTS];
int32_t critical_num = 0;
int32_t origin_num = 0;
TopologyVector eigen_vector[TOPOLOGY_MAX_POINTS][4];
TopologyPoint* saddle_list_head[TOPOLOGY_MAX_CELLS * TOPOLOGY_MAX_CELLS];
TopologyPoint* saddle_list[TOPOLOGY_MAX_CELLS * TOPOLOGY_MAX_CELLS];
Streamline* streamline_list_head = nullptr;
Streamline* streamline_list_tail = nullptr;
Streamline* streamline = nullptr;
Streamline* streamline_prev = nullptr;

namespace zam::topology {
namespace {

constexpr Reporter report{.label = "", .flags = 96};

/// Reports a fault in the input, between a heading and a rule.
bool refuse(const char* what) {
    return report.fail("--- Error detected in: module: topoline ---\n%s, topology line is not created\n%s\n", what,
                       "--------------------------------------------------");
}

/// Publishes a run's state under the exported names, however the run ends.
class Publication {
public:
    explicit Publication(Skeleton& skeleton) : skeleton_(skeleton) {}
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;
    ~Publication() {
        skeleton_.end_streamlines();
        streamline_list_head = streamline_list_tail = streamline = streamline_prev = nullptr;
        Interval = skeleton_.interval;
        Radius = skeleton_.radius;
        std::ranges::copy(skeleton_.critical_points, critical_index);
        critical_num = skeleton_.critical_num;
        origin_num = skeleton_.saddle_num;
        for (std::size_t saddle = 0; saddle < static_cast<std::size_t>(skeleton_.saddle_num); ++saddle)
            std::ranges::copy(skeleton_.directions[saddle], eigen_vector[saddle]);
    }

private:
    Skeleton& skeleton_;
};

/// Reports separatrices that do not fit into memory. How much they need is known unless even counting took too long.
bool refuse_size(Skeleton& skeleton) {
    constexpr std::int64_t kMegabyte = 1'000'000;
    const std::int64_t charged = skeleton.points.charged();
    const std::int64_t needed = charged + skeleton.missing * static_cast<std::int64_t>(PointBlocks::kNodeBytes);
    const long long needed_megabytes = needed / kMegabyte + 1;
    const long long available_megabytes = (charged + skeleton.memory.left()) / kMegabyte;
    std::array<char, 200> what{};
    std::snprintf(what.data(), what.size(), "the separatrices need %s%lld MB of memory and %lld MB are available",
                  skeleton.exhausted() ? "more than " : "", needed_megabytes, available_megabytes);
    return refuse(what.data());
}

/// deliberate: the skeleton lies a little in front of the plane, so that it is not hidden by an image there.
constexpr float kPlane = 0.05F;
constexpr int kNspace = 3;

/// Class codes as two letters; other codes have no letters.
constexpr std::array<std::string_view, 6> kLabels{"SP", "AN", "RN", "AF", "RF", "CE"};
constexpr int kLabelLength = 2;

// --- Input ---

/// The vectors of a run: those of the field's first plane.
struct Input {
    HostArray<xp_long> dims;
    HostArray<float> points;  // only asked for: a field without points is refused
    std::optional<FloatValues> vectors;

    VectorGrid grid() const { return {vectors->span().data(), static_cast<int>(dims[0]), static_cast<int>(dims[1])}; }
};

/// Reads the node data of a field whose dims are known. @return false after a report
bool read_vectors(OMobj_id field, Input& input) {
    int ncomp = 0;
    FLDget_node_data_ncomp(field, &ncomp);
    if (ncomp > 1) return refuse("too many data component in the input field");
    if (ncomp < 1) return refuse("no data component in the input field");
    int veclen = 0;
    FLDget_node_data_veclen(field, 0, &veclen);
    if (veclen > 2) return refuse("too many veclen in the input field");
    if (veclen < 2) return refuse("less veclen in the input field");
    auto values = TypedBytes::read(field, 0);
    if (!values) return report.fail("node error\n");
    constexpr xp_long kMaxNodes = TOPOLOGY_MAX_CELLS + 1;
    if (input.dims[0] > kMaxNodes || input.dims[1] > kMaxNodes) return refuse("more than 1000 cells in a direction");
    input.vectors = FloatValues::first(std::move(*values), 2 * input.dims[0] * input.dims[1]);
    return input.vectors || report.fail("node error\n");
}

/// @return false after a report
bool read_input(const Parameters& params, Input& input) {
    const OMobj_id field = params.find("in_field");
    int ndim = 0;
    if (FLDget_dims(field, input.dims.receive(), &ndim) != 1 || !input.dims || ndim < 2 || input.dims[0] < 0 ||
        input.dims[1] < 0) {
        return report.fail("dims error\n");
    }
    int nspace = 0;
    FLDget_nspace(field, &nspace);
    if (FLDget_points(field, input.points.receive(), input.points.receive_count(), ARR_READ) != 1) {
        return report.fail("points error\n");
    }
    return read_vectors(field, input);
}

void read_parameters(const Parameters& params, Skeleton& skeleton) {
    params.integer("go");  // deliberate: it only starts runs
    skeleton.interval = params.real("Interval", 100.0);
    skeleton.radius = params.real("Radius", 0.01);
}

// --- The skeleton ---

void classify_points(const VectorGrid& grid, Skeleton& skeleton) {
    skeleton.critical_num = skeleton.saddle_num = 0;
    for (CriticalPoint& point : skeleton.critical_points) {
        if (point.x == -1.0) break;
        const int kind = classify_critical_point(grid, point, skeleton);
        point.kind = kind;
        if (kind == TOPOLOGY_SADDLE) skeleton.append_entry(point.x, point.y);
        ++skeleton.critical_num;
    }
}

/// @return false after a report
bool make_skeleton(const VectorGrid& grid, Skeleton& skeleton) {
    skeleton.reset(grid);
    if (!find_critical_points(grid, skeleton)) return refuse("more than 200 critical points in the input field");
    classify_points(grid, skeleton);
    if (!trace_separatrices(grid, skeleton) && skeleton.missing == 0)
        return refuse("too many steps along the separatrices");
    return skeleton.missing == 0 || refuse_size(skeleton);
}

// --- Output ---

/// Arrays for the two outputs. All are made before the first output is touched.
struct Output {
    xp_long nodes = 0, lines = 0;   // of out_field; each node but the last of a separatrix starts a line
    std::vector<xp_long> per_line;  // nodes of each separatrix
    OutArray<float> coord;
    OutArray<xp_long> connect;
    xp_long points = 0;  // of out_field2
    OutArray<float> point_coord;
    OutArray<char> labels;
    OutArray<xp_long> no_connect;
};

float* write_position(float* to, double x, double y) {
    *to++ = static_cast<float>(x);
    *to++ = static_cast<float>(y);
    *to++ = kPlane;
    return to;
}

/// Writes out the positions of the separatrices and frees each node and record once it is written.
void take_streamlines(Skeleton& skeleton, Output& output) {
    float* coord = output.coord.data();
    while (!skeleton.streamlines.empty()) {
        xp_long nodes = 0;
        for (const TopologyPoint* point = skeleton.streamlines.front().first; point; ++nodes) {
            coord = write_position(coord, point->x, point->y);
            point = point->next;
            skeleton.points.pop_front();
        }
        output.per_line.push_back(nodes);
        skeleton.streamlines.pop_front();
    }
    skeleton.end_streamlines();
}

/// Joins each node of a separatrix to the next.
void write_lines(const Output& output) {
    xp_long* connect = output.connect.data();
    xp_long node = 0;
    for (const xp_long nodes : output.per_line) {
        for (const xp_long last = node + nodes - 1; node < last; ++node) {
            *connect++ = node;
            *connect++ = node + 1;
        }
        ++node;
    }
}

void write_points(const Skeleton& skeleton, const Output& output) {
    float* coord = output.point_coord.data();
    char* label = output.labels.data();
    for (const CriticalPoint& point : skeleton.classified_points()) {
        const auto kind = static_cast<std::size_t>(point.kind + 1);
        coord = write_position(coord, point.x, point.y);
        label = kind > 0 ? std::copy_n(kLabels[kind - 1].data(), kLabelLength, label)
                         : std::fill_n(label, kLabelLength, '\0');  // a class without letters
    }
}

/// Makes all arrays. Memory for those of the separatrices has been counted with their nodes; the node list takes the
/// place of the nodes, so it is made once they are freed.
bool make_output(Skeleton& skeleton, Output& output) {
    output.nodes = static_cast<xp_long>(skeleton.points.size());
    output.lines = output.nodes - static_cast<xp_long>(skeleton.streamlines.size());
    output.points = skeleton.critical_num;
    output.coord = OutArray<float>::allocate(kNspace * output.nodes);
    if (!output.coord) return report.fail("coord array is not allocated\n");
    take_streamlines(skeleton, output);
    output.connect = OutArray<xp_long>::allocate(2 * output.lines);
    if (!output.connect) return report.fail("connect array is not allocated\n");
    write_lines(output);
    output.point_coord = OutArray<float>::allocate(kNspace * output.points);
    if (!output.point_coord) return report.fail("point coord array is not allocated\n");
    output.labels = OutArray<char>::allocate(kLabelLength * output.points);
    if (!output.labels) return report.fail("label array is not allocated\n");
    output.no_connect = OutArray<xp_long>::allocate(0);
    if (!output.no_connect) return report.fail("point connect array is not allocated\n");
    write_points(skeleton, output);
    return true;
}

/// Gives a field its nodes and one cell set of lines.
bool set_mesh(OMobj_id field, xp_long nodes, OutArray<float>& coord, xp_long lines, OutArray<xp_long>& connect) {
    if (FLDset_nnodes(field, nodes) != 1 || FLDset_nspace(field, kNspace) != 1) return false;
    if (FLDset_coord(field, coord.data(), coord.size(), ARR_HOST_OWNS) != 1) return false;
    coord.release();
    OMobj_id cells{};
    int cell_nnodes = 0;
    if (FLDset_ncell_sets(field, 0) != 1 || FLDadd_cell_set(field, "Line") != 1) return false;
    if (FLDget_cell_set(field, 0, &cells) != 1 || FLDset_ncells(cells, lines) != 1) return false;
    if (FLDget_cell_set_nnodes(cells, &cell_nnodes) != 1 || lines * cell_nnodes != connect.size()) return false;
    if (FLDset_node_connect(cells, connect.data(), connect.size(), ARR_HOST_OWNS) != 1) return false;
    connect.release();
    return true;
}

bool set_labels(OMobj_id field, OutArray<char>& labels) {
    if (FLDset_node_data_ncomp(field, 1) != 1 || FLDset_node_data_veclen(field, 0, kLabelLength) != 1) return false;
    if (FLDset_node_data(field, 0, labels.data(), labels.type(), labels.size(), ARR_HOST_OWNS) != 1) return false;
    labels.release();
    return true;
}

/// Hands both outputs over. @return false after a report
bool write_outputs(const Parameters& params, Output& output) {
    const OMobj_id lines = params.find("out_field", OM_OBJ_RW);
    if (!set_mesh(lines, output.nodes, output.coord, output.lines, output.connect)) {
        return report.fail("out_field error\n");
    }
    const OMobj_id points = params.find("out_field2", OM_OBJ_RW);
    if (!set_mesh(points, output.points, output.point_coord, 0, output.no_connect) ||
        !set_labels(points, output.labels)) {
        return report.fail("out_field2 error\n");  // out_field has been written
    }
    return true;
}

/// The state of the last run, until the next one begins: the exported lists point into it. Only the entry names it.
Skeleton last_run({saddle_list_head, saddle_list});

bool update(const Parameters& params, Skeleton& skeleton) try {
    Input input;
    if (!read_input(params, input)) return false;
    const Publication at_the_end(skeleton);
    read_parameters(params, skeleton);
    Output output;
    return make_skeleton(input.grid(), skeleton) && make_output(skeleton, output) && write_outputs(params, output);
} catch (const std::bad_alloc&) {
    return report.fail("topology point array is not allocated\n");
}

}  // namespace
}  // namespace zam::topology

int ZAMtopologyline2D(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    return zam::topology::update(zam::Parameters(instance), zam::topology::last_run) ? 1 : 0;
}
