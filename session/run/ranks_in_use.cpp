#include "session/run/ranks_in_use.h"

namespace zam::session {
namespace {

Ranks* in_use = nullptr;

}  // namespace

void use_ranks(Ranks* ranks) { in_use = ranks; }
Ranks* ranks_in_use() { return in_use; }

bool at_any_rank(bool here) { return zam::at_any_rank(in_use, here); }

}  // namespace zam::session
