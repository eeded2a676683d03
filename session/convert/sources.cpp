#include "session/convert/sources.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "session/convert/lane_kernels.h"
#include "session/convert/value_kernels.h"
#include "session/data/node_source.h"

namespace zam::session {
namespace {

NumberArray array_made_by(int type, xp_long count, ValueSourcePointer source) {
    return {.type = type, .count = count, .values = {}, .source = std::move(source)};
}

/// Calls `use` with a zero of either type.
template <class Use>
auto with_types(int from, int to, Use use) {
    return with_type(from, [&](auto a) { return with_type(to, [&](auto b) { return use(a, b); }); });
}

std::string unfit(xp_long index, double value, int type) {
    std::string number = std::to_string(value);
    return "value " + std::to_string(index) + ", " + number + ", does not fit in type " + std::string(type_name(type));
}

/// A value as another type; `nullopt` if it does not fit.
template <class From, class To>
std::optional<To> element_of(From value) {
    if constexpr (std::is_same_v<From, To>) return value;
    if constexpr (std::is_integral_v<From>) return exact_element<To>(static_cast<std::int64_t>(value));
    return nearest_element<To>(static_cast<double>(value));
}

/// Converts values, each `to_step` elements after the one before. A null becomes `null_value`.
template <class From, class To>
std::string convert_block(const std::byte* block, xp_long count, const NullTest<From>& is_null,
                          std::optional<To> null_value, xp_long first, int type, std::byte* to, xp_long to_step) {
    for (xp_long i = 0; i < count; ++i) {
        const From value = load<From>(block, i);
        const bool null = is_null.any() && is_null(value);
        const std::optional<To> element = null ? null_value.value_or(To{}) : element_of<From, To>(value);
        if (!element) return unfit(first + i, static_cast<double>(value), type);
        store(to, i * to_step, *element);
    }
    return {};
}

template <class T>
std::optional<T> null_of(const std::optional<NumberArray>& null_value) {
    return null_value ? std::optional(load<T>(null_value->values.data(), 0)) : std::nullopt;
}

class CastSource final : public ValueSource {
public:
    CastSource(const ComponentValue& from, int type, std::optional<NumberArray> null_value)
        : from_(from), type_(type), null_value_(std::move(null_value)) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        return with_types(from_.type, type_, [&](auto a, auto b) {
            using From = decltype(a);
            using To = decltype(b);
            const NullTest<From> is_null(from_.null_value);
            const auto null_value = null_of<To>(null_value_);
            return for_each_block(
                from_.values, first, count, 1, [&](xp_long done, const std::byte* block, xp_long values) {
                    return convert_block<From, To>(block, values, is_null, null_value, first + done, type_,
                                                   destination + done * static_cast<xp_long>(sizeof(To)), 1);
                });
        });
    }

private:
    ComponentValue from_;
    int type_;
    std::optional<NumberArray> null_value_;
};

class JoinedSource final : public NodeSource {
public:
    JoinedSource(std::vector<ComponentValue> parts, int type, xp_long veclen, std::optional<NumberArray> null_value)
        : NodeSource(veclen, type_size(type)),
          parts_(std::move(parts)),
          type_(type),
          null_value_(std::move(null_value)) {}

private:
    std::string read_nodes(xp_long node, xp_long count, std::byte* destination) const override {
        xp_long at = 0;
        for (const auto& part : parts_) {
            std::string error = read_part(part, at, node, count, destination);
            if (!error.empty()) return error;
            at += part.veclen;
        }
        return {};
    }

    std::string read_part(const ComponentValue& part, xp_long at, xp_long node, xp_long count, std::byte* to) const {
        return with_types(part.type, type_, [&](auto a, auto b) {
            using From = decltype(a);
            using To = decltype(b);
            const NullTest<From> is_null(part.null_value);
            const auto null_value = null_of<To>(null_value_);
            const xp_long length = part.veclen;
            const auto scatter = [&](xp_long done, const std::byte* block, xp_long values) -> std::string {
                std::byte* first = to + (done / length * veclen() + at) * value_size();
                if (length == 1) {
                    return convert_block<From, To>(block, values, is_null, null_value, node + done, type_, first,
                                                   veclen());
                }
                for (xp_long i = 0; i < values; i += length) {
                    std::string error = convert_block<From, To>(block + i * static_cast<xp_long>(sizeof(From)), length,
                                                                is_null, null_value, node * length + done + i, type_,
                                                                first + i / length * veclen() * value_size(), 1);
                    if (!error.empty()) return error;
                }
                return {};
            };
            return for_each_block(part.values, node * length, count * length, length, scatter);
        });
    }

