// Animations of a network, put together from frames that several processes have written.
#pragma once

#include <string>

#include "session/network/network.h"
#include "session/run/listener.h"

namespace zam::session {

/// Writes the animations of a network's `for` events from the files of their frames; nothing if frames of any of them
/// are missing, which the listener is told. One that is there, and newer than its frames, stays as it is.
/// @param directory    where relative names of outputs go
/// @param keep_frames  leaves the files of the frames there
void join(const Network& network, const std::string& directory, bool keep_frames, Listener& listener);

}  // namespace zam::session
