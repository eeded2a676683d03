// Fields as VTK XML files: a header in XML, then the arrays as raw appended data, each after its length in bytes.
#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <set>

#include "base/checked_product.h"
#include "base/element_types.h"
#include "embedded/host.h"
#include "session/objects/field_access.h"
#include "session/objects/run_error.h"
#include "session/outputs/outputs.h"
#include "session/values/cell_types.h"

namespace zam::session {
namespace {

constexpr std::array<std::string_view, 7> kVtkTypes{"UInt8", "UInt8", "Int16", "Int32", "Float32", "Float64", "Int64"};

// Polylines that overlap may have more nodes than the field: no more than 2 GiB of them.
constexpr std::size_t kMaxPolylineNodes = std::size_t{1} << 28;

constexpr std::size_t kAlignment = 64;

/// The kind of file of each grid type, in the order of FLD_UNIFORM and on.
struct FileKind {
    OutputKind kind;
    std::string_view ending, data_set;
};
constexpr FileKind kFileKinds[] = {{OutputKind::vti, ".vti", "ImageData"},
                                   {OutputKind::vtr, ".vtr", "RectilinearGrid"},
                                   {OutputKind::vts, ".vts", "StructuredGrid"},
                                   {OutputKind::vtu, ".vtu", "UnstructuredGrid"}};

std::string xml_text(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            default: escaped += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
    }
    return escaped;
}

std::string real_text(double value) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

/// An array of the appended part.
struct Block {
    int type;
    xp_long count;
    std::function<void(OutputFile&)> write;
};

/// Collects the header and the arrays it announces.
class VtkFile {
public:
    void line(const std::string& text) { header_ += text + "\n"; }

    /// `count` numbers that `write` writes when their turn comes.
    void array(std::string_view name, int components, int type, xp_long count, std::function<void(OutputFile&)> write) {
        line("<DataArray type=\"" + std::string(kVtkTypes[static_cast<std::size_t>(type)]) + "\" Name=\"" +
             xml_text(name) + "\" NumberOfComponents=\"" + std::to_string(components) +
             "\" format=\"appended\" offset=\"" + std::to_string(offset_) + "\"/>");
        const auto bytes = checked_product(count, static_cast<xp_long>(type_size(type)));
        if (!bytes || *bytes > (xp_long{1} << 60)) throw RunError("the field is too large for a file");
        offset_ += *bytes + static_cast<xp_long>(sizeof(xp_long));
        blocks_.push_back({type, count, std::move(write)});
    }

    void write(OutputFile& file) const {
        // the first array begins at a multiple of 64 bytes: systems copy what is aligned into files faster
        const std::string end = "<AppendedData encoding=\"raw\">\n_";
        const std::size_t before = header_.size() + end.size() + sizeof(xp_long);  // the length of the array
        file.write(header_ + std::string(kAlignment - before % kAlignment, ' ') + end);
        for (const auto& block : blocks_) {
            const xp_long bytes = block.count * static_cast<xp_long>(type_size(block.type));
            file.write_values(DTYPE_LONG, &bytes, 1);
            block.write(file);
        }
        file.write("\n</AppendedData>\n</VTKFile>\n");
    }

private:
    std::string header_;
    xp_long offset_ = 0;
    std::vector<Block> blocks_;
};

/// Nodes along three axes: missing ones have one.
std::array<xp_long, 3> three_dims(const FieldShape& shape) {
    if (shape.dims.empty() || shape.dims.size() > 3) throw RunError("VTK files hold fields of 1, 2 or 3 dimensions");
    std::array<xp_long, 3> dims{1, 1, 1};
    std::copy(shape.dims.begin(), shape.dims.end(), dims.begin());
    if (std::find(dims.begin(), dims.end(), 0) != dims.end()) throw RunError("the field has no nodes");
    return dims;
}

std::string whole_extent(const std::array<xp_long, 3>& dims) {
    std::string text;
    for (const xp_long dim : dims) text += (text.empty() ? "0 " : " 0 ") + std::to_string(dim - 1);
    return text;
}

// --- Node data ---

void add_node_data(VtkFile& vtk, OMobj_id field, const FieldShape& shape) {
    std::set<std::string> names;
    vtk.line("<PointData>");
    for (int comp = 0; comp < component_count(field); ++comp) {
        const ComponentHeader header = read_component_header(field, comp);
        const LentValues values = read_node_values(field, comp);
        if (!values.values) continue;
        if (values.values.count() != shape.nnodes * header.veclen) {
            throw RunError("component " + std::to_string(comp) + " does not have a value for every node");
        }
        std::string name = header.name(comp);
        if (!names.insert(name).second) names.insert(name += "_" + std::to_string(comp));  // readers keep one per name
        vtk.array(name, header.veclen, values.type, values.values.count(), [field, comp](OutputFile& file) {
            const LentValues lent = read_node_values(field, comp);
            file.write_values(lent.type, lent.values.data(), lent.values.count());
        });
    }
    vtk.line("</PointData>");
}

// --- Positions ---

/// Coordinates with three components per node, missing ones 0.
void add_coordinates(VtkFile& vtk, OMobj_id field, const FieldShape& shape) {
    const LentArray<float> coord = read_coordinates(field);
    if (coord.count() != shape.nnodes * shape.nspace || (shape.nnodes > 0 && shape.nspace < 1)) {
        throw RunError("the field does not have coordinates for every node");
    }
    vtk.line("<Points>");
    vtk.array("Points", 3, DTYPE_FLOAT, shape.nnodes * 3, [field, shape](OutputFile& file) {
        const LentArray<float> lent = read_coordinates(field);
        const auto nspace = static_cast<std::size_t>(shape.nspace);
        for (std::size_t node = 0; node < static_cast<std::size_t>(shape.nnodes); ++node) {
            std::array<float, 3> position{};
            std::copy_n(lent.data() + node * nspace, nspace, position.begin());
            file.write_values(DTYPE_FLOAT, position.data(), 3);
        }
    });
    vtk.line("</Points>");
}

/// Origin and spacing of a uniform field, from its two points; index space if it has none.
std::string image_geometry(OMobj_id field, const FieldShape& shape, const std::array<xp_long, 3>& dims) {
    const LentArray<float> points = read_points(field);
    const auto nspace = static_cast<std::size_t>(shape.nspace);
    std::string origin;
    std::string spacing;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const bool given = points && axis < nspace && points.span().size() >= 2 * nspace;
        const double low = given ? points.span()[axis] : 0.0;
        const double high = given ? points.span()[nspace + axis] : static_cast<double>(dims[axis] - 1);
        const double step = dims[axis] > 1 ? (high - low) / static_cast<double>(dims[axis] - 1) : 1.0;
        origin += (axis > 0 ? " " : "") + real_text(low);
        spacing += (axis > 0 ? " " : "") + real_text(step);
    }
    return " Origin=\"" + origin + "\" Spacing=\"" + spacing + "\"";
}

