#include "runner/written_info.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "base/element_types.h"
#include "runner/console.h"
#include "session/convert/value_kernels.h"
#include "session/convert/value_range.h"
#include "session/data/data_error.h"
#include "session/data/png_file.h"
#include "session/data/strided_source.h"
#include "session/data/vtk_file.h"
#include "session/objects/host_fields.h"
#include "session/outputs/json_writer.h"
#include "session/values/cell_types.h"

namespace zam::runner {

using namespace session;

namespace {

/// Smallest and largest value of an array; `nullopt` if it has none that can be read.
/// @throws DataError
std::optional<std::array<double, 2>> range_of(const VtkArray& array) {
    if (array.pieces.empty()) return std::nullopt;
    std::array<double, 2> range{};
    const std::string error = ValueRange(array.pieces, {}).find(range);
    if (!error.empty()) throw DataError(array.name + ": " + error);
    return range;
}

/// An array as a component without values.
/// @pre  it has an element type
ComponentValue shape_of(const VtkArray& array) {
    ComponentValue component;
    component.type = *array.type;
    component.veclen = array.veclen;
    component.label = array.name;
    if (const auto range = range_of(array)) {
        component.minimum = one_value(component.type, (*range)[0]);
        component.maximum = one_value(component.type, (*range)[1]);
    }
    return component;
}

/// One coordinate of an array of points.
VtkArray coordinate(const VtkArray& points, int axis) {
    VtkArray along = points;
    const StridedAxis one{1, 1};
    for (NumberArray& piece : along.pieces) {
        piece.count /= points.veclen;
        const StridedAxis nodes{piece.count, points.veclen};
        piece.source = std::make_shared<StridedSource>(piece.source, piece.type, axis, one, std::span(&nodes, 1));
    }
    return along;
}

/// Smallest and largest position per axis; `nullopt` if they cannot be read.
std::optional<std::array<std::array<double, 3>, 2>> extent_of(const VtkFile& vtk) {
    if (vtk.grid_type == FLD_UNIFORM) return {{vtk.first, vtk.last}};
    const bool points = vtk.positions.size() == 1 && vtk.positions[0].veclen == 3;
    if (!points && vtk.positions.size() != 3) throw DataError("the file has no positions for its nodes");
    std::array<std::array<double, 3>, 2> extent{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto range =
            range_of(points ? coordinate(vtk.positions[0], static_cast<int>(axis)) : vtk.positions[axis]);
        if (!range) return std::nullopt;
        extent[0][axis] = (*range)[0];
        extent[1][axis] = (*range)[1];
    }
    return extent;
}

NumberArray as_floats(const std::array<double, 3>& position) {
    std::array<float, 3> floats{};
    std::transform(position.begin(), position.end(), floats.begin(), [](double x) { return static_cast<float>(x); });
    return float_array(floats);
}

FieldValue shape_of(const VtkFile& vtk) {
    FieldValue field;
    field.nspace = 3;
    field.dims = vtk.dims;
    field.nnodes = vtk.nnodes;
    field.grid_type = vtk.grid_type;
    if (const auto extent = extent_of(vtk)) {
        field.extent_minimum = as_floats((*extent)[0]);
        field.extent_maximum = as_floats((*extent)[1]);
    }
    for (const VtkArray& array : vtk.node_data) {
        if (array.type) field.node_data.push_back(shape_of(array));
    }
    return field;
}

/// "p: float, veclen 1, min 0, max 1"
std::string tell(const VtkArray& array) {
    const ComponentValue component = shape_of(array);
    std::string text =
        array.name + ": " + std::string(type_name(component.type)) + ", veclen " + std::to_string(component.veclen);
    if (!component.minimum) return text;
    append_number(text += ", min ", component.type, component.minimum->values.data());
    append_number(text += ", max ", component.type, component.maximum->values.data());
    return text;
}

/// " Tri", by VTK's number of the type.
std::string cell_type(int id) {
    const auto* const type =
        std::find_if(kCellTypes.begin(), kCellTypes.end(), [&](const CellType& known) { return known.vtk_id == id; });
    return type == kCellTypes.end() ? " of VTK's type " + std::to_string(id) : " " + std::string(type->name);
}

/// How many cells there are of each type, in the order of the types' numbers.
std::vector<Description::Line> count_cells(const VtkFile& vtk) {
    std::map<int, xp_long> counts;
    for (const VtkArray& array : vtk.cell_types) {
        for (const NumberArray& piece : array.pieces) {
            const std::string error =
                for_each_block(piece, 0, piece.count, 1, [&](xp_long, const std::byte* block, xp_long count) {
                    return with_type(piece.type, [&](auto zero) -> std::string {
                        for (xp_long i = 0; i < count; ++i) {
                            const auto type = static_cast<double>(load<decltype(zero)>(block, i));
                            if (!(type >= 0.0 && type < 256.0)) return "there is no such type of cells";
                            ++counts[static_cast<int>(type)];
                        }
                        return {};
                    });
                });
            if (!error.empty()) throw DataError(array.name + ": " + error);
        }
    }
    if (counts.empty()) return {{"cells", std::to_string(vtk.ncells)}};
    std::vector<Description::Line> lines;
    lines.reserve(counts.size());
    for (const auto& [id, count] : counts) {
        lines.emplace_back("cells", std::to_string(count) + cell_type(id));
    }
    return lines;
}

/// The arrays that cannot be read, by what hinders.
std::map<std::string, std::string> unread_arrays(const VtkFile& vtk) {
    std::map<std::string, std::string> unread;
    for (const auto* arrays : {&vtk.node_data, &vtk.cell_data, &vtk.positions, &vtk.cell_types}) {
        for (const VtkArray& array : *arrays) {
            if (array.unread.empty()) continue;
            std::string& names = unread[array.unread];
            if (!names.empty()) names += ", ";
            names += array.name;
        }
    }
    return unread;
}

}  // namespace

Description describe_vtk(const FileStart& file, OMobj_id field) {
    Description description;
    try {
        const VtkFile vtk = open_vtk(file.name);
        if (vtk.nnodes == 0) throw DataError("there are no nodes");
        fill_field(field, shape_of(vtk));
        if (vtk.dims.empty()) description.lines = count_cells(vtk);
        for (const VtkArray& array : vtk.cell_data) {
            if (array.type) description.lines.emplace_back("cell data", one_line(tell(array)));
        }
        description.notes = vtk.notes;
        for (const auto& [why, names] : unread_arrays(vtk))
            description.notes.emplace_back("values ").append(why).append(" are not read: ").append(names);
    } catch (const std::runtime_error& error) {
        description.fault = std::string("cannot be read: ") + error.what();
    }
    return description;
}

Description describe_png(const FileStart& file, OMobj_id field) {
    try {
        const PngFile picture = read_png(file.name);
        const int type = picture.bits > 8 ? DTYPE_INT : DTYPE_BYTE;
        FieldValue shape;
        shape.nspace = 2;
        shape.dims = {picture.dims.begin(), picture.dims.end()};
        shape.grid_type = FLD_UNIFORM;
        for (std::size_t i = 0; i < picture.channels.size(); ++i) {
            ComponentValue component;
            component.type = type;
            component.label = picture.channels[i];
            component.minimum = one_value(type, picture.ranges[i][0]);
            component.maximum = one_value(type, picture.ranges[i][1]);
            shape.node_data.push_back(std::move(component));
        }
        fill_field(field, shape);
        return {.lines = {{"pixels", picture.pixels + ", " + std::to_string(picture.bits) +
                                         (picture.bits == 1 ? " bit" : " bits") + " per channel"}}};
    } catch (const std::runtime_error& error) {
        return {.fault = std::string("cannot be read: ") + error.what()};
    }
}

}  // namespace zam::runner
