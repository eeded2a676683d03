#include "platform/memory.h"

#include <unistd.h>

#include <limits>

namespace zam::platform {

std::int64_t physical_memory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long page_bytes = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || page_bytes <= 0) return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(pages) * page_bytes;
}

}  // namespace zam::platform
