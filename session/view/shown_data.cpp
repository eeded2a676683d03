#include "session/view/shown_data.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "session/convert/value_kernels.h"

namespace zam::session {
namespace {

std::string name_of(const ComponentValue& component, std::size_t number) {
    if (!component.label.empty()) return component.label;
    return number == 0 ? "values" : "component " + std::to_string(number);
}

std::size_t find_component(const FieldValue& field, const std::string& wanted) {
    std::string known;
    for (std::size_t i = 0; i < field.node_data.size(); ++i) {
        if (field.node_data[i].label == wanted || std::to_string(i) == wanted) return i;
        known += (i == 0 ? "" : ", ") + std::to_string(i) + " " + field.node_data[i].label;
    }
    throw ViewError("there is no component " + wanted + "; there are " + known);
}

/// What was asked for, else the parts of a plane vector, else the first component.
std::vector<std::size_t> choose_components(const FieldValue& field, const ViewSource& source,
                                           const WantedData& wanted) {
    std::vector<std::size_t> chosen;
    if (field.node_data.empty()) return chosen;
    if (source.has_chosen()) {
        for (std::size_t i = 0; i < field.node_data.size(); ++i) chosen.push_back(i);
        return chosen;
    }
    for (const auto& part : wanted.vector) chosen.push_back(find_component(field, part));
    if (!wanted.variable.empty()) chosen = {find_component(field, wanted.variable)};
    if (chosen.empty() && wanted.component >= 0) chosen = {find_component(field, std::to_string(wanted.component))};
    if (!chosen.empty()) return chosen;
    std::vector<std::string> labels;
    for (const auto& component : field.node_data) labels.push_back(component.veclen == 1 ? component.label : "");
    chosen = find_vector(labels, axes_of_space(field));
    return chosen.empty() ? std::vector<std::size_t>{0} : chosen;
}

}  // namespace

Box box_of(const FieldValue& field) {
    const NumberArray& positions = is_on_axes(field) ? field.points : field.coord;
    Box box;
    const auto nspace = static_cast<std::size_t>(std::clamp(field.nspace, 0, 3));
    if (positions.count == 0) {
        for (std::size_t axis = 0; axis < std::min<std::size_t>(field.dims.size(), 3); ++axis)
            box.high[axis] = static_cast<double>(field.dims[axis] - 1);
        return box;
    }
    for (std::size_t c = 0; c < nspace; ++c) {
        box.low[c] = std::numeric_limits<double>::infinity();
        box.high[c] = -box.low[c];
    }
    // a rectilinear field's points count along their own axis only; the others are no positions
    std::vector<std::size_t> coordinate_of;
    for (std::size_t axis = 0; field.grid_type == FLD_RECTILINEAR && axis < field.dims.size(); ++axis)
        coordinate_of.insert(coordinate_of.end(), static_cast<std::size_t>(field.dims[axis]), axis);
    const auto stride = static_cast<xp_long>(field.nspace);
    const std::string error = for_each_block(positions, 0, positions.count, stride,
                                             [&](xp_long first, const std::byte* block, xp_long count) {
                                                 for (xp_long i = 0; i < count; ++i) {
                                                     const auto c = static_cast<std::size_t>(i % stride);
                                                     const auto point = static_cast<std::size_t>((first + i) / stride);
                                                     const double at = load<float>(block, i);
                                                     if (c >= nspace || !std::isfinite(at)) continue;
                                                     if (point < coordinate_of.size() && coordinate_of[point] != c)
                                                         continue;
                                                     box.low[c] = std::min(box.low[c], at);
                                                     box.high[c] = std::max(box.high[c], at);
                                                 }
                                                 return std::string();
                                             });
    if (!error.empty()) throw ViewError(error);
    for (std::size_t c = 0; c < nspace; ++c) {
        if (!(box.low[c] <= box.high[c])) box.low[c] = box.high[c] = 0.0;
    }
    return box;
}

std::size_t axes_of_space(const FieldValue& field) {
    return static_cast<std::size_t>(
        std::count_if(field.dims.begin(), field.dims.end(), [](xp_long dim) { return dim > 1; }));
}

bool is_on_axes(const FieldValue& field) {
    return field.grid_type == FLD_UNIFORM || field.grid_type == FLD_RECTILINEAR;
}

bool descends(const FieldValue& field) {
    const auto nspace = static_cast<std::size_t>(field.nspace);
    if (field.grid_type != FLD_UNIFORM || field.points.count != 2 * field.nspace) return false;
    std::vector<float> corners(2 * nspace);
    if (!copy_values(field.points, corners.data()).empty()) return false;
    for (std::size_t c = 0; c < nspace; ++c) {
        if (corners[c] > corners[nspace + c]) return true;
    }
    return false;
}

std::string dims_text(const FieldValue& field) {
    std::string text;
    for (const xp_long dim : field.dims) text += (text.empty() ? "" : " x ") + std::to_string(dim);
    return text.empty() ? std::to_string(field.nnodes) + " nodes" : text;
}

Shown choose_shown(const FieldValue& field, const ViewSource& source, const WantedData& wanted) {
    Shown shown{.components = choose_components(field, source, wanted), .parts = 0, .name = {}};
    for (const std::size_t number : shown.components) {
        const ComponentValue& component = field.node_data[number];
        shown.parts += component.veclen;
        shown.name += (shown.name.empty() ? "" : ", ") + name_of(component, number);
    }
    return shown;
}

Json taking(const FieldValue& field, const Shown& shown) {
    Json convert = Json::object();
    if (field.node_data.size() > 1) convert["components"] = shown.components;
    if (shown.components.size() > 1) convert["vector"] = true;
    if (is_on_axes(field) && axes_of_space(field) >= 2 && axes_of_space(field) < field.dims.size()) {
        for (const xp_long dim : field.dims) convert["crop"].push_back(Json::array({0, dim - 1}));
    }
    return convert;
}

}  // namespace zam::session
