// Principal stresses: the module's entry, with C linkage. What it computes: principal_stress.h.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The module's entry: writes the principal stresses and directions of a tensor field. The parameters are in
/// princStrVec.json.
/// @return 1; 0 if the input does not fit or memory runs out (`fld_out` untouched; reported, except for a veclen that
///         is not 6 and for a node count of `fld_in` that cannot be read) or `fld_out` cannot be written (reported).
///         An input without a transform leaves that of `fld_out`; a missing minPstress or MaxPstress is ignored.
ZAM_MODULE_API int ZAMprincStrVec_comp_func(OMobj_id instance, unsigned event_mask, int seq);

#ifdef __cplusplus
}
#endif
