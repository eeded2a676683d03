#include "embedded/host_state.h"

namespace zam::host {

HostState& state() {
    // never ended: arrays that outlive the program's main function are still given back
    static HostState& host = *new HostState;
    return host;
}

}  // namespace zam::host
