// The definitions that networks are read with, in ZAM_FUZZ_DEFINITIONS. Loaded once.
#pragma once

#include <cstdlib>

#include "session/network/definitions.h"

namespace zam::session {

/// @param with_host  the host's own entries too, as networks that are run have them
inline const Definitions& fuzz_definitions(bool with_host) {
    static const Definitions loaded = [&] {
        Problems problems;
        auto read = Definitions::load(ZAM_FUZZ_DEFINITIONS, problems);
        if (with_host) read.add_host_entries(problems);
        if (problems.any()) std::abort();
        return read;
    }();
    return loaded;
}

}  // namespace zam::session
