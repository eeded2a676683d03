// Checks how the parts of a network fit.
#pragma once

#include "session/network/network.h"

namespace zam::session {

/// Checks references: that what they name exists, has a suitable kind, and that none go in a circle.
void check_network(const Network& network, Problems& problems);

}  // namespace zam::session
