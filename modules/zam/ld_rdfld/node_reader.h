// The values of one data source, node after node, whatever the form of the file.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "modules/zam/ld_rdfld/crop.h"
#include "modules/zam/ld_rdfld/value_decoding.h"

namespace zam::ldrf {

/// Where the values of one source lie in one step.
struct Placement {
    std::string file;  // empty: the field file itself
    int file_type = kBinary;
    xp_long start = 0;   // byte in the file that skip counts from
    xp_long skip = 0;    // lines (ASCII) or bytes
    xp_long offset = 0;  // values before the first
    xp_long stride = 1;  // values from node to node
};

/// What failing reads of a source say.
struct SourceRole {
    int component;           // in messages, from 0
    const char* read_error;  // when nothing more precise is known
    bool quiet = false;      // a number that is missing or wrong is not reported here
};

/// Opened values of a source. read() and skip() go through the nodes in the file's order.
class NodeReader {
public:
    virtual ~NodeReader() = default;

    /// Reads `nodes` values to `to`, contiguous, in the type's size.
    virtual Decoded read(std::byte* to, xp_long nodes) = 0;
    /// Reads and drops the values.
    virtual Decoded skip(xp_long nodes) = 0;
    /// Byte at which the next step of a source that is kept open begins, when this one has `nodes` nodes in all: behind
    /// the last value and its stride, or behind the record that holds the last value.
    virtual xp_long end_position(xp_long nodes) = 0;
};

/// Opens a source's values.
/// @param file  borrowed while the reader lives
std::unique_ptr<NodeReader> open_nodes(std::FILE* file, const Placement& placement, const Encoding& encoding,
                                       const SourceRole& role, Asking asking);

/// Reads the kept nodes of a grid.
/// @param to       kept.nodes values of the type's size, each `spacing` values after the one before
Decoded read_kept_nodes(NodeReader& reader, const KeptNodes& kept, int type, std::byte* to, xp_long spacing = 1);

/// A file that is too short for a source: bytes from its first value to its last, and how many of them there are.
struct ShortFile {
    xp_long asked;
    xp_long left;
};

/// Whether the file can hold nodes 0 to `last_node` of a binary or unformatted source at all: asked before memory is.
std::optional<ShortFile> too_short(std::FILE* file, const Placement& placement, const Encoding& encoding,
                                   xp_long last_node);

}  // namespace zam::ldrf
