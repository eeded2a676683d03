// Which ranks the networks of this process are shared with.
#pragma once

#include "base/ranks.h"

namespace zam::session {

/// From now on networks are shared with these ranks; borrowed. Null: this process works alone.
void use_ranks(Ranks* ranks);
/// Null: this process works alone.
Ranks* ranks_in_use();

/// Joint where there are ranks: whether something holds at any of them. Alone: whether it holds here.
bool at_any_rank(bool here);

}  // namespace zam::session
