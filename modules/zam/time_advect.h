// Time advection: the module's entry, with C linkage.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The module's entry: keeps the clock of a particle advection through time steps and hands on the probe positions. The
/// parameters are in time_advect.json. Nothing is reported to the host; a probe that cannot be read leaves a line on
/// the standard output.
/// @return always 1; what cannot be done leaves the outputs as they were
ZAM_MODULE_API int ZAMtime_advect(OMobj_id instance, unsigned event_mask, int seq);

#ifdef __cplusplus
}
#endif
