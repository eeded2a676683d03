// Node data and arrays as floats, whatever type they are held in.
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

    std::span<const float> span() const { return floats_; }

private:
    static std::optional<FloatValues> take(std::optional<TypedBytes> lent) {
        if (!lent || lent->count() < 0 || type_size(lent->type()) == 0) return std::nullopt;
        FloatValues values;
        if (lent->type() == DTYPE_FLOAT) {
            values.floats_ = lent->as<float>();
            values.lent_ = std::move(lent);
        } else {
            values.convert(*lent);
        }
        return values;
    }

    void convert(const TypedBytes& lent) {
        AvailableMemory().require(lent.count(), sizeof(float));  // alone: filled at once
        with_type(lent.type(), [&](auto zero) {
            const auto from = lent.as<decltype(zero)>();
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
