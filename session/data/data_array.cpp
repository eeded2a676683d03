#include "session/data/data_array.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "base/checked_product.h"
#include "base/element_types.h"
#include "session/data/data_error.h"
#include "session/data/strided_source.h"

namespace zam::session {
namespace {

constexpr std::size_t kMaxAxesOfSpace = 3;
constexpr xp_long kMaxSteps = 1'000'000;
constexpr xp_long kMaxVeclen = 1'000'000;

/// Axes by what they are for, those of space from x on.
struct Layout {
    std::vector<DataAxis> space;
    std::optional<DataAxis> vector, step;
};

std::size_t axis_number(int axis, std::size_t count, const char* key) {
    const auto number = axis < 0 ? axis + static_cast<int>(count) : axis;
    if (number < 0 || number >= static_cast<int>(count)) {
        throw DataError(std::string(key) + " is " + std::to_string(axis) + "; the array has " + std::to_string(count) +
                        " axes");
    }
    return static_cast<std::size_t>(number);
}

/// What the file says of the axes, unless the request says otherwise.
std::vector<DataAxis> named_axes(const DataArray& array, const DataRequest& request) {
    std::vector<DataAxis> axes = array.axes;
    const auto name = [&](std::optional<int> axis, bool DataAxis::*role, const char* key) {
        if (!axis) return;
        for (auto& other : axes) other.*role = false;
        axes[axis_number(*axis, axes.size(), key)].*role = true;
    };
    name(request.vector_axis, &DataAxis::vector, "vector_axis");
    name(request.step_axis, &DataAxis::step, "step_axis");
    return axes;
}

Layout lay_out(const DataArray& array, const DataRequest& request) {
    Layout layout;
    for (auto& axis : named_axes(array, request)) {
        if (axis.vector && axis.step) throw DataError("vector_axis and step_axis name the same axis");
        if (axis.vector) {
            layout.vector = std::move(axis);
        } else if (axis.step) {
            layout.step = std::move(axis);
        } else {
            layout.space.push_back(std::move(axis));
        }
    }
    if (!array.x_first) std::reverse(layout.space.begin(), layout.space.end());
    if (layout.space.size() > kMaxAxesOfSpace) {
        throw DataError(describe(array) +
                        ": more than three axes are left; \"vector_axis\" and \"step_axis\" name axes " +
                        "that hold vectors or time steps");
    }
    if (layout.space.empty()) layout.space.push_back(DataAxis{1, 1, {}, false, false, {}, {}, {}});
    return layout;
}

// --- The grid ---

/// Spacing or origin of the request, one number per axis, into the axes.
void place_axes(std::vector<DataAxis>& space, const std::vector<double>& given, std::optional<double> DataAxis::*member,
                const char* key) {
    if (given.empty()) return;
    if (given.size() != space.size()) {
        throw DataError(std::string(key) + " has " + std::to_string(given.size()) + " numbers for " +
                        std::to_string(space.size()) + " axes");
    }
    for (std::size_t axis = 0; axis < space.size(); ++axis) {
        if (!space[axis].positions.empty()) throw DataError(std::string(key) + ": the file has positions of its own");
        space[axis].*member = given[axis];
    }
}

/// Position of a node along an axis.
float position(const DataAxis& axis, xp_long index) {
    if (!axis.positions.empty()) return axis.positions[static_cast<std::size_t>(index)];
    return static_cast<float>(axis.origin.value_or(0.0) + axis.spacing.value_or(1.0) * static_cast<double>(index));
}

/// Points of a uniform field: its first node, then its last.
NumberArray corners(const std::vector<DataAxis>& space) {
    std::vector<float> points;
    points.reserve(2 * space.size());
    for (const auto& axis : space) points.push_back(position(axis, 0));
    for (const auto& axis : space) points.push_back(position(axis, axis.size - 1));
    return float_array(points);
}

/// Points of a rectilinear field: for each axis its positions, as points whose other coordinates are 0.
NumberArray positions_along_axes(const std::vector<DataAxis>& space) {
    std::vector<float> points;
    for (std::size_t axis = 0; axis < space.size(); ++axis) {
        for (xp_long index = 0; index < space[axis].size; ++index) {
            points.resize(points.size() + space.size());
            points[points.size() - space.size() + axis] = position(space[axis], index);
        }
    }
    return float_array(points);
}

/// Whether the positions are as evenly spaced as single precision can say.
bool is_even(const DataAxis& axis) {
    const auto& at = axis.positions;
    if (at.size() < 3) return true;
    const double step = (static_cast<double>(at.back()) - at.front()) / static_cast<double>(at.size() - 1);
    const double largest = std::max(std::abs(at.front()), std::abs(at.back()));
    for (std::size_t i = 0; i < at.size(); ++i) {
        const double even = at.front() + step * static_cast<double>(i);
        if (!(std::abs(at[i] - even) <= std::max(1.0e-4 * std::abs(step), 2.0e-7 * largest))) return false;
    }
    return true;
}

void set_grid(FieldValue& field, const std::vector<DataAxis>& space) {
    field.nspace = static_cast<int>(space.size());
    field.nnodes = 1;
    for (const auto& axis : space) {
        field.dims.push_back(axis.size);
        field.nnodes *= axis.size;
    }
    const bool uniform = std::all_of(space.begin(), space.end(), is_even);
    field.grid_type = uniform ? FLD_UNIFORM : FLD_RECTILINEAR;
    field.points = uniform ? corners(space) : positions_along_axes(space);
}

// --- Components ---

ComponentValue make_component(const DataArray& array, const Layout& layout, xp_long nnodes, xp_long step) {
    ComponentValue component;
    component.type = array.type;
    component.label = array.label;
    component.units = array.units;
    if (array.null_value) component.null_value = one_value(array.type, *array.null_value);
    component.veclen = layout.vector ? static_cast<int>(layout.vector->size) : 1;
    component.values.type = array.type;
    component.values.count = nnodes * component.veclen;
    const xp_long start = layout.step ? step * layout.step->stride : 0;
    std::vector<StridedAxis> space;
    for (const auto& axis : layout.space) space.push_back({axis.size, axis.stride});
    const StridedAxis parts =
        layout.vector ? StridedAxis{layout.vector->size, layout.vector->stride} : StridedAxis{1, 1};
    component.values.source = std::make_shared<StridedSource>(array.values, array.type, start, parts, space);
    return component;
}

/// Steps that the field has: all of them, unless the request names one.
void set_steps(FieldValue& field, const DataAxis& axis) {
    for (xp_long step = 0; step < axis.size; ++step) {
        field.time_values.push_back(axis.positions.empty() ? static_cast<float>(step)
                                                           : axis.positions[static_cast<std::size_t>(step)]);
    }
    field.steps.resize(static_cast<std::size_t>(axis.size));
}

xp_long chosen_step(const Layout& layout, const DataRequest& request) {
    const xp_long steps = layout.step ? layout.step->size : 1;
    if (!request.step) return 0;
    if (!layout.step) throw DataError(R"("step" is given, but the array has no axis of steps; "step_axis" names one)");
    if (*request.step < 0 || *request.step >= steps) {
        throw DataError("there is no step " + std::to_string(*request.step) + "; the array has " +
                        std::to_string(steps));
    }
    return *request.step;
}

void check_sizes(const DataArray& array, const Layout& layout) {
    const bool empty =
        std::any_of(array.axes.begin(), array.axes.end(), [](const auto& axis) { return axis.size < 1; });
    if (empty) throw DataError(describe(array) + ": there are no values");
    if (layout.step && layout.step->size > kMaxSteps)
        throw DataError(describe(array) + ": more than 1000000 time steps");
    if (layout.vector && layout.vector->size > kMaxVeclen) {
        throw DataError(describe(array) + ": vectors of more than 1000000 parts");
    }
}

}  // namespace

std::optional<xp_long> set_strides(std::vector<DataAxis>& axes, bool first_fastest) {
    std::optional<xp_long> count = 1;
    const auto take = [&](DataAxis& axis) {
        axis.stride = count.value_or(0);
        if (count) count = checked_product(*count, axis.size);
    };
    if (first_fastest) {
        std::for_each(axes.begin(), axes.end(), take);
    } else {
        std::for_each(axes.rbegin(), axes.rend(), take);
    }
    return count;
}

std::string describe(const DataArray& array) {
    if (!array.fault.empty()) return array.name;
    std::string text(type_name(array.type));
    for (std::size_t i = 0; i < array.axes.size(); ++i)
        text += (i == 0 ? " " : " x ") + std::to_string(array.axes[i].size);
    return array.name.empty() ? text : array.name + " (" + text + ")";
}

FieldPointer make_field(const std::vector<DataArray>& arrays, const DataRequest& request) {
    Layout layout = lay_out(arrays.front(), request);
    check_sizes(arrays.front(), layout);
    place_axes(layout.space, request.spacing, &DataAxis::spacing, "spacing");
    place_axes(layout.space, request.origin, &DataAxis::origin, "origin");
    const xp_long step = chosen_step(layout, request);

    auto field = std::make_shared<FieldValue>();
    set_grid(*field, layout.space);
    if (layout.step && !request.step) set_steps(*field, *layout.step);
    for (const auto& array : arrays) {
        const Layout own = lay_out(array, request);
        field->node_data.push_back(make_component(array, own, field->nnodes, step));
        for (std::size_t i = 0; i < field->steps.size(); ++i) {
            field->steps[i].node_data.push_back(make_component(array, own, field->nnodes, static_cast<xp_long>(i)));
        }
    }
    return field;
}

}  // namespace zam::session
