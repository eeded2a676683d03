// Merging of captures by depth: the module's entry, with C linkage.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// The module's entry: keeps, for every pixel, the colour of the capture that is nearest there. The parameters are in
/// MergeImages.json. A failure is reported once and leaves the output as it was.
/// @return always 1
ZAM_MODULE_API int MergeImagesUpdate(OMobj_id instance, unsigned event_mask, int seq);

#ifdef __cplusplus
}
#endif
