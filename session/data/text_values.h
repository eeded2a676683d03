// Numbers that a file holds as text.
#pragma once

#include "session/data/byte_source.h"
#include "session/values/value_source.h"

namespace zam::session {

/// The numbers from byte `start` of a text to byte `end`, with white space between them, as values of an element type.
/// Going back begins anew.
/// @pre  start <= end <= text->size()
ValueSourcePointer open_text_values(ByteSourcePointer text, xp_long start, xp_long end, int type);

}  // namespace zam::session