/// Positions along each axis of a rectilinear field: of the points along an axis only that axis' component counts.
void add_axes(VtkFile& vtk, OMobj_id field, const FieldShape& shape, const std::array<xp_long, 3>& dims) {
    const LentArray<float> points = read_points(field);
    const auto nspace = static_cast<std::size_t>(shape.nspace);
    const auto expected = static_cast<std::size_t>(dims[0] + dims[1] + dims[2]) - (3 - shape.dims.size());
    if (points.span().size() != expected * nspace) throw RunError("the field does not have positions along its axes");
    vtk.line("<Coordinates>");
    std::size_t first = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto count = static_cast<std::size_t>(dims[axis]);
        std::vector<float> positions(count, 0.0F);
        if (axis < shape.dims.size()) {
            for (std::size_t i = 0; i < count && axis < nspace; ++i) {
                positions[i] = points.span()[(first + i) * nspace + axis];
            }
            first += count;
        }
        vtk.array(std::string(1, "xyz"[axis]), 1, DTYPE_FLOAT, dims[axis], [positions](OutputFile& file) {
            file.write_values(DTYPE_FLOAT, positions.data(), static_cast<xp_long>(positions.size()));
        });
    }
    vtk.line("</Coordinates>");
}

// --- Cells ---

/// The cells of all cell sets, each as a list of nodes.
struct Cells {
    std::vector<xp_long> connectivity;
    std::vector<xp_long> ends;  // of each cell in `connectivity`
    std::vector<std::uint8_t> types;

    void close(const CellType& type) {
        ends.push_back(static_cast<xp_long>(connectivity.size()));
        types.push_back(type.vtk_id);
    }
};

class CellCollector {
public:
    CellCollector(Cells& cells, xp_long nnodes) : cells_(cells), nnodes_(nnodes) {}

