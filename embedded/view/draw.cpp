#include "embedded/view/draw.h"

#include <cmath>
#include <numeric>

#include "base/available_memory.h"
#include "embedded/view/faces.h"
#include "embedded/view/polygon.h"

namespace zam::host::view {
namespace {

using Vector = std::array<float, 3>;

// Light comes from the viewer: a face that looks at the viewer has its full colour, one seen edge-on this share of it.
constexpr double kAmbient = 0.25;

// Outer faces of volumes that meet at an edge keep it: a node's normal serves faces within about 37 degrees of it.
constexpr double kCreaseCosine = 0.8;

double dot(const Point& a, const Point& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

double length(const Point& p) { return std::sqrt(dot(p, p)); }

Point widened(const Vector& v) {
    return {static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2])};
}

/// From nodes of a patch to nodes of the field: a patch is a whole field, or one side of a grid.
struct Numbering {
    xp_long row = 1;  // nodes of the patch in a row
    xp_long first = 0, stride_u = 1, stride_v = 0;

    xp_long field_node(xp_long node) const {
        return stride_v == 0 ? first + node * stride_u : first + node % row * stride_u + node / row * stride_v;
    }
};

/// Nodes that are drawn together, in view space, and how they are drawn.
class Patch {
public:
    /// @param count  at most kMaxPatchNodes
    /// @throws std::bad_alloc if memory for positions, normals and stretches of lines is exhausted
    Patch(const Nodes& nodes, const Affine& to_view, const Paint& paint, Canvas& canvas, xp_long count,
          const Numbering& numbering)
        : paint_(paint), canvas_(canvas), numbering_(numbering), points_(affordable(count)) {
        for (xp_long i = 0; i < count; ++i) {
            const Point p = to_view.apply(nodes.at(numbering.field_node(i)));
            points_[static_cast<std::size_t>(i)] = {static_cast<float>(p[0]), static_cast<float>(p[1]),
                                                    static_cast<float>(p[2])};
        }
    }

    /// Draws faces as one surface: a node that several of them share has the mean of their normals.
    template <class Faces>
    void draw_faces(const Faces& faces);
    void draw_line(xp_long from, xp_long to, xp_long cell);
    void draw_dot(xp_long node, xp_long cell);
    xp_long count() const { return static_cast<xp_long>(points_.size()); }

private:
    static std::size_t affordable(xp_long count) {
        AvailableMemory().require(count, 2 * sizeof(Vector) + sizeof(Node));
        return static_cast<std::size_t>(count);
    }
    /// Takes the corners of a face; false if one is not finite.
    bool gather(std::span<const Node> face);
    void add_normal(Node node, const Point& normal);
    double light(Node node, const Point& face_normal, bool has_creases) const;
    Vertex vertex(xp_long node, xp_long cell, double light) const;
    void draw_face(std::span<const Node> face, xp_long cell, bool has_creases);

