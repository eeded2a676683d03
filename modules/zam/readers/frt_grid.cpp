#include "modules/zam/readers/frt_grid.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "base/checked_product.h"

namespace zam::frt {
namespace {

constexpr xp_long kMaxNodes = xp_long{1} << 48;  // more than any file holds; byte counts of as many fit in 64 bits
constexpr xp_long kFloatBytes = 4;
constexpr xp_long kBlockBytes = xp_long{1} << 17;  // blocks of three axes stay in the second-level cache
constexpr std::size_t kMaxComponents = 1024;

// --- Coordinates ---

struct AxisTexts {
    const char* allocate;
    const char* read;
    const char* swap;
};
constexpr AxisTexts kAxisTexts[] = {
    {"Can't allocate x coordinate.", "Error! read xcoords.", "Error! byte swap failed - xcoord."},
    {"Can't allocate y coordinate.", "Error! read ycoords.", "Error! byte swap failed - ycoord."},
    {"Can't allocate z coordinate.", "Error! read zcoords.", "Error! byte swap failed - zcoord."},
};
constexpr const char* kCoordinateFooter = "Error! read xyzcoord footer.";

/// Where the values of an axis lie in the file, and the message if they cannot be read.
struct AxisPlace {
    xp_long start;
    const char* read;
};
using AxisPlaces = std::array<AxisPlace, 3>;

/// Skips the coordinates.
/// @throws Failure if the file ends before their end
AxisPlaces find_axes(RecordFile& file, const GridShape& shape, xp_long length) {
    const xp_long axis_bytes = shape.nnodes * kFloatBytes;
    // deliberate: any other length is one record for all axes, and the lengths of further records do not matter
    const bool separate = length == axis_bytes;
    AxisPlaces places{};
    for (std::size_t axis = 0; axis < shape.axes(); ++axis) {
        if (separate && axis > 0) require(file.skip_marker(), "Error! read xyzcoord header.");
        // deliberate: of separate records, z fails as y does
        places[axis] = {file.position(), kAxisTexts[separate && axis == 2 ? 1 : axis].read};
        require(file.skip(axis_bytes), places[axis].read);
        if (separate) require(file.skip_marker(), kCoordinateFooter);
    }
    if (!separate) require(file.skip_marker(), kCoordinateFooter);
    return places;
}

using Block = std::vector<float>;

Block allocate_block(xp_long nodes, const char* failure) {
    try {
        return Block(static_cast<std::size_t>(nodes));
    } catch (const std::bad_alloc&) {
        throw Failure{failure};
    }
}

/// Puts the positions of some nodes together. With the number of axes known, the loop handles several nodes at once.
template <std::size_t kAxes>
void interleave(const std::array<Block, 3>& axes, std::size_t nodes, float* positions) {
    for (std::size_t node = 0; node < nodes; ++node) {
        for (std::size_t axis = 0; axis < kAxes; ++axis) positions[node * kAxes + axis] = axes[axis][node];
    }
}

}  // namespace

GridShape read_shape(RecordFile& file) {
    constexpr ValueTexts kDimTexts[] = {{"Error! read imax.", "Error! byte swap failed - imax."},
                                        {"Error! read jmax.", "Error! byte swap failed - jmax."},
                                        {"Error! read kmax.", "Error! byte swap failed - kmax."}};
    GridShape shape;
    shape.ndim = file.layout().ndim;
    require(file.skip_marker(), "Error! read ijk header.");
    for (std::size_t axis = 0; axis < shape.axes(); ++axis) {
        const ValueTexts& texts = kDimTexts[axis];
        const xp_long dim = file.layout().integer_width == 4 ? file.value<std::int32_t>("int", texts)
                                                             : file.value<xp_long>("xp_long", texts);
        require(dim >= 1, texts.read);
        shape.dims[axis] = dim;
    }
    require(file.skip_marker(), "Error! read ijkmax footer.");
    const auto nnodes = checked_product(shape.dims);
    require(nnodes && *nnodes <= kMaxNodes, kAxisTexts[0].allocate);
    shape.nnodes = *nnodes;
    return shape;
}

OutArray<float> read_coordinates(RecordFile& file, const GridShape& shape, MemoryBudget& memory) {
    const xp_long length = file.marker({{"Error! read coordinate header.", "Error! byte swap failed - coords."},
                                        {"Error! read coordinate header8.", "Error! byte swap failed - coords8."}});
    const xp_long block_nodes = std::min(shape.nnodes, kBlockBytes / kFloatBytes);
    std::array<Block, 3> blocks;
    for (std::size_t axis = 0; axis < shape.axes(); ++axis)
        blocks[axis] = allocate_block(block_nodes, kAxisTexts[axis].allocate);
    const AxisPlaces places = find_axes(file, shape, length);
    const xp_long end = file.position();

    auto positions = memory.allocate<float>(shape.nnodes * shape.ndim);
    require(bool(positions), "Can't allocation coordinate.");
    for (xp_long node = 0; node < shape.nnodes; node += block_nodes) {
        const xp_long count = std::min(block_nodes, shape.nnodes - node);
        const xp_long bytes = count * kFloatBytes;
        for (std::size_t axis = 0; axis < shape.axes(); ++axis) {
            file.go_to(places[axis].start + node * kFloatBytes);
            require(file.read(blocks[axis].data(), bytes), places[axis].read);
            require(file.to_native("float", blocks[axis].data(), static_cast<std::size_t>(bytes)),
                    kAxisTexts[axis].swap);
        }
        float* to = positions.data() + node * shape.ndim;
        shape.ndim == 2 ? interleave<2>(blocks, static_cast<std::size_t>(count), to)
                        : interleave<3>(blocks, static_cast<std::size_t>(count), to);
    }
    file.go_to(end);
    return positions;
}

float read_time(RecordFile& file, xp_long length) {
    constexpr ValueTexts kTexts{"Error! read time value.", "Error! byte swap failed - time value."};
    require(length >= kFloatBytes, kTexts.read);
    const auto time = file.value<float>("float", kTexts);
    require(file.skip(length - kFloatBytes) && file.skip_marker(), kTexts.read);
    return time;
}

// --- Node data ---

namespace {

/// Messages of a component.
struct ComponentTexts {
    const char* allocate_float;
    const char* allocate_double;
    const char* read;
    const char* swap;
};
constexpr ComponentTexts kFirst{"Can't allocation data value.", "Can't allocation ddata value.", "Error! read data.",
                                "Error! byte swap failed - data."};
constexpr ComponentTexts kFurther{
    "Warning! cannot allocation data : veclen > 1\n", "Warning! cannot allocation ddata : veclen > 1\n",
    "Warning! cannot read data: veclen > 1", "Warning! byte swap error in read data : veclen > 1\n"};

/// Whether what is left of a file could be node data that other programs wrote, in whole words of 4 bytes: a component
/// and its markers, or several, of floats or doubles.
bool fits_node_data(xp_long words, xp_long nnodes) {
    return words % (nnodes + 2) == 0 || words % (2 * nnodes + 2) == 0 || words % (nnodes + 4) == 0 ||
           words % (2 * (nnodes + 2)) == 0;
}

/// Reads the values of a component and its trailing marker. Values after the end of the file are zeros.
void read_component(RecordFile& file, xp_long nnodes, int type, const ComponentTexts& texts, MemoryBudget& memory,
                    OwnedTypedBytes& values) {
    const bool floats = type == DTYPE_FLOAT;
    values = OwnedTypedBytes::allocate(memory, type, nnodes);
    require(bool(values), floats ? texts.allocate_float : texts.allocate_double);

    const xp_long width = floats ? 4 : 8;
    const xp_long size = nnodes * width;
    const xp_long held = std::min(size, file.remaining() / width * width);
    // values are swapped while they are in the cache
    const xp_long step = file.layout().swapped ? kBlockBytes : std::max(held, width);
    std::byte* const bytes = values.bytes().data();
    std::memset(bytes + held, 0, static_cast<std::size_t>(size - held));
    for (xp_long at = 0; at < held; at += step) {
        const xp_long count = std::min(step, held - at);
        if (!file.read(bytes + at, count)) {
            std::memset(bytes + at, 0, static_cast<std::size_t>(held - at));
            throw Failure{texts.read};
        }
        require(file.to_native(floats ? "float" : "double", bytes + at, static_cast<std::size_t>(count)), texts.swap);
    }
    require(held == size && file.skip_marker(), texts.read);
}

/// Reads the components after the first one.
/// @return why it stopped; null at the end of the file
const char* read_further_components(RecordFile& file, xp_long nnodes, MemoryBudget& memory, NodeData& data) {
    const xp_long bytes = nnodes * static_cast<xp_long>(type_size(data.type));
    try {
        for (;;) {
            const auto length = file.next_marker(kFurther.swap);
            if (!length) return nullptr;  // a file that ends here ends well
            require(*length == bytes, "Warning! error in read data : veclen > 1\n");
            // deliberate: counted before it is read, so it counts even if it cannot be read
            data.components.emplace_back();
            require(data.components.size() < kMaxComponents, "Can't read more veclen data (internal limit over).");
            read_component(file, nnodes, data.type, kFurther, memory, data.components.back());
        }
    } catch (const Failure& end) {
        return end.text;
    }
}

}  // namespace

NodeData read_node_data(RecordFile& file, const GridShape& shape, xp_long length, MemoryBudget& memory) {
    NodeData data;
    const xp_long nnodes = shape.nnodes;
    if (length != nnodes * 4 && length != nnodes * 8) {
        // deliberate: only the length is checked, and the file is read as one without node data
        require(fits_node_data(file.remaining() / 4, nnodes), "Error! Unexpected data size.");
        return data;
    }
    data.type = length == nnodes * 4 ? DTYPE_FLOAT : DTYPE_DOUBLE;
    require(length <= file.remaining(), kFirst.read);
    data.components.reserve(kMaxComponents);
    read_component(file, nnodes, data.type, kFirst, memory, data.components.emplace_back());
    data.warning = read_further_components(file, nnodes, memory, data);
    return data;
}

}  // namespace zam::frt
