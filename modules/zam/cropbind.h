// Crop and bind: folds a byte volume about a column into a volume of twice the depth.
#pragma once

#include <array>
#include <span>

#include "contract/types.h"

namespace zam {

/// Dims of a volume of dims `in` after it was folded about column `center`.
std::array<xp_long, 3> folded_dims(const std::array<xp_long, 3>& in, xp_long center);

/// Folds a volume: each of its rows once from column `center` on, in the first half of the slices, and once from there
/// backward, in the second half.
///
/// A run that leaves its row goes on in the next or previous one; bytes from outside the volume are 0.
/// @param volume  rows of in[0] bytes
/// @param center  1 to in[0]
/// @param folded  at least as many bytes as folded_dims() says; further bytes become 0
void fold_volume(std::span<const std::byte> volume, const std::array<xp_long, 3>& in, xp_long center,
                 std::span<std::byte> folded);

}  // namespace zam

/// The module's entry: writes component 0 of `in`, folded about column `center`, into `out`. The parameters are in
/// cropbind.json.
/// @return 1, whatever happens. A center outside the first dimension is reported, whatever else `in` lacks, and so is a
///         failed allocation; then, and if `in` is not a uniform volume with node data, `out` stays as it was.
extern "C" ZAM_MODULE_API int ADDcropbind(OMobj_id instance, unsigned event_mask, int seq);
