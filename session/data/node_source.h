// Sources of vectors, which are easiest to make whole.
#pragma once

#include <cstring>
#include <vector>

#include "session/values/value_source.h"

namespace zam::session {

/// A source that makes whole nodes. A stretch that begins or ends within a node goes through a copy.
class NodeSource : public ValueSource {
public:
    /// @param veclen  values per node
    /// @param size    bytes per value
    NodeSource(xp_long veclen, std::size_t size) : veclen_(veclen), size_(static_cast<xp_long>(size)) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const final {
        const xp_long node = first / veclen_;
        const xp_long end = (first + count + veclen_ - 1) / veclen_;
        if (first % veclen_ == 0 && count % veclen_ == 0) return read_nodes(node, end - node, destination);
        std::vector<std::byte> whole(static_cast<std::size_t>((end - node) * veclen_ * size_));
        std::string error = read_nodes(node, end - node, whole.data());
        std::memcpy(destination, whole.data() + first % veclen_ * size_, static_cast<std::size_t>(count * size_));
        return error;
    }

protected:
    virtual std::string read_nodes(xp_long node, xp_long count, std::byte* destination) const = 0;
    xp_long veclen() const { return veclen_; }
    xp_long value_size() const { return size_; }

private:
    xp_long veclen_, size_;
};

}  // namespace zam::session
