#include "runner/capture_info.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "base/file_handle.h"
#include "contract/file.h"
#include "contract/fld.h"

namespace zam::runner {

using namespace session;

namespace {

constexpr std::int64_t kBlockBytes = 1 << 18;

/// Reads `count` values of the file in blocks, for their range. False if the file is shorter.
template <class T>
bool add_range(std::FILE* file, std::int64_t count, int type, OMobj_id field, int comp) {
    std::vector<T> block(kBlockBytes / sizeof(T));
    T minimum = std::numeric_limits<T>::max();
    T maximum = std::numeric_limits<T>::lowest();
    for (std::int64_t left = count; left > 0;) {
        const auto wanted = static_cast<std::size_t>(std::min(left, static_cast<std::int64_t>(block.size())));
        if (std::fread(block.data(), sizeof(T), wanted, file) != wanted) return false;
        for (std::size_t i = 0; i < wanted; ++i) {  // NaNs are passed over
            if (block[i] < minimum) minimum = block[i];
            if (block[i] > maximum) maximum = block[i];
        }
        left -= static_cast<std::int64_t>(wanted);
    }
    FLDset_node_data_type(field, comp, type);
    if (minimum <= maximum) FLDset_node_data_minmax(field, comp, &minimum, &maximum, type);
    return true;
}

}  // namespace

Description describe_capture(const FileStart& start, OMobj_id field) {
    const auto dims = capture_dims(start.bytes);
    const xp_long pixels = dims[0] * dims[1];
    FLDset_ndim(field, 2);
    FLDset_dims(field, dims.data());
    FLDset_nspace(field, 2);
    FLDset_node_data_ncomp(field, 2);
    FLDset_node_data_comp(field, 0, 4, "opacity, red, green, blue", nullptr);
    FLDset_node_data_comp(field, 1, 1, "depth", nullptr);
    const FileHandle file(FILEfopen(start.name.c_str(), "rb"));
    std::string text(kCaptureHeader, '\0');
    const bool whole = file && std::fread(text.data(), 1, text.size(), file.get()) == text.size() &&
                       add_range<std::uint8_t>(file.get(), 4 * pixels, DTYPE_BYTE, field, 0) &&
                       add_range<float>(file.get(), pixels, DTYPE_FLOAT, field, 1);
    return {.fault = whole ? "" : "is shorter than the size at its beginning says"};
}

}  // namespace zam::runner