    void add(OMobj_id cell_set) {
        std::array<char, FLD_LABEL_SIZE> name{};
        FLDget_cell_set_name(cell_set, name.data(), FLD_LABEL_SIZE);
        const CellType* type = find_cell_type(name.data());
        if (!type) throw RunError("a cell set has no cell type");
        if (type->nnodes > 0) return add_cells(cell_set, *type);
        type->name == "Polyline" ? add_polylines(cell_set, *type) : add_polygons(cell_set, *type);
    }

private:
    void add_node(xp_long node) {
        if (node < 0 || node >= nnodes_) throw RunError("a cell refers to node " + std::to_string(node));
        cells_.connectivity.push_back(node);
    }
    void add_cells(OMobj_id cell_set, const CellType& type) {
        LentArray<xp_long> connect;
        FLDget_node_connect(cell_set, connect.receive(), connect.receive_count(), ARR_READ);
        for (xp_long i = 0; i < connect.count(); ++i) {
            add_node(connect.data()[i]);
            if ((i + 1) % type.nnodes == 0) cells_.close(type);
        }
        if (connect.count() % type.nnodes != 0) throw RunError("a cell set's node list ends within a cell");
    }
    /// Polylines are listed as their first and last nodes.
    void add_polylines(OMobj_id cell_set, const CellType& type) {
        LentArray<xp_long> ends;
        FLDget_poly_connect(cell_set, ends.receive(), ends.receive_count(), ARR_READ);
        for (xp_long i = 0; i + 1 < ends.count(); i += 2) {
            const xp_long last = ends.data()[i + 1];
            if (last >= nnodes_) throw RunError("a polyline refers to node " + std::to_string(last));
            if (cells_.connectivity.size() > kMaxPolylineNodes) throw RunError("the polylines have too many nodes");
            for (xp_long node = ends.data()[i]; node <= last; ++node) add_node(node);
            cells_.close(type);
        }
    }
    void add_polygons(OMobj_id cell_set, const CellType& type) {
        LentArray<xp_long> counts;
        LentArray<xp_long> nodes;
        FLDget_poly_nnodes(cell_set, counts.receive(), counts.receive_count(), ARR_READ);
        FLDget_poly_connect(cell_set, nodes.receive(), nodes.receive_count(), ARR_READ);
        xp_long next = 0;
        for (const xp_long count : counts.span()) {
            if (count < 0 || count > nodes.count() - next) throw RunError("a polygon lacks nodes");
            for (xp_long i = 0; i < count; ++i) add_node(nodes.data()[next++]);
            cells_.close(type);
        }
    }

    Cells& cells_;
    xp_long nnodes_;
};

void add_cells(VtkFile& vtk, const Cells& cells) {
    const auto ncells = static_cast<xp_long>(cells.types.size());
    vtk.line("<Cells>");
    vtk.array("connectivity", 1, DTYPE_LONG, static_cast<xp_long>(cells.connectivity.size()), [&](OutputFile& file) {
        file.write_values(DTYPE_LONG, cells.connectivity.data(), static_cast<xp_long>(cells.connectivity.size()));
    });
    vtk.array("offsets", 1, DTYPE_LONG, ncells,
              [&cells, ncells](OutputFile& file) { file.write_values(DTYPE_LONG, cells.ends.data(), ncells); });
    vtk.array("types", 1, DTYPE_BYTE, ncells,
              [&cells, ncells](OutputFile& file) { file.write_values(DTYPE_BYTE, cells.types.data(), ncells); });
    vtk.line("</Cells>");
}

Cells collect_cells(OMobj_id field, const FieldShape& shape) {
    Cells cells;
    CellCollector collector(cells, shape.nnodes);
    int count = 0;
    FLDget_ncell_sets(field, &count);
    for (int i = 0; i < count; ++i) {
        OMobj_id cell_set{};
        if (FLDget_cell_set(field, i, &cell_set) == 1) collector.add(cell_set);
    }
    return cells;
}

void begin(VtkFile& vtk, std::string_view data_set, const std::string& attributes, const std::string& piece) {
    vtk.line("<?xml version=\"1.0\"?>");
    vtk.line("<VTKFile type=\"" + std::string(data_set) +
             "\" version=\"1.0\" byte_order=\"LittleEndian\" header_type=\"UInt64\">");
    vtk.line("<" + std::string(data_set) + attributes + ">");
    vtk.line("<Piece" + piece + ">");
}

}  // namespace

void write_vtk(OMobj_id object, OutputKind kind, OutputFile& file) {
    if (host::kind(object) != host::Kind::field) throw RunError("only fields are written as VTK files");
    const FieldShape shape = read_shape(object);
    const FileKind& suited = kFileKinds[shape.grid_type - FLD_UNIFORM];
    if (suited.kind != kind) {
        throw RunError("the field is " + std::string(grid_type_name(shape)) + ": write it as " +
                       std::string(suited.ending));
    }
    VtkFile vtk;
    Cells cells;
    if (kind == OutputKind::vtu) {
        cells = collect_cells(object, shape);
        begin(vtk, suited.data_set, "",
              " NumberOfPoints=\"" + std::to_string(shape.nnodes) + "\" NumberOfCells=\"" +
                  std::to_string(cells.types.size()) + "\"");
        add_node_data(vtk, object, shape);
        add_coordinates(vtk, object, shape);
        add_cells(vtk, cells);
    } else {
        const auto dims = three_dims(shape);
        const std::string geometry = kind == OutputKind::vti ? image_geometry(object, shape, dims) : "";
        begin(vtk, suited.data_set, " WholeExtent=\"" + whole_extent(dims) + "\"" + geometry,
              " Extent=\"" + whole_extent(dims) + "\"");
        add_node_data(vtk, object, shape);
        if (kind == OutputKind::vtr) add_axes(vtk, object, shape, dims);
        if (kind == OutputKind::vts) add_coordinates(vtk, object, shape);
    }
    vtk.line("</Piece>");
    vtk.line("</" + std::string(suited.data_set) + ">");
    vtk.write(file);
}

}  // namespace zam::session
