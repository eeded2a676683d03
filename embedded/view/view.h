// The renderer: an entry of the embedded host itself.
#pragma once

#include "contract/types.h"
#include "embedded/host.h"

/// Renders meshes into an image field with depth. The parameters are in host_view.json.
/// @return 1; 0 if a parameter is wrong or memory runs out (reported, `out` untouched)
extern "C" ZAM_HOST_CXX_API int host_view(OMobj_id instance, unsigned event_mask, int seq);
