// Images with depth in fields: 2-D, component 0 four bytes per pixel (opacity, red, green, blue), component 1 a float.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"

namespace zam {

constexpr int kColorBytes = 4;  // per pixel
constexpr int kDepthBytes = 4;

/// Pixels; width and height are at least 0.
struct ImageSize {
    int width;
    int height;

    friend bool operator==(ImageSize, ImageSize) = default;
    std::int64_t pixels() const { return std::int64_t{width} * height; }
};

/// Size of a field of two dimensions; `nullopt` for others, and for sizes whose bytes cannot be counted.
inline std::optional<ImageSize> read_image_size(OMobj_id field) {
    constexpr xp_long kMaxSide = std::numeric_limits<int>::max();
    HostArray<xp_long> dims;
    int ndim = 0;
    if (FLDget_dims(field, dims.receive(), &ndim) != 1 || !dims || ndim != 2) return std::nullopt;
    if (dims[0] < 0 || dims[1] < 0 || dims[0] > kMaxSide || dims[1] > kMaxSide) return std::nullopt;
    const ImageSize size{static_cast<int>(dims[0]), static_cast<int>(dims[1])};
    const bool countable = size.pixels() <= std::numeric_limits<xp_long>::max() / (kColorBytes + kDepthBytes);
    return countable ? std::optional(size) : std::nullopt;
}

/// Opens component `comp` if it is of type T, has `veclen` values per pixel and as many of them as the size needs.
/// Empty otherwise, and for images without pixels.
template <class T>
HostArray<T> open_component(OMobj_id field, int comp, int veclen, ImageSize size) {
    int own_veclen = 0;
    int type = DTYPE_CHAR;
    HostArray<T> values;
    const bool opened =
        FLDget_node_data_veclen(field, comp, &own_veclen) == 1 && own_veclen == veclen &&
        FLDget_node_data_type(field, comp, &type) == 1 && type == kTypeCode<T> &&
        FLDget_node_data(field, comp, &type, values.receive_untyped(), values.receive_count(), ARR_READ) == 1;
    const bool present = opened && size.pixels() > 0 && values.size() >= size.pixels() * veclen;
    if (!present || type != kTypeCode<T>) return HostArray<T>();
    return values;
}

inline HostArray<std::uint8_t> open_colors(OMobj_id image, ImageSize size) {
    return open_component<std::uint8_t>(image, 0, kColorBytes, size);
}
inline HostArray<float> open_depths(OMobj_id image, ImageSize size) { return open_component<float>(image, 1, 1, size); }

/// Element `index` of an array of fields, by its path.
/// @throws std::bad_alloc
inline OMobj_id find_element(OMobj_id instance, const char* array, xp_long index) {
    const std::string path = std::string(array) + "[" + std::to_string(index) + "]";
    return OMfind_str_subobj(instance, path.c_str(), OM_OBJ_RW);
}

}  // namespace zam
