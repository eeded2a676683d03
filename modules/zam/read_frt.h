// Fortran-record grids: the module's entry, with C linkage. The parts it consists of: frt_records.h, frt_grid.h.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The module's entry: reads the structured grid in the file `frt_fname` into `out`, and its time, if it has one, into
/// `time`. The parameters are in read_frt.json.
/// @return 1, with at most one warning; 0 with one report. Of a file that fails late, `out` has what came before: dims,
///         then coordinates.
ZAM_MODULE_API int ZAMread_frt(OMobj_id instance, unsigned event_mask, int seq);

#ifdef __cplusplus
}
#endif
