// Reads the values of data sources, whatever the form of their files.
#pragma once

#include <optional>
#include <vector>

#include "modules/zam/ld_rdfld/ascii_values.h"
#include "modules/zam/ld_rdfld/crop.h"
#include "modules/zam/ld_rdfld/value_decoding.h"

namespace zam::ldrf {

/// Where the values of one source lie in one step.
struct Placement {
    int file_type = kBinary;
    xp_long start = 0;   // byte in the file that skip counts from
    xp_long skip = 0;    // lines (ASCII) or bytes
    xp_long offset = 0;  // values before the first
    xp_long stride = 1;  // values from node to node
};

/// Why values could not be read.
struct Fault {
    enum Kind {
        short_read,    // a native read found fewer bytes than it asked for
        not_decoded,   // nothing more is known
        missing_word,  // a text ends before a node's word
        no_number      // a word is not there, or not a number
    } kind;
    xp_long asked = 0, got = 0;  // bytes of a short read
    xp_long node = 0;            // of the text, in the file's order
};

/// Reads sources one after another. Buffers live as long as the reader.
class ValueReader {
public:
    /// Takes a file, which is borrowed, and must not be moved until the next attach().
    void attach(std::FILE* file) { bytes_.attach(file); }
    /// Goes to the values of a source and step in that file.
    void begin(const Placement& placement, const Encoding& encoding);

    /// Reads the kept nodes of a grid.
    ///
    /// Values that cannot be decoded, and bytes that are to be swapped, also give a line on the standard error stream.
    /// @param to       kept.nodes values of the type's size, each `spacing` values after the one before
    /// @param spacing  1 or more
    std::optional<Fault> read(const KeptNodes& kept, std::byte* to, xp_long spacing = 1);

    /// Reads nodes 0 to nodes - 1 and keeps none.
    std::optional<Fault> read_and_drop(xp_long nodes);

    /// Byte at which the next step of a source that is kept open begins, if this one has `nodes` nodes in all: after
    /// the last value and its stride, or after the record that holds the last value. After that, only begin() goes on.
    xp_long end_position(xp_long nodes);

private:
    using Result = std::optional<Fault>;

    bool text() const { return placement_.file_type == kAscii; }
    Result read_row(const KeptAxis& row, std::byte* to, xp_long spacing);
    Result read_words(const KeptAxis& row, std::byte* to, xp_long spacing);
    Result read_direct(xp_long count, std::byte* to);
    Result read_blocks(const KeptAxis& row, std::byte* to, xp_long spacing);
    Result cut_short(const KeptAxis& row, xp_long got) const;
    Result go_to_node(xp_long node);

    SourceBytes bytes_;
    std::optional<AsciiCursor> words_;
    Placement placement_;
    Encoding encoding_{};
    xp_long value_ = 0;  // next in the source, counted from its start: words, or values of the wire's size
    std::vector<std::byte> wire_, decoded_;
};

/// A file that is too short for a source: bytes from its first value to its last, and how many of them there are.
struct ShortFile {
    xp_long asked;
    xp_long left;
};

/// Whether the file can hold nodes 0 to `last_node` of a binary or unformatted source at all: checked before memory is
/// allocated.
std::optional<ShortFile> too_short(std::FILE* file, const Placement& placement, const Encoding& encoding,
                                   xp_long last_node);

}  // namespace zam::ldrf
