// Bytes that gzip made smaller. The only place that knows the library for them.
#pragma once

#include "session/data/byte_source.h"

namespace zam::session {

/// Bytes that deflate makes of one at most.
constexpr xp_long kMostPerPackedByte = 1032;

/// What gzip packed, from byte `start` of `packed` on; `size` bytes of it. Going back begins anew.
/// @throws DataError  if so few bytes cannot hold so many
ByteSourcePointer open_gzip(ByteSourcePointer packed, xp_long start, xp_long size);

}  // namespace zam::session