    std::vector<ComponentValue> parts_;
    int type_;
    std::optional<NumberArray> null_value_;
};

/// The length of a vector: the sum of squares in double precision, of scaled parts where that leaves its range.
template <class T>
double length(const std::byte* parts, xp_long count) {
    double sum = 0.0;
    double largest = 0.0;
    for (xp_long i = 0; i < count; ++i) {
        const auto part = static_cast<double>(load<T>(parts, i));
        sum += part * part;
        largest = std::max(largest, std::abs(part));
    }
    const bool in_range = sum >= 1.0e-280 && sum <= std::numeric_limits<double>::max();
    if (in_range || largest == 0.0 || !std::isfinite(largest) || std::isnan(sum)) return std::sqrt(sum);
    sum = 0.0;
    for (xp_long i = 0; i < count; ++i) {
        const double part = static_cast<double>(load<T>(parts, i)) / largest;
        sum += part * part;
    }
    return std::sqrt(sum) * largest;
}

class MagnitudeSource final : public ValueSource {
public:
    MagnitudeSource(const ComponentValue& from, int type, std::optional<NumberArray> null_value)
        : from_(from), type_(type), null_value_(std::move(null_value)) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        const xp_long veclen = from_.veclen;
        return with_type(from_.type, [&](auto zero) {
            using T = decltype(zero);
            const NullTest<T> is_null(from_.null_value);
            const auto measure = [&](xp_long done, const std::byte* block, xp_long values) {
                for (xp_long i = 0; i < values; i += veclen) {
                    const std::byte* parts = block + i * static_cast<xp_long>(sizeof(T));
                    put(destination, (done + i) / veclen, has_null(parts, is_null) ? null() : length<T>(parts, veclen));
                }
                return std::string();
            };
            return for_each_block(from_.values, first * veclen, count * veclen, veclen, measure);
        });
    }

private:
    template <class T>
    bool has_null(const std::byte* parts, const NullTest<T>& is_null) const {
        if (!is_null.any()) return false;
        for (xp_long i = 0; i < from_.veclen; ++i) {
            if (is_null(load<T>(parts, i))) return true;
        }
        return false;
    }
    double null() const { return null_value_ ? real_of(*null_value_) : std::nan(""); }
    void put(std::byte* destination, xp_long node, double value) const {
        if (type_ == DTYPE_FLOAT) return store(destination, node, static_cast<float>(value));
        store(destination, node, value);
    }

    ComponentValue from_;
    int type_;
    std::optional<NumberArray> null_value_;
};

/// From a range to the whole range of a whole type. A range of one number parts those below and above it, by a factor
/// that is not finite.
template <class To>
LinearScale scale_of(const std::array<double, 2>& range) {
    LinearScale scale{.lowest = static_cast<double>(std::numeric_limits<To>::min()),
                      .highest = static_cast<double>(std::numeric_limits<To>::max())};
    if (!std::isfinite(range[1] - range[0])) scale.share = 0.5;  // wider than the largest number
    scale.start = range[0] * scale.share;
    const double extent = range[1] * scale.share - scale.start;
    scale.factor = extent == 0.0 ? std::numeric_limits<double>::infinity() : (scale.highest - scale.lowest) / extent;
    return scale;
}

class ScaledSource final : public ValueSource {
public:
    ScaledSource(const ComponentValue& from, int type, std::shared_ptr<const ValueRange> range)
        : from_(from), type_(type), range_(std::move(range)) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        std::array<double, 2> range{};
        if (std::string error = range_->find(range); !error.empty()) return error;
        const LinearScale scale = with_type(type_, [&](auto zero) { return scale_of<decltype(zero)>(range); });
        const std::byte* const null_value = null_address(from_.null_value);
        return for_each_block(from_.values, first, count, 1, [&](xp_long done, const std::byte* block, xp_long values) {
            scale_values(from_.type, block, values, null_value, scale, type_,
                         destination + done * static_cast<xp_long>(type_size(type_)));
            return std::string();
        });
    }

private:
    ComponentValue from_;
    int type_;
    std::shared_ptr<const ValueRange> range_;
};

}  // namespace

NumberArray joined(const std::vector<ComponentValue>& components, int type,
                   const std::optional<NumberArray>& null_value) {
    xp_long veclen = 0;
    xp_long count = 0;
    for (const auto& component : components) {
        veclen += component.veclen;
        count += component.values.count;
    }
    return array_made_by(type, count, std::make_shared<JoinedSource>(components, type, veclen, null_value));
}

NumberArray magnitude(const ComponentValue& component, int type, const std::optional<NumberArray>& null_value) {
    return array_made_by(type, component.values.count / std::max(component.veclen, 1),
                         std::make_shared<MagnitudeSource>(component, type, null_value));
}

NumberArray cast(const ComponentValue& component, int type, const std::optional<NumberArray>& null_value) {
    return array_made_by(type, component.values.count, std::make_shared<CastSource>(component, type, null_value));
}

NumberArray scaled(const ComponentValue& component, int type, std::shared_ptr<const ValueRange> range) {
    return array_made_by(type, component.values.count,
                         std::make_shared<ScaledSource>(component, type, std::move(range)));
}

}  // namespace zam::session
