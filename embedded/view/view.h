// Entries of the embedded host itself, which networks use as they use modules.
#pragma once

#include <span>

#include "contract/types.h"
#include "embedded/host.h"

namespace zam::host {

/// What there is to know of an entry: the text of a definition, in the form of the modules' definition files.
struct EntryDefinition {
    const char* name;
    const char* text;
};

/// All entries of the host; they are exported by their names.
ZAM_HOST_CXX_API std::span<const EntryDefinition> entry_definitions();

}  // namespace zam::host

/// Renders meshes into an image field with depth. The parameters are in host_view.json.
/// @return 1; 0 when a parameter is wrong or memory runs out (reported, `out` untouched)
extern "C" ZAM_HOST_CXX_API int host_view(OMobj_id instance, unsigned event_mask, int seq);
