#include "session/run/ranks_in_use.h"

namespace zam::session {
namespace {

Ranks* in_use = nullptr;

}  // namespace

void use_ranks(Ranks* ranks) { in_use = ranks; }
Ranks* ranks_in_use() { return in_use; }

bool at_any_rank(bool here) {
    double flag = here ? 1.0 : 0.0;
    if (in_use) in_use->maximum({&flag, 1});
    return flag > 0.0;
}

}  // namespace zam::session
