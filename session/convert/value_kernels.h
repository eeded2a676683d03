// Blocks of values of any type as doubles, and back.
#pragma once

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

#include "base/element_types.h"
#include "session/values/elements.h"
#include "session/values/number_array.h"

namespace zam::session {

/// Values that a block holds of arrays whose elements take up to 8 bytes.
constexpr xp_long kBlockValues = kStreamBlockBytes / 8;

/// Calls `use(first, block, count)` for one block of an array after another; `block` holds `count` values, in place if
/// the array lies in memory.
/// @return an empty text, or why the values could not be had, or what `use` says
template <class Use>
std::string for_each_block(const NumberArray& array, xp_long first, xp_long count, xp_long multiple, Use use) {
    const xp_long most = std::max(kBlockValues / multiple, xp_long{1}) * multiple;
    const auto size = static_cast<xp_long>(type_size(array.type));
    const std::byte* const in_memory = values_in_memory(array, first);
    std::vector<std::byte> block(in_memory ? 0 : static_cast<std::size_t>(std::min(count, most) * size));
    for (xp_long done = 0; done < count; done += most) {
        const xp_long wanted = std::min(most, count - done);
        std::string error = in_memory ? "" : copy_values(array, first + done, wanted, block.data());
        if (error.empty()) error = use(done, in_memory ? in_memory + done * size : block.data(), wanted);
        if (!error.empty()) return error;
    }
    return {};
}

template <class T>
T load(const std::byte* values, xp_long index) {
    T value;
    std::memcpy(&value, values + index * static_cast<xp_long>(sizeof value), sizeof value);
    return value;
}

template <class T>
void store(std::byte* values, xp_long index, T value) {
    std::memcpy(values + index * static_cast<xp_long>(sizeof value), &value, sizeof value);
}

/// A null value, as its component has it; compares false with everything if there is none.
template <class T>
class NullTest {
public:
    explicit NullTest(const std::optional<NumberArray>& null_value) {
        if (null_value) null_ = load<T>(null_value->values.data(), 0);
    }
    bool operator()(T value) const {
        if (!null_) return false;
        if constexpr (std::is_floating_point_v<T>) {
            if (std::isnan(*null_)) return std::isnan(value);
        }
        return value == *null_;
    }
    bool any() const { return null_.has_value(); }

private:
    std::optional<T> null_;
};

/// Where a null value lies, for kernels; null if there is none.
inline const std::byte* null_address(const std::optional<NumberArray>& null_value) {
    return null_value ? null_value->values.data() : nullptr;
}

inline double real_of(const NumberArray& one) {
    return with_type(one.type,
                     [&](auto zero) { return static_cast<double>(load<decltype(zero)>(one.values.data(), 0)); });
}

}  // namespace zam::session
