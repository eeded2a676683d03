// Bytes of a data source in file order, with or without the record markers of unformatted files between them.
#pragma once

#include <cstddef>
#include <cstdio>
#include <vector>

#include "contract/types.h"

namespace zam::ldrf {

class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Reads `size` bytes; fewer only where the source ends.
    virtual std::size_t read(std::byte* to, std::size_t size) = 0;
    /// Passes over `bytes` >= 0; going past the end shows at the next read.
    virtual void skip(xp_long bytes) = 0;
    /// Position in the file at which whatever follows these values begins.
    virtual xp_long end_position() = 0;
};

/// The bytes of a file from a position on. The file is only borrowed, and moved by no one else meanwhile.
class PlainBytes final : public ByteSource {
public:
    PlainBytes(std::FILE* file, xp_long start);

    std::size_t read(std::byte* to, std::size_t size) override;
    void skip(xp_long bytes) override;
    xp_long end_position() override { return position(); }

    xp_long position() const { return filled_to_ - static_cast<xp_long>(buffer_end_ - buffer_at_); }
    void seek(xp_long position);

private:
    std::FILE* file_;
    xp_long filled_to_;              // position in the file after the buffer
    std::vector<std::byte> buffer_;  // for small reads; large ones go past it
    std::size_t buffer_at_ = 0, buffer_end_ = 0;
};

/// The contents of Fortran-unformatted records, each between two 4-byte markers that hold its length, from the leading
/// marker at a position on. Values may continue in the next record. Markers are in either byte order; a negative one
/// (a record in pieces) counts by its magnitude. Where the first markers do not fit together, the bytes after the
/// leading one are read as they come.
class RecordBytes final : public ByteSource {
public:
    RecordBytes(std::FILE* file, xp_long start, xp_long file_length);

    std::size_t read(std::byte* to, std::size_t size) override;
    void skip(xp_long bytes) override;
    xp_long end_position() override;

private:
    bool open_record();
    bool read_marker(xp_long at, bool reversed, xp_long& length);

    PlainBytes bytes_;
    xp_long file_length_;
    xp_long record_end_ = 0;  // position of the trailing marker
    bool in_records_ = false;
    bool reversed_ = false;  // markers are in the other byte order
};

}  // namespace zam::ldrf
