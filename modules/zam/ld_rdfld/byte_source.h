// Bytes of a data source in file order, with or without the record markers of unformatted files between them.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string_view>

#include "contract/types.h"

namespace zam::ldrf {

/// Positions from here on are beyond the end of any file. Sums of positions and sizes saturate here.
constexpr xp_long kFarPosition = xp_long{4} << 60;

/// a + b, at most kFarPosition; both in 0 .. kFarPosition.
constexpr xp_long far_sum(xp_long a, xp_long b) { return a < kFarPosition - b ? a + b : kFarPosition; }

/// The bytes of a file through one buffer, which is kept while the position moves within it.
class FileBytes {
public:
    /// Goes to the start of a file, which is borrowed; nobody else may move its position until the next attach().
    void attach(std::FILE* file);

    xp_long length() const { return length_; }
    xp_long position() const { return buffer_start_ + static_cast<xp_long>(at_); }
    /// Goes to a position >= 0; beyond the end, reads find nothing.
    void seek(xp_long position);

    /// Reads `size` bytes; fewer only where the file ends.
    std::size_t read(std::byte* to, std::size_t size);

    /// What is in the buffer from the position on.
    std::string_view window() const { return {buffer_.get() + at_, end_ - at_}; }
    /// Adds what follows in the file to window(), which moves. @return false where the file or the buffer ends
    bool extend_window();

private:
    std::size_t fill(std::size_t wanted);
    std::size_t read_file(char* to, std::size_t size, xp_long position);

    std::FILE* file_ = nullptr;
    xp_long length_ = 0;
    xp_long file_position_ = -1;      // of the file itself; -1: not known
    std::unique_ptr<char[]> buffer_;  // made by the first read that needs it
    xp_long buffer_start_ = 0;        // position of its first byte
    std::size_t at_ = 0, end_ = 0;
    std::size_t next_fill_ = 0;  // small after a jump, growing while reading goes on
};

/// The bytes of a source: those of a file from a position on, or the contents of Fortran-unformatted records, each
/// between two 4-byte markers that hold its length, from the leading marker at that position on. Values may continue in
/// the next record. Markers are in either byte order; a negative one (a record in pieces) counts by its magnitude.
/// Where the first markers do not fit together, the bytes after the leading one are read as they come.
class SourceBytes {
public:
    void attach(std::FILE* file) { bytes_.attach(file); }
    /// Begins at a position of the file.
    void begin(xp_long start, bool records);

    /// Reads `size` bytes; fewer only where the source ends.
    std::size_t read(std::byte* to, std::size_t size);
    /// Skips `bytes` >= 0. @return how many there are before the source ends
    xp_long skip(xp_long bytes);
    /// Position in the file at which whatever follows these values begins: of records, after the current one.
    xp_long end_position() const;

    /// The file itself, for text.
    FileBytes& file() { return bytes_; }

private:
    bool open_record();
    bool read_marker(xp_long at, xp_long& length);

    FileBytes bytes_;
    bool unformatted_ = false;
    bool in_records_ = false;  // the markers fit together
    bool reversed_ = false;    // markers are in the other byte order
    xp_long record_end_ = 0;   // position of the trailing marker
};

}  // namespace zam::ldrf
