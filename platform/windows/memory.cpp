#include "platform/memory.h"

#include <windows.h>

#include <limits>

namespace zam::platform {

std::int64_t physical_memory() {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (GlobalMemoryStatusEx(&status) == 0) return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(status.ullTotalPhys);
}

}  // namespace zam::platform
