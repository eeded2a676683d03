// Entry of the voxel text reader.
#pragma once

#include "contract/types.h"

extern "C" {

/// Reads the samples of the text file `filename` into `outfld`, a uniform 3-D field, and the time of its header into
/// `time_label`.
/// @return 1, or 0 after a report or a line on the standard error stream (the standard output when a node data array
///         cannot be allocated); what was set on the output before a failure stays set
ZAM_MODULE_API int ZAMread_voxel_update(OMobj_id instance, unsigned event_mask, int seq);
}
