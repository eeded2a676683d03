// Which modules have to see the frames of an event one after the other.
#pragma once

#include <vector>

#include "session/network/dependencies.h"
#include "session/network/network.h"

namespace zam::session {

/// Whether a module keeps something from run to run, by its definition: classes have a side of their own, and modules
/// with parameters that go both ways find what they left there.
bool keeps_something(const Definition& definition);

/// What becomes of a frame may depend on the frames before it: by modules that remember something from run to run. This
/// is where it is decided which modules these are, by their definitions:
///
/// - those that keep something,
/// - modules of which a trigger goes through values, since each time counts,
/// - modules that refer to themselves.
///
/// Of all these only the ones that the event reaches count, and not those which it reaches only by parameters that a
/// definition marks with `"any_order"`: what comes of them is the same whatever they were before.
///
/// @return for each module whether it remembers, or one that refers to it does; so these have to run in every frame up
/// to
///         the one that is wanted. None: any frame can be played alone
std::vector<bool> modules_to_replay(const Network& network, const Dependencies& dependencies, const ForEvent& event);

}  // namespace zam::session
