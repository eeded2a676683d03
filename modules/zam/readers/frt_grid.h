// The grid in a file of Fortran records: dims, coordinates, perhaps a time, then one record per component of node data.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/typed_bytes.h"
#include "modules/zam/readers/frt_records.h"

namespace zam::frt {

/// Nodes along each axis, i fastest.
struct GridShape {
    int ndim = 3;                          // 2 or 3; also the components of a position
    std::array<xp_long, 3> dims{1, 1, 1};  // each at least 1
    xp_long nnodes = 1;

    std::size_t axes() const { return ndim == 2 ? 2 : 3; }
};

/// Reads the dims.
/// @throws Failure also for dims below 1 and for more nodes than any file holds
GridShape read_shape(RecordFile& file);

/// Reads the positions, which the file holds axis after axis, in one record or in one each.
/// @return nnodes x ndim floats, those of a node together
/// @param memory  is charged with them
/// @throws Failure; nothing has been allocated that the file does not hold
OutArray<float> read_coordinates(RecordFile& file, const GridShape& shape, MemoryBudget& memory);

/// The longest record after the coordinates that is a time rather than node data, in bytes.
constexpr xp_long kMaxTimeBytes = 32;

/// Reads the contents of the time record and its trailing marker.
/// @param length  of the record; whatever follows the time in it is skipped
float read_time(RecordFile& file, xp_long length);

/// Components of node data, each of veclen 1. One that could not be read whole has zeros where nothing was read, or,
/// for want of memory, no array.
struct NodeData {
    int type = DTYPE_FLOAT;  // or DTYPE_DOUBLE, of all
    std::vector<OwnedTypedBytes> components;
    const char* warning = nullptr;  // why reading stopped before the end of the file; null: it did not
};

/// Reads the components up to the end of the file.
/// @param length  of the first data record, whose leading marker has been read. Of a file whose length fits a grid, but
///                whose first record does not, no component is read.
/// @param memory  is charged with them
/// @throws Failure if there is no first component
NodeData read_node_data(RecordFile& file, const GridShape& shape, xp_long length, MemoryBudget& memory);

}  // namespace zam::frt
