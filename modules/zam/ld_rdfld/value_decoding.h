// Bytes of a data source into values: native, byte-swapped or XDR.
#pragma once

#include <cstddef>

#include "contract/types.h"

namespace zam::ldrf {

struct Encoding {
    int type;       // type code of the values in memory
    bool portable;  // XDR; bytes (type 1) are always native
    bool swap;      // native values in reversed byte order

    bool native() const;
};

/// Whether values of the encoding can be decoded at all.
bool decodable(const Encoding& encoding);

/// Bytes of a value on the wire: as in memory, but an XDR long has 4. 0 for a code that does not exist.
xp_long wire_size(const Encoding& encoding);

/// Reverses the bytes of every value where the encoding says so. Values of one byte stay as they are.
void swap_values(std::byte* values, const Encoding& encoding, xp_long count);

/// Turns `count` values of a decodable encoding into values in memory, in the type's size.
/// @return false if XDR cannot decode them
bool decode_values(std::byte* wire, const Encoding& encoding, std::byte* to, xp_long count);

}  // namespace zam::ldrf
