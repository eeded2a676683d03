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
#include <cstring>
#include <new>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
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

/// A fault in the input, set off by lines.
bool refuse(const char* what) {
    return report.fail("--- Error detected in: module: topoline ---\n%s, topology line is not created\n%s\n", what,
                       "--------------------------------------------------");
}

/// The state of this run, or of the last one: the exported lists point into it.
Skeleton skeleton({saddle_list_head, saddle_list});

/// Shows a run's state to other programs, however the run ends.
class Publication {
public:
    Publication() = default;
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;
    ~Publication() {
        skeleton.end_streamlines();
        streamline_list_head = streamline_list_tail = streamline = streamline_prev = nullptr;
        Interval = skeleton.interval;
        Radius = skeleton.radius;
        std::ranges::copy(skeleton.critical_points, critical_index);
        critical_num = skeleton.critical_num;
        origin_num = skeleton.saddle_num;
        for (std::size_t saddle = 0; saddle < static_cast<std::size_t>(skeleton.saddle_num); ++saddle)
            std::ranges::copy(skeleton.directions[saddle], eigen_vector[saddle]);
    }
};

/// Separatrices that memory does not hold. How much they need is known unless even counting them took too long.
bool refuse_size() {
    constexpr std::int64_t kMegabyte = 1'000'000;
    const std::int64_t charged = skeleton.points.charged();
    const std::int64_t needed = charged + skeleton.missing * static_cast<std::int64_t>(PointBlocks::kNodeBytes);
    std::array<char, 200> what{};
    std::snprintf(what.data(), what.size(), "the separatrices need %s%lld MB of memory and %lld MB are available",
                  skeleton.exhausted() ? "more than " : "", static_cast<long long>(needed / kMegabyte + 1),
                  static_cast<long long>((charged + skeleton.memory.left()) / kMegabyte));
    return refuse(what.data());
}

/// deliberate: the skeleton lies a little in front of the plane, so that it is not hidden by an image there.
constexpr float kPlane = 0.05F;
constexpr int kNspace = 3;

/// Class codes as two letters; other codes have no letters.
constexpr std::array<std::string_view, 6> kLabels{"SP", "AN", "RN", "AF", "RF", "CE"};
constexpr int kLabelLength = 2;

// --- Input ---

/// The vectors of a run. The host's array is lent, or its values are held as floats.
struct Input {
    HostArray<xp_long> dims;
    HostArray<float> points;  // only shows that the field has some
    HostArray<std::byte> data;
    std::vector<float> converted;
    VectorGrid grid;
};

template <class T>
void convert(const std::byte* data, std::vector<float>& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        T value;
        std::memcpy(&value, data + i * sizeof value, sizeof value);
        values[i] = static_cast<float>(value);
    }
}

/// Points the grid at `count` values of a type, converted where they are not floats. @return false for other types
bool take_vectors(Input& input, int type, std::size_t count) {
    if (type == DTYPE_FLOAT) {
        input.grid.vectors = reinterpret_cast<const float*>(input.data.data());
        return true;
    }
    input.converted.resize(count);
    switch (type) {
        case DTYPE_CHAR:
        case DTYPE_BYTE: convert<std::uint8_t>(input.data.data(), input.converted); break;
        case DTYPE_SHORT: convert<std::int16_t>(input.data.data(), input.converted); break;
        case DTYPE_INT: convert<std::int32_t>(input.data.data(), input.converted); break;
        case DTYPE_DOUBLE: convert<double>(input.data.data(), input.converted); break;
        case DTYPE_LONG: convert<xp_long>(input.data.data(), input.converted); break;
        default: return false;
    }
    input.grid.vectors = input.converted.data();
    return true;
}

/// Node data of a field of two or more dimensions; its first plane counts.
bool read_vectors(OMobj_id field, Input& input) {
    int ncomp = 0;
    FLDget_node_data_ncomp(field, &ncomp);
    if (ncomp > 1) return refuse("too many data component in the input field");
    if (ncomp < 1) return refuse("no data component in the input field");
    int veclen = 0;
    FLDget_node_data_veclen(field, 0, &veclen);
    if (veclen > 2) return refuse("too many veclen in the input field");
    if (veclen < 2) return refuse("less veclen in the input field");
    int type = DTYPE_FLOAT;
    const int status =
        FLDget_node_data(field, 0, &type, input.data.receive_untyped(), input.data.receive_count(), ARR_READ);
    if (status != 1) return report.fail("node error\n");
    constexpr xp_long kMaxNodes = TOPOLOGY_MAX_CELLS + 1;
    if (input.dims[0] > kMaxNodes || input.dims[1] > kMaxNodes) return refuse("more than 1000 cells in a direction");
    const xp_long values = 2 * input.dims[0] * input.dims[1];
    input.grid.columns = static_cast<int>(input.dims[0]);
    input.grid.rows = static_cast<int>(input.dims[1]);
    if (input.data.size() < values) return report.fail("node error\n");
    return take_vectors(input, type, static_cast<std::size_t>(values)) || report.fail("node error\n");
}

