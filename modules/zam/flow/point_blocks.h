// Nodes of separatrices: often millions, appended one by one and ended in the same order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "modules/support/memory_budget.h"
#include "modules/zam/topology.h"

namespace zam::topology {

/// A queue of nodes that stay where they are. Its blocks grow until they are so large that every allocator takes them
/// from the system one by one and gives them back when they end: memory falls while outputs that replace the nodes
/// grow.
class PointBlocks {
public:
    /// What a node takes at most: itself and its coordinates of the output, which are written before it ends; then
    /// its place is taken by two numbers of the node list, which are no larger.
    static constexpr std::size_t kNodeBytes = sizeof(TopologyPoint) + 3 * sizeof(float);

    /// A new last node, not linked to any other; null if the budget has no room for its block.
    /// @throws std::bad_alloc
    TopologyPoint* append(double x, double y, MemoryBudget& memory) {
        if (next_ == end_ && !grow(memory)) return nullptr;
        ++size_;
        *next_ = {x, y, nullptr};
        return next_++;
    }
    /// Ends the first node.
    void pop_front() {
        --size_;
        if (++ended_ < block_nodes(first_)) return;
        blocks_[first_++].reset();
        ended_ = 0;
    }
    void clear() { *this = PointBlocks(); }

    std::size_t size() const { return size_; }
    /// Bytes charged to the budget.
    std::int64_t charged() const { return charged_; }

private:
    static std::size_t block_nodes(std::size_t block) {
        return std::size_t{1} << std::min<std::size_t>(12 + block, 21);
    }

    bool grow(MemoryBudget& memory) {
        const std::size_t nodes = block_nodes(blocks_.size());
        if (!memory.take(static_cast<xp_long>(nodes), kNodeBytes)) return false;
        charged_ += static_cast<std::int64_t>(nodes * kNodeBytes);
        blocks_.push_back(std::make_unique_for_overwrite<TopologyPoint[]>(nodes));
        next_ = blocks_.back().get();
        end_ = next_ + nodes;
        return true;
    }

    std::vector<std::unique_ptr<TopologyPoint[]>> blocks_;  // NOLINT(modernize-avoid-c-arrays): a vector would fill it
    std::size_t first_ = 0;                                 // block with the first node
    std::size_t ended_ = 0;                                 // nodes of that block
    TopologyPoint* next_ = nullptr;                         // place for the next node
    TopologyPoint* end_ = nullptr;
    std::size_t size_ = 0;
    std::int64_t charged_ = 0;
};

}  // namespace zam::topology
