// Values that are made when they are needed: read from a file, lent by the host, or converted from others.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "contract/types.h"

namespace zam::session {

/// A sequence of values of one element type. Readers that go through it from the front to the end, block by block, get
/// along without holding all of it.
class ValueSource {
public:
    virtual ~ValueSource() = default;

    /// Copies values `first` to `first + count - 1`, in native byte order, to `destination`.
    /// @pre  they exist
    /// @return an empty text, or why the values could not be had
    virtual std::string read(xp_long first, xp_long count, std::byte* destination) const = 0;

    /// Where the values lie if all of them lie in memory, as long as the source does; else null.
    virtual const std::byte* in_memory() const { return nullptr; }

    /// Keeps in_memory() as it is for whoever goes on using it in place of a copy; null: others copy the values.
    virtual std::shared_ptr<const void> owner() const { return nullptr; }
};

using ValueSourcePointer = std::shared_ptr<const ValueSource>;

/// Bytes that a step of streaming works on: few enough for the second cache, many enough to read files well.
constexpr xp_long kStreamBlockBytes = xp_long{1} << 18;

}  // namespace zam::session
