#include "session/convert/resample.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "session/convert/lane_kernels.h"
#include "session/convert/value_kernels.h"
#include "session/data/node_source.h"

namespace zam::session {
namespace {

/// Old rows that are needed, already interpolated along x, of two neighbouring planes. Rows are read from the front of
/// a plane to its end, and planes one after the other, since packed files begin anew to go back. When planes are so
/// large that they do not fit, as many rows as fit are.
class ResampledSource final : public NodeSource {
public:
    ResampledSource(const ComponentValue& from, const std::vector<xp_long>& dims, const std::vector<AxisWeights>& axes,
                    xp_long kept_bytes)
        : NodeSource(from.veclen, type_size(from.type)), from_(from) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            old_[axis] = axis < dims.size() ? dims[axis] : 1;
            axes_[axis] = axis < axes.size() ? axes[axis] : AxisWeights{{0}, {0.0}};
            new_[axis] = static_cast<xp_long>(axes_[axis].low.size());
        }
        needed_.assign(static_cast<std::size_t>(old_[1]), false);
        for (std::size_t y = 0; y < axes_[1].low.size(); ++y) {
            const auto low = static_cast<std::size_t>(axes_[1].low[y]);
            needed_[low] = true;
            if (axes_[1].weight[y] != 0.0) needed_[low + 1] = true;
        }
        const xp_long row_bytes = new_[0] * veclen() * static_cast<xp_long>(sizeof(double));
        kept_rows_ = std::clamp<xp_long>(kept_bytes / 2 / row_bytes, 2, old_[1] + 1);
        kept_.resize(2 * static_cast<std::size_t>(kept_rows_));
    }

private:
    /// An old row at the nodes of the new x axis; nulls are not-a-number.
    struct Row {
        xp_long number = -1;
        std::vector<double> values;
    };

    std::string read_nodes(xp_long node, xp_long count, std::byte* destination) const override;
    std::string old_row(xp_long y, xp_long z, const double*& row) const;
    std::string keep_rows(xp_long y, xp_long z) const;
    std::string keep_run(xp_long first, xp_long end, xp_long z) const;
    std::string two_rows(xp_long y, xp_long z, const double** rows) const;
    std::string rows_around(xp_long y, xp_long z, RowBlend& blend) const;

    Row& slot(xp_long y, xp_long z) const {
        return kept_[static_cast<std::size_t>(z % 2 * kept_rows_ + y % kept_rows_)];
    }

    ComponentValue from_;
    std::array<xp_long, 3> old_{}, new_{};
    std::array<AxisWeights, 3> axes_;
    std::vector<bool> needed_;  // by old row of a plane
    xp_long kept_rows_ = 0;     // per plane
    mutable std::vector<Row> kept_;
    mutable std::vector<std::byte> stored_;
    mutable std::vector<double> loaded_;
};

/// The values of an old row. They stay while the next row, and these two rows of the next plane, are asked for.
std::string ResampledSource::old_row(xp_long y, xp_long z, const double*& row) const {
    std::string error;
    if (slot(y, z).number != z * old_[1] + y) error = keep_rows(y, z);
    row = slot(y, z).values.data();
    return error;
}

/// Reads rows that are needed, from row y of a plane on: one less than are kept, so that the row before stays.
std::string ResampledSource::keep_rows(xp_long y, xp_long z) const {
    const xp_long end = std::min(y + kept_rows_ - 1, old_[1]);
    const xp_long most = std::max(kStreamBlockBytes / (old_[0] * veclen() * value_size()), xp_long{1});
    while (y < end) {
        xp_long after = y;
        while (after < std::min(y + most, end) && needed_[static_cast<std::size_t>(after)]) ++after;
        if (after > y) {
            if (std::string error = keep_run(y, after, z); !error.empty()) return error;
        }
        y = std::max(after, y + 1);
    }
    return {};
}

