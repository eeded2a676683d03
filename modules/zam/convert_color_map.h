// Convert colour map: samples a data map into the four arrays of a colour table.
#pragma once

#include <cstdint>
#include <span>

#include "contract/types.h"

namespace zam {

/// The arrays of a colour table, each with as many entries.
struct TableColumns {
    std::span<std::uint8_t> red, green, blue;  // 0 to 255
    std::span<std::int16_t> alpha;             // 0 to 255
};

/// Splits packed colours into columns.
/// @param packed  entries x 4 bytes: alpha, red, green, blue
void split_argb(std::span<const std::uint8_t> packed, const TableColumns& table);

}  // namespace zam

/// The module's entry: writes color_map_size colours of `datamap` into `color_table`. The parameters are in
/// convert_color_map.json.
/// @return 1; 0 when `active` is 0, color_map_size cannot be read or is negative, the data map gives no colours (all
///         silent), or memory runs out (reported); then the table stays as it was
extern "C" ZAM_MODULE_API int ZAMconvert_color_map(OMobj_id instance, unsigned event_mask, int seq);
