// Capture of images with their depth: the entries, with C linkage. All three act on the parameters of one capture
// object, which are in ZBufCapture.json, and return 1 always, also after a report.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Appends every image of `in` to the captures made so far: files in a directory made for the set, or fields in `out`.
/// An image that cannot be captured ends the call; those before it stay.
ZAM_MODULE_API int ZBufCaptureUpdate(OMobj_id instance, unsigned event_mask, int seq);

/// Discards the captures: empties `out`, deletes the set's files and then its directory, which stays if it holds
/// other files.
ZAM_MODULE_API int ZBufClearUpdate(OMobj_id instance, unsigned event_mask, int seq);

/// Sets `warning` to 1 if the captures made so far do not match the save mode or the parent directory now chosen.
ZAM_MODULE_API int CheckTmpDirUpdate(OMobj_id instance, unsigned event_mask, int seq);

#ifdef __cplusplus
}
#endif
