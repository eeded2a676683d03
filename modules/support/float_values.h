// Node data and arrays as floats, whatever their type.
#pragma once

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "base/available_memory.h"
#include "modules/support/typed_bytes.h"

namespace zam {

/// The values of a component or an array: the host's own where they are floats, else a converted copy (raw bytes count
/// as unsigned).
class FloatValues {
public:
    /// `nullopt` if the host has no values or they are of an unknown type.
    /// @throws std::bad_alloc if there is no memory for a copy
    static std::optional<FloatValues> read(OMobj_id field, int comp) { return take(TypedBytes::read(field, comp)); }

    /// As read(), of the array in sub-object `name`.
    static std::optional<FloatValues> read_array(OMobj_id object, const char* name) {
        return take(TypedBytes::read_array(object, name));
    }

    /// The first `count` of the values lent; `nullopt` if there are fewer, or they are of an unknown type.
    /// @throws std::bad_alloc if there is no memory for a copy
    static std::optional<FloatValues> first(TypedBytes lent, xp_long count) {
        if (count < 0 || count > lent.count() || type_size(lent.type()) == 0) return std::nullopt;
        FloatValues values;
        if (lent.type() == DTYPE_FLOAT) {
            values.floats_ = lent.as<float>().first(static_cast<std::size_t>(count));
            values.lent_ = std::move(lent);
        } else {
            values.convert(lent, count);
        }
        return values;
    }

    std::span<const float> span() const { return floats_; }

private:
    static std::optional<FloatValues> take(std::optional<TypedBytes> lent) {
        if (!lent) return std::nullopt;
        const xp_long count = lent->count();
        return first(std::move(*lent), count);
    }

    void convert(const TypedBytes& lent, xp_long count) {
        AvailableMemory().require(count, sizeof(float));  // alone: filled at once
        with_type(lent.type(), [&](auto zero) {
            const auto from = lent.as<decltype(zero)>().first(static_cast<std::size_t>(count));
            converted_.reserve(from.size());
            for (const auto value : from) converted_.push_back(static_cast<float>(value));
        });
        floats_ = converted_;
    }

    std::optional<TypedBytes> lent_;
    std::vector<float> converted_;
    std::span<const float> floats_;  // of either; moving keeps it valid
};

}  // namespace zam
