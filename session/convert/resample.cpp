#include "session/convert/resample.h"

#include <algorithm>
#include <array>

#include "session/convert/value_kernels.h"
#include "session/data/node_source.h"

namespace zam::session {
namespace {

constexpr xp_long kCacheBytes = xp_long{24} << 20;

/// A row of the new grid along x, made of one old row; nulls are not-a-number.
using Row = std::vector<double>;

/// Moves values toward others by a share; equal ones stay exactly as they are.
double mix(double from, double to, double share) { return from + (to - from) * share; }
void mix(Row& row, const Row& to, double share) {
    for (std::size_t i = 0; i < row.size(); ++i) row[i] = mix(row[i], to[i], share);
}

class ResampledSource final : public NodeSource {
public:
    ResampledSource(const ComponentValue& from, const std::vector<xp_long>& dims, const std::vector<AxisWeights>& axes)
        : NodeSource(from.veclen, type_size(from.type)), from_(from) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            old_[axis] = axis < dims.size() ? dims[axis] : 1;
            axes_[axis] = axis < axes.size() ? axes[axis] : AxisWeights{{0}, {0.0}};
            new_[axis] = static_cast<xp_long>(axes_[axis].low.size());
        }
        const xp_long row_bytes = new_[0] * veclen() * static_cast<xp_long>(sizeof(double));
        const xp_long rows = std::clamp<xp_long>(kCacheBytes / row_bytes, 4, 2 * old_[1] + 2);
        cache_.resize(static_cast<std::size_t>(rows));
        cached_.assign(cache_.size(), -1);
    }

private:
    std::string read_nodes(xp_long node, xp_long count, std::byte* destination) const override;
    std::string old_row(xp_long y, xp_long z, const Row*& row) const;
    std::string blend_along_y(xp_long y, xp_long z, Row& blended) const;
    std::string blend_rows(xp_long y, xp_long z) const;
    template <class T>
    void interpolate_along_x(const std::byte* values, Row& row) const;
    template <class T>
    void round_to_elements(xp_long from, xp_long count, std::byte* to) const;

    ComponentValue from_;
    std::array<xp_long, 3> old_{}, new_{};
    std::array<AxisWeights, 3> axes_;
    // old rows, already interpolated along x, each in the place of its number: neighbours stay as long as they are
    // needed
    mutable std::vector<Row> cache_;
    mutable std::vector<xp_long> cached_;
    mutable std::vector<std::byte> stored_;
    mutable Row blended_, above_;
};

template <class T>
void ResampledSource::interpolate_along_x(const std::byte* values, Row& row) const {
    const NullTest<T> is_null(from_.null_value);
    const auto at = [&](xp_long node, xp_long part) {
        const T value = load<T>(values, node * veclen() + part);
        return is_null.any() && is_null(value) ? std::nan("") : static_cast<double>(value);
    };
    double* to = row.data();
    for (xp_long x = 0; x < new_[0]; ++x) {
        const xp_long low = axes_[0].low[static_cast<std::size_t>(x)];
        const double weight = axes_[0].weight[static_cast<std::size_t>(x)];
        for (xp_long part = 0; part < veclen(); ++part) {
            const double value = at(low, part);
            *to++ = weight == 0.0 ? value : mix(value, at(low + 1, part), weight);
        }
    }
}

std::string ResampledSource::old_row(xp_long y, xp_long z, const Row*& row) const {
    const xp_long number = z * old_[1] + y;
    const auto slot = static_cast<std::size_t>(number) % cache_.size();
    row = &cache_[slot];
    if (cached_[slot] == number) return {};
    const xp_long values = old_[0] * veclen();
    stored_.resize(static_cast<std::size_t>(values * value_size()));
    std::string error = copy_values(from_.values, number * values, values, stored_.data());
    if (!error.empty()) return error;
    cache_[slot].resize(static_cast<std::size_t>(new_[0] * veclen()));
    with_type(from_.type, [&](auto zero) { interpolate_along_x<decltype(zero)>(stored_.data(), cache_[slot]); });
    cached_[slot] = number;
    return {};
}

/// Interpolates row y of the new grid within plane z of the old one.
std::string ResampledSource::blend_along_y(xp_long y, xp_long z, Row& blended) const {
    const xp_long low = axes_[1].low[static_cast<std::size_t>(y)];
    const double weight = axes_[1].weight[static_cast<std::size_t>(y)];
    const Row* row = nullptr;
    if (std::string error = old_row(low, z, row); !error.empty()) return error;
    blended = *row;
    if (weight == 0.0) return {};
    if (std::string error = old_row(low + 1, z, row); !error.empty()) return error;
    mix(blended, *row, weight);
    return {};
}

/// Makes a row of the new grid.
std::string ResampledSource::blend_rows(xp_long y, xp_long z) const {
    const xp_long low = axes_[2].low[static_cast<std::size_t>(z)];
    const double weight = axes_[2].weight[static_cast<std::size_t>(z)];
    std::string error = blend_along_y(y, low, blended_);
    if (!error.empty() || weight == 0.0) return error;
    error = blend_along_y(y, low + 1, above_);
    mix(blended_, above_, weight);
    return error;
}

template <class T>
void ResampledSource::round_to_elements(xp_long from, xp_long count, std::byte* to) const {
    const bool has_null = from_.null_value.has_value();
    const T null_value = has_null ? load<T>(from_.null_value->values.data(), 0) : T{};
    for (xp_long i = 0; i < count; ++i) {
        const double value = blended_[static_cast<std::size_t>(from + i)];
        const bool is_null = has_null && std::isnan(value);
        store(to, i, is_null ? null_value : nearest_element<T>(value).value_or(T{}));
    }
}

std::string ResampledSource::read_nodes(xp_long node, xp_long count, std::byte* destination) const {
    while (count > 0) {
        const xp_long x = node % new_[0];
        const xp_long in_row = std::min(count, new_[0] - x);
        const xp_long row = node / new_[0];
        std::string error = blend_rows(row % new_[1], row / new_[1]);
        if (!error.empty()) return error;
        with_type(from_.type,
                  [&](auto zero) { round_to_elements<decltype(zero)>(x * veclen(), in_row * veclen(), destination); });
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
                      const std::vector<AxisWeights>& axes) {
    xp_long count = component.veclen;
    for (const auto& axis : axes) count *= static_cast<xp_long>(axis.low.size());
    return {.type = component.type,
            .count = count,
            .values = {},
            .source = std::make_shared<ResampledSource>(component, dims, axes)};
}

}  // namespace zam::session
