#include "embedded/host_state.h"

namespace zam::host {

HostState& state() {
    static HostState host;
    return host;
}

}  // namespace zam::host