std::string ResampledSource::keep_run(xp_long first, xp_long end, xp_long z) const {
    const xp_long values = old_[0] * veclen();
    stored_.resize(static_cast<std::size_t>((end - first) * values * value_size()));
    loaded_.resize(static_cast<std::size_t>(values + veclen()));
    std::string error =
        copy_values(from_.values, (z * old_[1] + first) * values, (end - first) * values, stored_.data());
    if (!error.empty()) return error;
    for (xp_long y = first; y < end; ++y) {
        Row& row = slot(y, z);
        row.values.resize(static_cast<std::size_t>(new_[0] * veclen()));
        load_values(from_.type, stored_.data() + (y - first) * values * value_size(), values,
                    null_address(from_.null_value), loaded_.data());
        interpolate_nodes(loaded_.data(), veclen(), axes_[0].low.data(), axes_[0].weight.data(), new_[0],
                          row.values.data());
        row.number = z * old_[1] + y;
    }
    return {};
}

/// The rows of plane z of the old grid around row y of the new one; twice the same where one of them is enough.
std::string ResampledSource::two_rows(xp_long y, xp_long z, const double** rows) const {
    const xp_long low = axes_[1].low[static_cast<std::size_t>(y)];
    std::string error = old_row(low, z, rows[0]);
    rows[1] = rows[0];
    if (error.empty() && axes_[1].weight[static_cast<std::size_t>(y)] != 0.0) error = old_row(low + 1, z, rows[1]);
    return error;
}

/// What row y of plane z of the new grid is made of.
std::string ResampledSource::rows_around(xp_long y, xp_long z, RowBlend& blend) const {
    const xp_long low = axes_[2].low[static_cast<std::size_t>(z)];
    blend.in_two = axes_[1].weight[static_cast<std::size_t>(y)];
    blend.of_twos = axes_[2].weight[static_cast<std::size_t>(z)];
    std::string error = two_rows(y, low, blend.rows.data());
    std::copy_n(blend.rows.begin(), 2, blend.rows.begin() + 2);
    if (error.empty() && blend.of_twos != 0.0) error = two_rows(y, low + 1, blend.rows.data() + 2);
    return error;
}

std::string ResampledSource::read_nodes(xp_long node, xp_long count, std::byte* destination) const {
    while (count > 0) {
        const xp_long x = node % new_[0];
        const xp_long in_row = std::min(count, new_[0] - x);
        const xp_long row = node / new_[0];
        RowBlend blend;
        std::string error = rows_around(row % new_[1], row / new_[1], blend);
        if (!error.empty()) return error;
        for (auto& values : blend.rows) values += x * veclen();
        blend_rows(blend, in_row * veclen(), from_.type, null_address(from_.null_value), destination);
        node += in_row;
        count -= in_row;
        destination += in_row * veclen() * value_size();
    }
    return {};
}

}  // namespace

AxisWeights resample_axis(const std::vector<float>& positions, xp_long size, xp_long count) {
    AxisWeights axis;
    const auto add = [&](xp_long low, double weight) {
        const bool past_last = low >= size - 1;
        axis.low.push_back(past_last ? size - 1 : low);
        axis.weight.push_back(past_last ? 0.0 : weight);
    };
    xp_long low = 0;
    for (xp_long i = 0; i < count; ++i) {
        const double share = count > 1 ? static_cast<double>(i) / static_cast<double>(count - 1) : 0.5;
        if (positions.empty()) {
            const double at = share * static_cast<double>(size - 1);
            add(static_cast<xp_long>(at), at - std::floor(at));
            continue;
        }
        const double first = positions.front();
        const double wanted = (positions.back() - first) * share;  // from the first node on, in the axis' direction
        const auto from_first = [&](xp_long node) { return positions[static_cast<std::size_t>(node)] - first; };
        while (low + 2 < size && std::abs(from_first(low + 1)) <= std::abs(wanted)) ++low;
        const double gap = size > 1 ? from_first(low + 1) - from_first(low) : 0.0;
        const double weight = gap != 0.0 ? std::clamp((wanted - from_first(low)) / gap, 0.0, 1.0) : 0.0;
        add(weight == 1.0 ? low + 1 : low, weight == 1.0 ? 0.0 : weight);
    }
    return axis;
}

NumberArray resampled(const ComponentValue& component, const std::vector<xp_long>& dims,
                      const std::vector<AxisWeights>& axes, xp_long kept_bytes) {
    xp_long count = component.veclen;
    for (const auto& axis : axes) count *= static_cast<xp_long>(axis.low.size());
    return {.type = component.type,
            .count = count,
            .values = {},
            .source = std::make_shared<ResampledSource>(component, dims, axes, kept_bytes)};
}

}  // namespace zam::session
