// The one host of the process.
#pragma once

#include <vector>

#include "contract/types.h"
#include "embedded/array.h"
#include "embedded/events.h"
#include "embedded/operation.h"
#include "embedded/reports.h"
#include "embedded/store.h"

namespace zam::host {

struct HostState {
    Ledger ledger;
    Store store;
    Reports reports;
    Events events;
    CallSwitch call_switch;
    std::vector<OMobj_id> contexts;
};

HostState& state();

}  // namespace zam::host