    const Paint& paint_;
    Canvas& canvas_;
    Numbering numbering_;
    std::vector<Vector> points_;
    std::vector<Vector> normals_;  // sums of area normals, for the faces being drawn
    std::vector<Point> polygon_;   // corners of the face at hand
    std::vector<Corners> triangles_;
    std::vector<Vertex> vertices_;
};

bool Patch::gather(std::span<const Node> face) {
    polygon_.clear();
    for (const Node node : face) {
        const Point p = widened(points_[node]);
        if (!is_finite(p)) return false;
        polygon_.push_back(p);
    }
    return true;
}

/// Faces need not turn the same way: a normal more than 135 degrees away from the sum is turned round. One
/// less far away belongs to the other side of a sharp edge.
void Patch::add_normal(Node node, const Point& normal) {
    Vector& sum = normals_[node];
    const Point before = widened(sum);
    const double cosine = dot(before, normal);
    const bool opposite = cosine < 0 && 2.0 * cosine * cosine > dot(before, before) * dot(normal, normal);
    const double sign = opposite ? -1.0 : 1.0;
    for (std::size_t k = 0; k < 3; ++k) sum[k] += static_cast<float>(sign * normal[k]);
}

/// The share of its colour that a corner shows.
double Patch::light(Node node, const Point& face_normal, bool has_creases) const {
    Point normal = widened(normals_[node]);
    double size = length(normal);
    const double face_size = length(face_normal);
    const bool unusable = !(size > 0.0 && std::isfinite(size));
    if (unusable || (has_creases && std::fabs(dot(normal, face_normal)) < kCreaseCosine * size * face_size)) {
        normal = face_normal;
        size = face_size;
    }
    const double facing = size > 0.0 && std::isfinite(size) ? std::fabs(normal[2]) / size : 1.0;
    return kAmbient + (1.0 - kAmbient) * std::min(facing, 1.0);
}

Vertex Patch::vertex(xp_long node, xp_long cell, double light) const {
    Vertex vertex{widened(points_[static_cast<std::size_t>(node)]), paint_.at(numbering_.field_node(node), cell)};
    for (float& channel : vertex.color) channel = static_cast<float>(static_cast<double>(channel) * light);
    return vertex;
}

void Patch::draw_face(std::span<const Node> face, xp_long cell, bool has_creases) {
    const Point normal = area_normal(polygon_);
    vertices_.clear();
    for (const Node node : face) vertices_.push_back(vertex(node, cell, light(node, normal, has_creases)));
    if (face.size() == 3) return canvas_.triangle(vertices_[0], vertices_[1], vertices_[2]);
    triangles_.clear();
    triangulate(polygon_, normal, triangles_);
    for (const Corners& corners : triangles_)
        canvas_.triangle(vertices_[corners[0]], vertices_[corners[1]], vertices_[corners[2]]);
}

template <class Faces>
void Patch::draw_faces(const Faces& faces) {
    normals_.resize(points_.size());
    faces.each([&](std::span<const Node> face, xp_long /*cell*/) {
        for (const Node node : face) normals_[node] = {};  // of the faces drawn before
    });
    faces.each([&](std::span<const Node> face, xp_long /*cell*/) {
        if (!gather(face)) return;
        const Point normal = area_normal(polygon_);
        for (const Node node : face) add_normal(node, normal);
    });
    faces.each([&](std::span<const Node> face, xp_long cell) {
        if (gather(face)) draw_face(face, cell, Faces::kHasCreases);
    });
}

void Patch::draw_line(xp_long from, xp_long to, xp_long cell) {
    if (from < 0 || to < 0 || from >= count() || to >= count()) return;
    const Vertex a = vertex(from, cell, 1.0);
    const Vertex b = vertex(to, cell, 1.0);
    if (is_finite(a.position) && is_finite(b.position)) canvas_.line(a, b);
}

void Patch::draw_dot(xp_long node, xp_long cell) {
    if (node < 0 || node >= count()) return;
    const Vertex at = vertex(node, cell, 1.0);
    if (is_finite(at.position)) canvas_.dot(at);
}

// --- Grids ---

/// Draws a grid by its nodes: a line, a surface or the sides of a volume.
class GridDrawing {
public:
    GridDrawing(const Nodes& nodes, const Affine& to_view, const Paint& paint, Canvas& canvas)
        : nodes_(nodes), to_view_(to_view), paint_(paint), canvas_(canvas), dims_(*nodes.dims()) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (dims_[axis] > 1) axes_.push_back(axis);
        }
    }

    Drawn draw() {
        switch (axes_.size()) {
            case 0:
            case 1: return draw_line();
            case 2: return draw_side(axes_[0], axes_[1], 0, 0);
            default: return draw_volume();
        }
    }

