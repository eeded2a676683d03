// Parts of arrays, in another order than they are stored in.
#pragma once

#include <span>
#include <vector>

#include "session/data/node_source.h"

namespace zam::session {

struct StridedAxis {
    xp_long size;
    xp_long stride;  // values from one index to the next
};

/// Values of an array node after node: axes of space, x first, with the parts of a vector together at each node.
class StridedSource final : public NodeSource {
public:
    /// @param start  value of the array at which the first node begins
    /// @param parts  of each node; one part if there are no vectors
    StridedSource(ValueSourcePointer values, int type, xp_long start, StridedAxis parts,
                  std::span<const StridedAxis> space);

private:
    std::string read_nodes(xp_long node, xp_long count, std::byte* destination) const override;
    std::string read_run(xp_long from, xp_long count, std::byte* destination) const;

    ValueSourcePointer values_;
    xp_long start_;
    xp_long part_stride_;
    std::vector<StridedAxis> runs_;  // axes of space, those that continue each other as one
};

}  // namespace zam::session
