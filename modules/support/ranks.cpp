#include "modules/support/ranks.h"

namespace {

zam::Ranks* of_call = nullptr;

}  // namespace

void zam_use_ranks(zam::Ranks* ranks) { of_call = ranks; }

zam::Ranks* zam::ranks_of_call() { return of_call; }
