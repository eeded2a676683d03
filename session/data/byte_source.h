// Bytes of data files: of a file itself, or of a member of an archive.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "contract/types.h"

namespace zam::session {

class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Number of bytes.
    virtual xp_long size() const = 0;
    /// Copies bytes `first` to `first + count - 1` to `destination`. Going from the front to the end is quick for every
    /// source; a compressed one begins anew to go back.
    /// @pre  they exist
    /// @return an empty text, or why they could not be read
    virtual std::string read(xp_long first, xp_long count, std::byte* destination) const = 0;
};

using ByteSourcePointer = std::shared_ptr<const ByteSource>;

/// The bytes of a regular file from byte `start` on. Host variables in its name are expanded.
/// @throws DataError  if it cannot be read
ByteSourcePointer open_file(const std::string& name, xp_long start = 0);

}  // namespace zam::session