private:
    xp_long node_stride(std::size_t axis) const { return axis == 0 ? 1 : axis == 1 ? dims_[0] : dims_[0] * dims_[1]; }
    xp_long cells(std::size_t axis) const { return std::max<xp_long>(dims_[axis] - 1, 1); }
    xp_long cell_stride(std::size_t axis) const { return axis == 0 ? 1 : axis == 1 ? cells(0) : cells(0) * cells(1); }

    Drawn draw_line() {
        if (nodes_.count() > kMaxPatchNodes) return Drawn::too_many_nodes;
        Patch patch(nodes_, to_view_, paint_, canvas_, nodes_.count(), {});
        if (axes_.empty()) patch.draw_dot(0, 0);
        for (xp_long node = 0; node + 1 < nodes_.count(); ++node) patch.draw_line(node, node + 1, node);
        return Drawn::done;
    }

    /// @param node, cell  the first of the side
    Drawn draw_side(std::size_t u, std::size_t v, xp_long node, xp_long cell) {
        const xp_long nu = dims_[u];
        const xp_long nv = dims_[v];
        if (nu > kMaxPatchNodes / nv) return Drawn::too_many_nodes;
        const Numbering numbering{nu, node, node_stride(u), node_stride(v)};
        Patch patch(nodes_, to_view_, paint_, canvas_, nu * nv, numbering);
        patch.draw_faces(GridFaces{nu, nv, cell, cell_stride(u), cell_stride(v)});
        return Drawn::done;
    }

    Drawn draw_volume() {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::size_t u = axis == 0 ? 1 : 0;
            const std::size_t v = axis == 2 ? 1 : 2;
            for (const bool far : {false, true}) {
                const xp_long node = far ? (dims_[axis] - 1) * node_stride(axis) : 0;
                const xp_long cell = far ? (cells(axis) - 1) * cell_stride(axis) : 0;
                const Drawn drawn = draw_side(u, v, node, cell);
                if (drawn != Drawn::done) return drawn;
            }
        }
        return Drawn::done;
    }

    const Nodes& nodes_;
    const Affine& to_view_;
    const Paint& paint_;
    Canvas& canvas_;
    std::array<xp_long, 3> dims_;
    std::vector<std::size_t> axes_;  // with more than one node
};

// --- Cell sets ---

/// Nodes per cell; of a cell set without a type, the length of its node list over its number of cells.
int nodes_per_cell(const CellSet& cells) {
    if (cells.type) return cells.type->poly ? 0 : cells.type->nnodes;
    if (!cells.connect || cells.ncells < 1 || cells.connect.count % cells.ncells != 0) return 0;
    const xp_long each = cells.connect.count / cells.ncells;
    return each <= 8 ? static_cast<int>(each) : 0;
}

bool is_polyline(const CellSet& cells) { return cells.type && cells.type->poly && cells.type->nnodes == 2; }

/// Cells for which there are node lists.
xp_long cell_count(const CellSet& cells) {
    if (is_polyline(cells)) return std::min(cells.npolys, cells.poly_connect.count / 2);
    if (cells.type && cells.type->poly) {
        if (cells.poly_nnodes) return std::min(cells.npolys, cells.poly_nnodes.count);
        // polygons without a list of their sizes all have the same number of corners, at least three
        const bool even = cells.npolys > 0 && cells.poly_connect.count % cells.npolys == 0;
        return even && cells.poly_connect.count / cells.npolys >= 3 ? cells.npolys : 0;
    }
    const int each = nodes_per_cell(cells);
    return each > 0 && cells.connect ? std::min(cells.ncells, cells.connect.count / each) : 0;
}

bool is_volume(const CellSet& cells) {
    const int each = nodes_per_cell(cells);
    // four nodes are a tetrahedron only where the cell set says so
    const bool tet = cells.type && std::string_view(cells.type->name) == "Tet";
    return each == 4 ? tet : each == 5 || each == 6 || each == 8;
}

/// Polylines of a patch: each runs from a first to a last node through all between. A stretch that several run through
/// is drawn for the first of them: however many overlap, they take no more time than one that does not.
class Polylines {
public:
    void draw(Patch& patch, const CellSet& cells, xp_long first_cell) {
        if (next_.empty()) {
            next_.resize(static_cast<std::size_t>(patch.count()));
            std::iota(next_.begin(), next_.end(), Node{0});
        }
        const auto* ends = cells.poly_connect.as<const xp_long>();
        for (xp_long i = 0; i < cell_count(cells); ++i) {
            const auto [first, last] = std::minmax({ends[2 * i], ends[2 * i + 1]});
            if (first < 0 || last >= patch.count()) continue;
            for (xp_long node = undrawn(first); node < last; node = undrawn(node)) {
                patch.draw_line(node, node + 1, first_cell + i);
                next_[static_cast<std::size_t>(node)] = static_cast<Node>(node + 1);
            }
        }
    }

private:
    /// The first stretch from here on that has not been drawn.
    xp_long undrawn(xp_long stretch) {
        auto at = static_cast<Node>(stretch);
        while (next_[at] != at) at = next_[at] = next_[next_[at]];
        return static_cast<xp_long>(at);
    }

