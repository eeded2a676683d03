// Bytes of a data source into values: native, byte-swapped or XDR.
#pragma once

#include "modules/zam/ld_rdfld/byte_source.h"

namespace zam::ldrf {

struct Encoding {
    int type;       // type code of the values in memory
    bool portable;  // XDR; bytes (type 1) are always native
    bool swap;      // native values in the other byte order
};

/// Bytes of a value on the wire: as in memory, but an XDR long has 4. 0 for a code that does not exist.
xp_long wire_size(const Encoding& encoding);

/// How a read ended. A failure that has been reported must not be reported again.
enum class Decoded { ok, reported, failed };

/// Which reader asks; it only decides the text about an unknown type.
enum class Asking { whole_field, cropped_field };

/// Reads `count` values, each `stride` values after the one before, from where `bytes` stands; the position afterwards
/// is behind the last value read.
///
/// @param to  count x the type's size in memory
/// Errors: a short native read is reported ("Attempted binary read of ..."); values that XDR cannot decode and unknown
/// types give `failed`, the latter with a line on standard error. Bytes that shall be swapped only give such a line.
Decoded decode_values(ByteSource& bytes, Encoding encoding, std::byte* to, xp_long count, xp_long stride,
                      Asking asking = Asking::whole_field);

}  // namespace zam::ldrf
