#include "embedded/view/field.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/available_memory.h"
#include "contract/fld.h"
#include "contract/gd.h"
#include "embedded/number.h"
#include "embedded/transform.h"

namespace zam::host::view {

// --- Transforms and boxes ---

Affine Affine::from(const float matrix[16]) {
    Affine affine;
    for (std::size_t column = 0; column < 3; ++column) {
        for (std::size_t row = 0; row < 3; ++row)
            affine.rows[row][column] = static_cast<double>(matrix[4 * row + column]);
        affine.origin[column] = static_cast<double>(matrix[12 + column]);
    }
    return affine;
}

Point Affine::apply(const Point& p) const {
    Point moved;
    for (std::size_t k = 0; k < 3; ++k)
        moved[k] = p[0] * rows[0][k] + p[1] * rows[1][k] + p[2] * rows[2][k] + origin[k];
    return moved;
}

bool is_finite(const Point& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

PointBox::PointBox() {
    low.fill(std::numeric_limits<double>::infinity());
    high.fill(-std::numeric_limits<double>::infinity());
}

void PointBox::extend(const Point& p) {
    if (!is_finite(p)) return;
    for (std::size_t k = 0; k < 3; ++k) {
        low[k] = std::min(low[k], p[k]);
        high[k] = std::max(high[k], p[k]);
    }
}

// --- Nodes ---

double Nodes::Axis::at(xp_long index) const {
    if (listed) return static_cast<double>(listed[index * stride]);
    if (count < 2) return low;
    return low + (high - low) * (static_cast<double>(index) / static_cast<double>(count - 1));
}

/// Axes of a uniform field run between its two points, in index space if it has none; of the points of a rectilinear
/// axis its own component counts. Components of space beyond the axes have the first point's value.
bool Nodes::read_axes(const Field& field) {
    const Shape& shape = field.shape;
    const Array& points = field.mesh.points;
    const auto* values = points.as<const float>();
    const xp_long nspace = shape.nspace > 0 ? shape.nspace : std::min(shape.ndim, 3);
    const bool listed = grid_type(field) == FLD_RECTILINEAR && points && points.count == sum_of_dims(shape) * nspace;
    if (points && !listed && points.count < 2 * nspace) return false;
    for (xp_long k = 0; k < 3; ++k) {
        Axis& axis = axes_[static_cast<std::size_t>(k)];
        axis.count = (*dims_)[static_cast<std::size_t>(k)];
        if (k >= nspace) continue;
        if (listed && k < shape.ndim) {
            axis.listed = values + k;
            axis.stride = nspace;
            values += axis.count * nspace;
        } else if (!points) {
            axis.high = static_cast<double>(axis.count - 1);
        } else if (!listed) {
            axis.low = static_cast<double>(values[k]);
            axis.high = static_cast<double>(values[nspace + k]);
        }
    }
    return true;
}

bool Nodes::read_positions(const Field& field) {
    const Shape& shape = field.shape;
    const int type = grid_type(field);
    if ((type == FLD_UNIFORM || type == FLD_RECTILINEAR) && dims_) return read_axes(field);
    const Array& coord = field.mesh.coord;
    nspace_ = shape.nspace;
    coord_ = coord.as<const float>();
    return coord_ && nspace_ > 0 && coord.count / nspace_ >= count_;
}

std::optional<Nodes> Nodes::of(Object& object) {
    const Field& field = *object.part<Field>();
    Nodes nodes;
    nodes.count_ = field.shape.nnodes;
    if (nodes.count_ < 1) return std::nullopt;
    if (field.shape.ndim > 0) {
        std::array<xp_long, 3> dims{1, 1, 1};
        const auto* given = field.shape.dims.as<const xp_long>();
        for (int axis = 0; axis < field.shape.ndim; ++axis) {
            if (axis < 3) dims[static_cast<std::size_t>(axis)] = given[axis];
            if (axis >= 3 && given[axis] != 1) return std::nullopt;  // more than can be seen at once
        }
        nodes.dims_ = dims;
    }
    Transform transform;
    if (object_transform(object, transform)) {
        float matrix[16];
        compose(transform, matrix);
        nodes.xform_ = Affine::from(matrix);
    }
    if (!nodes.read_positions(field)) return std::nullopt;
    return nodes;
}

Point Nodes::at(xp_long node) const {
    Point position{};
    if (coord_) {
        for (int k = 0; k < std::min(nspace_, 3); ++k)
            position[static_cast<std::size_t>(k)] = static_cast<double>(coord_[node * nspace_ + k]);
    } else {
        for (std::size_t k = 0; k < 3; ++k) {
            position[k] = axes_[k].at(node % axes_[k].count);
            node /= axes_[k].count;
        }
    }
    return xform_.apply(position);
}

PointBox Nodes::box() const {
    PointBox box;
    if (coord_) {
        for (xp_long node = 0; node < count_; ++node) box.extend(at(node));
        return box;
    }
    PointBox straight;  // before the transform, which takes its corners to those of a box around all
    for (std::size_t k = 0; k < 3; ++k) {
        const Axis& axis = axes_[k];
        const xp_long looked_at = axis.listed ? axis.count : std::min<xp_long>(axis.count, 2);
        for (xp_long i = 0; i < looked_at; ++i) {
            const double at = axis.listed ? axis.at(i) : axis.at(i * (axis.count - 1));
            if (!std::isfinite(at)) continue;
            straight.low[k] = std::min(straight.low[k], at);
            straight.high[k] = std::max(straight.high[k], at);
        }
    }
    for (int corner = 0; corner < 8; ++corner) {
        Point p;
        for (std::size_t k = 0; k < 3; ++k) p[k] = (corner >> k & 1) != 0 ? straight.high[k] : straight.low[k];
        box.extend(xform_.apply(p));
    }
    return box;
}

// --- Colours ---

void Paint::take_image_colors(const Component& component, xp_long nodes) {
    const bool colors = component.id == kImageColorsId && component.veclen == 4 && component.values &&
                        (component.values.type == DTYPE_BYTE || component.values.type == DTYPE_CHAR);
    if (!colors || component.values.count / 4 < nodes) return;
    const auto* values = component.values.as<const unsigned char>();
    AvailableMemory().require(nodes, 4);
    colors_.assign(values, values + 4 * nodes);
    for (xp_long node = 0; node < nodes; ++node) colors_[static_cast<std::size_t>(4 * node)] = kKnown;
    source_ = Source::nodes;
    count_ = nodes;
}

/// @return false if the datamap has no range or not all of its arrays
bool Paint::map(const Component& component, Object& datamap, xp_long nodes, xp_long cells) {
    const Array& values = component.values;
    if (!values || component.veclen < 1) return true;
    const xp_long count = values.count / component.veclen;
    if (count < nodes && (cells < 1 || count < cells)) return true;  // the values belong to neither nodes nor cells
    source_ = count >= nodes ? Source::nodes : Source::cells;
    count_ = count >= nodes ? nodes : cells;
    AvailableMemory().require(count_, 4);
    colors_.resize(static_cast<std::size_t>(4 * count_));
    if (GDgen_argbs(datamap.id, values.data(), values.type, colors_.data(), count_, component.veclen, count_, count_,
                    0) != 1)
        return false;
    const double null_value = component.null_value.real();
    with_type(values.type, [&](auto zero) {
        const auto* numbers = values.as<const decltype(zero)>();
        for (xp_long i = 0; i < count_; ++i) {
            const auto number = static_cast<double>(numbers[i * component.veclen]);
            const bool ignored = std::isnan(number) || (component.has_null && number == null_value);
            colors_[static_cast<std::size_t>(4 * i)] = ignored ? kNone : kKnown;
        }
    });
    return true;
}

std::optional<Paint> Paint::of(const Field& field, const std::optional<Color>& given, Object* datamap, xp_long nodes,
                               xp_long cells) {
    Paint paint;
    if (given) paint.color_ = *given;
    if (field.data.components.empty()) return paint;
    const Component& component = field.data.components.front();
    if (datamap) {
        if (!paint.map(component, *datamap, nodes, cells)) return std::nullopt;
    } else if (!given) {
        paint.take_image_colors(component, nodes);  // an image shows its own colours, unless it is given one
    }
    return paint;
}

}  // namespace zam::host::view