    std::vector<Node> next_;  // a stretch by its first node: leads to itself as long as it is not drawn
};

/// Polygons without a list of their sizes all have the same number of corners.
void draw_polygons(Patch& patch, const CellSet& cells, xp_long first_cell) {
    const auto span = [](const Array& array, xp_long count) {
        return std::span<const xp_long>(array.as<const xp_long>(), static_cast<std::size_t>(count));
    };
    const xp_long count = cell_count(cells);
    std::vector<xp_long> equal;
    if (!cells.poly_nnodes) equal.assign(static_cast<std::size_t>(count), cells.poly_connect.count / count);
    patch.draw_faces(Polygons{cells.poly_nnodes ? span(cells.poly_nnodes, count) : equal,
                              span(cells.poly_connect, cells.poly_connect.count), patch.count(), first_cell});
}

void draw_cell_set(Patch& patch, Polylines& polylines, const CellSet& cells, xp_long first_cell) {
    const xp_long count = cell_count(cells);
    if (count == 0) return;
    const auto* connect = cells.connect.as<const xp_long>();
    if (is_polyline(cells)) return polylines.draw(patch, cells, first_cell);
    switch (nodes_per_cell(cells)) {
        case 0: return draw_polygons(patch, cells, first_cell);
        case 1:
            for (xp_long i = 0; i < count; ++i) patch.draw_dot(connect[i], first_cell + i);
            return;
        case 2:
            for (xp_long i = 0; i < count; ++i) patch.draw_line(connect[2 * i], connect[2 * i + 1], first_cell + i);
            return;
        case 3: return patch.draw_faces(CellFaces{connect, count, 3, patch.count(), first_cell});
        case 4: return patch.draw_faces(CellFaces{connect, count, 4, patch.count(), first_cell});
        default: return;  // no cell type has seven nodes
    }
}

void draw_cell_sets(Patch& patch, const Field& field) {
    std::vector<VolumeCells> volumes;
    Polylines polylines;
    xp_long first_cell = 0;
    for (Object* object : field.cell_sets) {
        const CellSet& cells = *object->part<CellSet>();
        if (is_volume(cells)) {
            volumes.push_back(
                {cells.connect.as<const xp_long>(), cell_count(cells), nodes_per_cell(cells), first_cell});
        } else {
            draw_cell_set(patch, polylines, cells, first_cell);
        }
        first_cell += cell_count(cells);
    }
    if (!volumes.empty()) patch.draw_faces(OuterFaces(volumes, patch.count()));
}

xp_long cells_of_sets(const Field& field) {
    xp_long count = 0;
    for (Object* object : field.cell_sets) count += cell_count(*object->part<CellSet>());
    return count;
}

/// Cells of the sets, or of the grid that is drawn where these have none.
xp_long count_cells(const Field& field, const Nodes& nodes) {
    xp_long count = cells_of_sets(field);
    if (count > 0 || !nodes.dims()) return count;
    count = 1;
    for (const xp_long dim : *nodes.dims()) count *= std::max<xp_long>(dim - 1, 1);
    return count;
}

}  // namespace

Drawn draw_object(Object& object, const Affine& to_view, const Look& look, Canvas& canvas) {
    const auto nodes = Nodes::of(object);
    if (!nodes) return Drawn::done;
    const Field& field = *object.part<Field>();
    const auto paint = Paint::of(field, look.color, look.datamap, nodes->count(), count_cells(field, *nodes));
    if (!paint) return Drawn::broken_datamap;
    const bool has_cells = cells_of_sets(field) > 0;
    if (!has_cells && nodes->dims()) return GridDrawing(*nodes, to_view, *paint, canvas).draw();

    if (nodes->count() > kMaxPatchNodes) return Drawn::too_many_nodes;
    Patch patch(*nodes, to_view, *paint, canvas, nodes->count(), {});
    if (!has_cells) {
        for (xp_long node = 0; node < nodes->count(); ++node) patch.draw_dot(node, -1);
    } else {
        draw_cell_sets(patch, field);
    }
    return Drawn::done;
}

}  // namespace zam::host::view
