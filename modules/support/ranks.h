// The ranks that share the work of a call of a joint module.
#pragma once

#include "base/ranks.h"
#include "contract/types.h"

extern "C" {

/// Whoever calls a joint module at all ranks says so before the call, and gives null after it.
/// @param ranks  borrowed
ZAM_MODULE_API void zam_use_ranks(zam::Ranks* ranks);
}

namespace zam {

/// Null: the module works alone.
Ranks* ranks_of_call();

}  // namespace zam
