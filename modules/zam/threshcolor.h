// Threshold colour: appends a luminance byte to colours, cut off below and above two thresholds.
#pragma once

#include <span>

#include "contract/types.h"

namespace zam {

/// Appends a byte to every node: the luminance of its bytes 1, 2 and 3 (red, green, blue), or 0 where all three are
/// at most `min` or all three at least `max`.
///
/// @param from    nodes x veclen bytes; bytes that are missing count as 0
/// @param veclen  at least 4
/// @param to      nodes x (veclen + 1) bytes, further bytes become 0
void append_luminance(std::span<const std::byte> from, int veclen, xp_long nodes, int min, int max,
                      std::span<std::byte> to);

}  // namespace zam

/// The module's entry: writes component 0 of `in` with the byte appended into `out`. The parameters are in
/// threshcolor.json.
/// @return 1, whatever happens. Failed allocations are reported; then, and if `in` is not uniform or has no component
///         of four or more values per node, `out` stays as it was.
extern "C" ZAM_MODULE_API int ADDthreshcolor(OMobj_id instance, unsigned event_mask, int seq);
