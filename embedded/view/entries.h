// The host's own entries, which networks use as they use modules.
#pragma once

#include <span>

#include "embedded/host.h"

namespace zam::host {

/// The text of an entry's definition, in the form of the modules' definition files.
struct EntryDefinition {
    const char* name;
    const char* text;
};

/// All entries of the host; they are exported by their names.
ZAM_HOST_CXX_API std::span<const EntryDefinition> entry_definitions();

}  // namespace zam::host
