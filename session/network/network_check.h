// Checks how the parts of a network fit.
#pragma once

#include "session/network/network.h"

namespace zam::session {

/// Checks references: that what they name exists, has a suitable kind, and that none go in a circle.
/// @param with_data  whether the files that modules are to read have to exist
void check_network(const Network& network, Problems& problems, bool with_data);

}  // namespace zam::session
