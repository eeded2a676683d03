// Files of Fortran unformatted records: each record's bytes between two markers that hold their number.
//
// Compilers differ in the width of markers, machines in the order of bytes. Nothing in the file names either; both
// follow from the first record, which holds the dims of a grid and so has one of four lengths.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>

#include "contract/types.h"

namespace zam::frt {

/// Ends a read. The text is the module's one message.
struct Failure {
    const char* text;
};

inline void require(bool ok, const char* text) {
    if (!ok) throw Failure{text};
}

/// Messages of a value: it could not be read, its bytes could not be reversed.
struct ValueTexts {
    const char* read;
    const char* swap;
};

/// Messages of a marker, which differ with its width.
struct MarkerTexts {
    ValueTexts narrow;  // 4 bytes
    ValueTexts wide;    // 8 bytes
};

/// Reverses the bytes of each element of a buffer, in place.
///
/// @param type  "char", "byte": elements of 1 byte, nothing to do; "short": 2; "int", "long", "float": 4; "xp_long",
///              "double", "byte8": 8
/// @param size  in bytes; those beyond the last whole element stay as they are
/// @return false for any other type
bool reverse_elements(std::string_view type, std::byte* values, std::size_t size);

/// How a file is written.
struct Layout {
    int marker_width = 4;   // bytes, 4 or 8
    int integer_width = 4;  // bytes of a dimension, 4 or 8
    int ndim = 3;           // 2 or 3
    bool swapped = false;   // in the byte order that is not this machine's
};

/// A file, read front to back or at any place. No read goes past its end: what the file cannot hold is refused before
/// anything is allocated for it.
class RecordFile {
public:
    /// The stream is borrowed and not yet read. It is made unbuffered: nearly all bytes go in large blocks to where
    /// they are wanted, without a copy on the way.
    explicit RecordFile(std::FILE* stream);

    /// Finds out how the file is written, and goes back to its start.
    /// @throws Failure if it does not begin with the dims of a grid
    void detect_layout();
    const Layout& layout() const { return layout_; }

    xp_long position() const { return position_; }
    xp_long remaining() const { return length_ - position_; }
    void go_to(xp_long position) { position_ = position; }

    /// Reads or skips bytes. @return false, with nothing skipped, if the file ends before
    bool read(void* to, xp_long bytes);
    bool skip(xp_long bytes);
    bool skip_marker() { return skip(layout_.marker_width); }

    /// Bytes as they came from the file into this machine's order.
    bool to_native(std::string_view type, void* values, std::size_t size) const {
        return !layout_.swapped || reverse_elements(type, static_cast<std::byte*>(values), size);
    }

    /// Reads one value of a type named as for reverse_elements().
    /// @throws Failure with one of the texts
    template <class T>
    T value(std::string_view type, const ValueTexts& texts) {
        T result;
        require(read(&result, sizeof result), texts.read);
        require(to_native(type, &result, sizeof result), texts.swap);
        return result;
    }

    /// Reads a marker: the length of a record in bytes. Whoever wrote the file may have put any number there.
    xp_long marker(const MarkerTexts& texts);
    /// As marker(), but `nullopt` if the file ends before it.
    std::optional<xp_long> next_marker(const char* swap_failure);

private:
    template <int kWidth>
    std::optional<xp_long> read_marker(const char* swap_failure);

    std::FILE* stream_;
    xp_long length_;
    xp_long position_ = 0;         // of the next read
    xp_long stream_position_ = 0;  // of the stream; it follows when something is read
    Layout layout_;
};

}  // namespace zam::frt
