// Bytes that a text writes in base 64.
#pragma once

#include <optional>

#include "session/data/byte_source.h"

namespace zam::session {

/// What the text from byte `start` of a file on stands for. White space is passed over, and padding does not end it:
/// texts put together are read as one. Going back begins anew.
/// @param size  bytes, as far as it is known; else as many as there can be at most
ByteSourcePointer open_base64(ByteSourcePointer text, xp_long start, std::optional<xp_long> size = {});

}  // namespace zam::session
