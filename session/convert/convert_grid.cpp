#include "session/convert/convert_grid.h"

#include <algorithm>
#include <memory>

#include "base/checked_product.h"
#include "session/convert/component_lists.h"
#include "session/convert/resample.h"
#include "session/data/data_error.h"
#include "session/data/strided_source.h"

namespace zam::session {
namespace {

constexpr xp_long kMaxNodes = xp_long{1} << 40;

std::vector<float> floats_of(const NumberArray& array) {
    std::vector<float> values(static_cast<std::size_t>(array.count));
    const std::string error = copy_values(array, values.data());
    if (!error.empty()) throw DataError(error);
    return values;
}

/// Positions along one axis, of a rectilinear field; the component of the axis itself.
std::vector<float> axis_positions(const FieldValue& field, const std::vector<float>& points, std::size_t axis) {
    std::size_t point = 0;
    for (std::size_t before = 0; before < axis; ++before) point += static_cast<std::size_t>(field.dims[before]);
    std::vector<float> positions;
    const auto nspace = static_cast<std::size_t>(field.nspace);
    for (xp_long i = 0; i < field.dims[axis]; ++i, ++point) positions.push_back(points[point * nspace + axis]);
    return positions;
}

void set_dims(FieldValue& field, const std::vector<xp_long>& dims) {
    field.dims = dims;
    std::optional<xp_long> nodes = 1;
    for (const xp_long dim : dims) nodes = nodes ? checked_product(*nodes, dim) : std::nullopt;
    if (!nodes || *nodes > kMaxNodes) throw DataError("the grid would have more than 2^40 nodes");
    field.nnodes = *nodes;
}

/// Which axes stay after a crop: those of more than one node, or the first one.
std::vector<std::size_t> kept_axes(const std::vector<xp_long>& sizes) {
    std::vector<std::size_t> kept;
    for (std::size_t axis = 0; axis < sizes.size(); ++axis) {
        if (sizes[axis] > 1) kept.push_back(axis);
    }
    if (kept.empty()) kept.push_back(0);
    return kept;
}

/// Positions that follow from axes, of the nodes that stay. The coordinates of dropped axes are dropped with them.
void crop_points(FieldValue& field, const std::vector<std::array<xp_long, 2>>& crop,
                 const std::vector<std::size_t>& kept) {
    if (field.points.count == 0) return;
    const std::vector<float> old = floats_of(field.points);
    const auto nspace = static_cast<std::size_t>(field.nspace);
    std::vector<std::size_t> space;  // coordinates that stay
    for (std::size_t c = 0; c < nspace; ++c) {
        const bool of_axis = c < field.dims.size();
        if (!of_axis || std::find(kept.begin(), kept.end(), c) != kept.end()) space.push_back(c);
    }
    std::vector<float> points;
    if (field.grid_type == FLD_UNIFORM) {
        for (const std::size_t corner : {std::size_t{0}, std::size_t{1}}) {
            for (const std::size_t c : space) {
                const bool of_axis = c < field.dims.size() && field.dims[c] > 1;
                const double first = old[c];
                const double step = of_axis ? (old[nspace + c] - first) / static_cast<double>(field.dims[c] - 1) : 0.0;
                const auto node = c < crop.size() ? static_cast<double>(crop[c][corner]) : 0.0;
                points.push_back(of_axis ? static_cast<float>(first + step * node) : old[corner * nspace + c]);
            }
        }
    } else {
        for (const std::size_t axis : kept) {
            const std::vector<float> positions = axis_positions(field, old, axis);
            for (xp_long i = crop[axis][0]; i <= crop[axis][1]; ++i) {
                for (const std::size_t c : space)
                    points.push_back(c == axis ? positions[static_cast<std::size_t>(i)] : 0.0F);
            }
        }
    }
    field.nspace = static_cast<int>(space.size());
    field.points = float_array(points);
}

/// Nodes of an array in another order.
NumberArray reordered(const NumberArray& array, xp_long veclen, xp_long start, const std::vector<StridedAxis>& space) {
    struct ArraySource final : ValueSource {
        explicit ArraySource(const NumberArray& values) : array(values) {}
        NumberArray array;
        std::string read(xp_long first, xp_long count, std::byte* destination) const override {
            return copy_values(array, first, count, destination);
        }
    };
    xp_long count = veclen;
    for (const auto& axis : space) count *= axis.size;
    const auto source = std::make_shared<const ArraySource>(array);
    const StridedAxis parts{veclen, 1};
    return {.type = array.type,
            .count = count,
            .values = {},
            .source = std::make_shared<StridedSource>(source, array.type, start, parts, space)};
}

/// The part of a node array that a crop leaves.
NumberArray cropped(const NumberArray& array, xp_long veclen, const std::vector<xp_long>& dims,
                    const std::vector<std::array<xp_long, 2>>& crop) {
    std::vector<StridedAxis> space;
    xp_long start = 0;
    xp_long stride = veclen;
    space.reserve(dims.size());
    for (std::size_t axis = 0; axis < dims.size(); ++axis) {
        space.push_back({crop[axis][1] - crop[axis][0] + 1, stride});
        start += crop[axis][0] * stride;
        stride *= dims[axis];
    }
    return reordered(array, veclen, start, space);
}

/// The positions of a uniform or rectilinear field the other way round along an axis.
void turn_points(const FieldValue& field, std::vector<float>& points, std::size_t axis) {
    const auto nspace = static_cast<std::size_t>(field.nspace);
    if (field.grid_type == FLD_UNIFORM) return std::swap(points[axis], points[nspace + axis]);
    std::size_t first = 0;
    for (std::size_t before = 0; before < axis; ++before) first += static_cast<std::size_t>(field.dims[before]);
    for (auto last = first + static_cast<std::size_t>(field.dims[axis]) - 1; first < last; ++first, --last)
        std::swap(points[first * nspace + axis], points[last * nspace + axis]);
}

/// Lets positions ascend along every axis.
void turn_descending_axes(FieldValue& field) {
    if (field.points.count == 0) return;
    std::vector<float> points = floats_of(field.points);
    const auto nspace = static_cast<std::size_t>(field.nspace);
    std::vector<bool> descends(field.dims.size(), false);
    for (std::size_t axis = 0; axis < std::min(nspace, field.dims.size()); ++axis) {
        const auto positions = field.grid_type == FLD_UNIFORM ? std::vector<float>{points[axis], points[nspace + axis]}
                                                              : axis_positions(field, points, axis);
        descends[axis] = positions.front() > positions.back();
        if (descends[axis]) turn_points(field, points, axis);
    }
    if (std::find(descends.begin(), descends.end(), true) == descends.end()) return;
    field.points = float_array(points);
    for (Components* components : component_lists(field)) {
        for (auto& component : *components) {
            if (component.values.count != field.nnodes * component.veclen) continue;
            std::vector<StridedAxis> space;
            space.reserve(field.dims.size());
            xp_long start = 0;
            xp_long stride = component.veclen;
            for (std::size_t axis = 0; axis < field.dims.size(); ++axis) {
                space.push_back({field.dims[axis], descends[axis] ? -stride : stride});
                start += descends[axis] ? stride * (field.dims[axis] - 1) : 0;
                stride *= field.dims[axis];
            }
            component.values = reordered(component.values, component.veclen, start, space);
        }
    }
}

}  // namespace

void crop_field(FieldValue& field, const std::vector<std::array<xp_long, 2>>& crop) {
    if (field.dims.empty()) throw DataError("a field without dimensions cannot be cropped");
    if (crop.size() != field.dims.size()) {
        throw DataError("\"crop\" has " + std::to_string(crop.size()) + " ranges for " +
                        std::to_string(field.dims.size()) + " axes");
    }
    std::vector<xp_long> sizes;
    for (std::size_t axis = 0; axis < crop.size(); ++axis) {
        if (crop[axis][1] >= field.dims[axis]) {
            throw DataError("\"crop\": axis " + std::to_string(axis) + " has " + std::to_string(field.dims[axis]) +
                            " nodes, numbered from 0");
        }
        sizes.push_back(crop[axis][1] - crop[axis][0] + 1);
    }
    const auto kept = kept_axes(sizes);
    const std::vector<xp_long> old_dims = field.dims;
    for (Components* components : component_lists(field)) {
        for (auto& component : *components) {
            if (component.values.count != field.nnodes * component.veclen) continue;
            component.values = cropped(component.values, component.veclen, old_dims, crop);
            component.minimum.reset();
            component.maximum.reset();
        }
    }
    if (field.coord.count > 0) field.coord = cropped(field.coord, field.nspace, old_dims, crop);
    for (auto& step : field.steps) {
        if (step.coord.count > 0) step.coord = cropped(step.coord, field.nspace, old_dims, crop);
    }
    crop_points(field, crop, kept);
    std::vector<xp_long> dims;
    dims.reserve(kept.size());
    for (const std::size_t axis : kept) dims.push_back(sizes[axis]);
    set_dims(field, dims);
    field.extent_minimum.reset();
    field.extent_maximum.reset();
    field.cell_sets.clear();
}

void resample_field(FieldValue& field, const std::vector<xp_long>& nodes) {
    if (field.grid_type != FLD_UNIFORM && field.grid_type != FLD_RECTILINEAR) {
        throw DataError("only uniform and rectilinear fields are resampled");
    }
    if (nodes.size() != field.dims.size() || nodes.size() > 3) {
        throw DataError("\"resample\" has " + std::to_string(nodes.size()) + " numbers for " +
                        std::to_string(field.dims.size()) + " axes, of which there are at most three");
    }
    turn_descending_axes(field);
    const bool rectilinear = field.grid_type == FLD_RECTILINEAR && field.points.count > 0;
    const std::vector<float> points = floats_of(field.points);
    const auto nspace = static_cast<std::size_t>(field.nspace);
    std::vector<AxisWeights> axes;
    std::vector<float> corners(rectilinear ? 2 * nspace : 0);
    for (std::size_t axis = 0; axis < nodes.size(); ++axis) {
        const auto positions = rectilinear ? axis_positions(field, points, axis) : std::vector<float>{};
        if (rectilinear) {
            corners[axis] = positions.front();
            corners[nspace + axis] = positions.back();
        }
        axes.push_back(resample_axis(positions, field.dims[axis], nodes[axis]));
    }
    const std::vector<xp_long> old_dims = field.dims;
    const xp_long old_nodes = field.nnodes;
    set_dims(field, nodes);
    for (Components* components : component_lists(field)) {
        for (auto& component : *components) {
            if (component.values.count != old_nodes * component.veclen) {
                throw DataError("a component without a value at every node cannot be resampled");
            }
            auto null_value = component.null_value;
            auto scaled_from = component.scaled_from;
            replace_values(component, resampled(component, old_dims, axes), std::move(null_value));
            component.scaled_from = std::move(scaled_from);
        }
    }
    field.grid_type = FLD_UNIFORM;
    if (rectilinear) field.points = float_array(corners);
    field.cell_sets.clear();
}

}  // namespace zam::session