bool read_input(OMobj_id instance, Input& input) {
    const OMobj_id field = zam::find_parameter(instance, "in_field", OM_OBJ_RD);
    int ndim = 0;
    if (FLDget_dims(field, input.dims.receive(), &ndim) != 1 || ndim < 2 || input.dims[0] < 0 || input.dims[1] < 0) {
        return report.fail("dims error\n");
    }
    int nspace = 0;
    FLDget_nspace(field, &nspace);
    if (FLDget_points(field, input.points.receive(), input.points.receive_count(), ARR_READ) != 1) {
        return report.fail("points error\n");
    }
    return read_vectors(field, input);
}

void read_parameters(OMobj_id instance) {
    int go = 0;
    OMget_name_int_val(instance, OMstr_to_name("go"), &go);  // deliberate: it only starts runs
    const auto read = [instance](const char* name, double& value, double otherwise) {
        if (OMget_name_real_val(instance, OMstr_to_name(name), &value) != 1) value = otherwise;
    };
    read("Interval", skeleton.interval, 100.0);
    read("Radius", skeleton.radius, 0.01);
}

// --- The skeleton ---

void classify_points(const VectorGrid& grid) {
    skeleton.critical_num = skeleton.saddle_num = 0;
    for (CriticalPoint& point : skeleton.critical_points) {
        if (point.x == -1.0) break;
        const int kind = classify_critical_point(grid, point, skeleton);
        point.kind = kind;
        if (kind == TOPOLOGY_SADDLE) skeleton.append_entry(point.x, point.y);
        ++skeleton.critical_num;
    }
}

std::span<const CriticalPoint> classified_points() {
    return std::span(skeleton.critical_points).first(static_cast<std::size_t>(skeleton.critical_num));
}

/// @return false after a report
bool make_skeleton(const VectorGrid& grid) {
    skeleton.reset(grid);
    if (!find_critical_points(grid, skeleton)) return refuse("more than 200 critical points in the input field");
    classify_points(grid);
    for (const CriticalPoint& point : classified_points()) {
        if (static_cast<int>(point.kind) != TOPOLOGY_SADDLE) continue;
        if (seed_separatrices(grid, point, skeleton)) continue;
        if (skeleton.missing > 0) break;
        return refuse("too many steps along the separatrices");
    }
    return skeleton.missing == 0 || refuse_size();
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

/// Writes the positions of the separatrices out and ends each node and record with that.
void take_streamlines(Output& output) {
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

void write_points(const Output& output) {
    float* coord = output.point_coord.data();
    char* label = output.labels.data();
    for (const CriticalPoint& point : classified_points()) {
        const auto kind = static_cast<std::size_t>(point.kind + 1);
        coord = write_position(coord, point.x, point.y);
        label = kind > 0 ? std::copy_n(kLabels[kind - 1].data(), kLabelLength, label)
                         : std::fill_n(label, kLabelLength, '\0');  // a class without letters
    }
}

/// Makes all arrays. Memory for those of the separatrices has been counted with their nodes; the node list takes the
/// place of the nodes, so it comes after them.
bool make_output(Output& output) {
    output.nodes = static_cast<xp_long>(skeleton.points.size());
    output.lines = output.nodes - static_cast<xp_long>(skeleton.streamlines.size());
    output.points = skeleton.critical_num;
    output.coord = OutArray<float>::allocate(kNspace * output.nodes);
    if (!output.coord) return report.fail("coord array is not allocated\n");
    take_streamlines(output);
    output.connect = OutArray<xp_long>::allocate(2 * output.lines);
    if (!output.connect) return report.fail("connect array is not allocated\n");
    write_lines(output);
    output.point_coord = OutArray<float>::allocate(kNspace * output.points);
    if (!output.point_coord) return report.fail("point coord array is not allocated\n");
    output.labels = OutArray<char>::allocate(kLabelLength * output.points);
    if (!output.labels) return report.fail("label array is not allocated\n");
    output.no_connect = OutArray<xp_long>::allocate(0);
    if (!output.no_connect) return report.fail("point connect array is not allocated\n");
    write_points(output);
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

bool write_outputs(OMobj_id instance) {
    Output output;
    if (!make_output(output)) return false;
    const OMobj_id lines = zam::find_parameter(instance, "out_field", OM_OBJ_RW);
    if (!set_mesh(lines, output.nodes, output.coord, output.lines, output.connect)) {
        return report.fail("out_field error\n");
    }
    const OMobj_id points = zam::find_parameter(instance, "out_field2", OM_OBJ_RW);
    if (!set_mesh(points, output.points, output.point_coord, 0, output.no_connect) ||
        !set_labels(points, output.labels)) {
        return report.fail("out_field2 error\n");  // out_field has been written
    }
    return true;
}

bool update(OMobj_id instance) try {
    Input input;
    if (!read_input(instance, input)) return false;
    const Publication at_the_end;
    read_parameters(instance);
    return make_skeleton(input.grid) && write_outputs(instance);
} catch (const std::bad_alloc&) {
    return report.fail("topology point array is not allocated\n");
}

}  // namespace
}  // namespace zam::topology

int ZAMtopologyline2D(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    return zam::topology::update(instance) ? 1 : 0;
}
