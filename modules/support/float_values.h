// Node data and arrays as floats, whatever type they are held in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/available_memory.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"

namespace zam {

/// The values of a component or an array: the host's own where they are floats, else a converted copy (raw bytes count
/// as unsigned).
class FloatValues {
public:
    /// Nothing when the host has no values or they are of an unknown type.
    /// @throws std::bad_alloc when there is no memory for a copy
    static std::optional<FloatValues> read(OMobj_id field, int comp) {
        HostArray<const std::byte> data;
        int type = DTYPE_FLOAT;
        auto* place = const_cast<void**>(reinterpret_cast<const void**>(data.place()));
        if (FLDget_node_data(field, comp, &type, place, data.count_place(), ARR_READ) != 1) return std::nullopt;
        return take(std::move(data), type);
    }

    /// As read(), of the array in sub-object `name`.
    static std::optional<FloatValues> read_array(OMobj_id object, const char* name) {
        xp_long count = 0;
        int type = DTYPE_FLOAT;
        const void* data = OMret_name_array_ptr(object, OMstr_to_name(name), ARR_READ, &count, &type);
        return take({static_cast<const std::byte*>(data), count}, type);
    }

    std::span<const float> span() const { return floats_; }

private:
    static std::optional<FloatValues> take(HostArray<const std::byte> data, int type) {
        if (!data || data.size() < 0 || type_size(type) == 0) return std::nullopt;
        FloatValues values;
        const auto size = static_cast<std::size_t>(data.size());
        if (type == DTYPE_FLOAT) {
            values.floats_ = {reinterpret_cast<const float*>(data.data()), size};
            values.lent_ = std::move(data);
        } else {
            values.convert(type, data.data(), size);
        }
        return values;
    }

    void convert(int type, const std::byte* data, std::size_t size) {
        AvailableMemory().require(static_cast<std::int64_t>(size), sizeof(float));  // alone: filled at once
        const auto copy = [&]<class T>(const T* from) {
            converted_.reserve(size);
            for (std::size_t i = 0; i < size; ++i) converted_.push_back(static_cast<float>(from[i]));
        };
        switch (type) {
            case DTYPE_SHORT: copy(reinterpret_cast<const std::int16_t*>(data)); break;
            case DTYPE_INT: copy(reinterpret_cast<const std::int32_t*>(data)); break;
            case DTYPE_DOUBLE: copy(reinterpret_cast<const double*>(data)); break;
            case DTYPE_LONG: copy(reinterpret_cast<const xp_long*>(data)); break;
            default: copy(reinterpret_cast<const std::uint8_t*>(data)); break;
        }
        floats_ = converted_;
    }

    HostArray<const std::byte> lent_;
    std::vector<float> converted_;
    std::span<const float> floats_;  // of either; moving keeps it valid
};

}  // namespace zam
