// What the machine has.
#pragma once

#include <cstdint>

namespace zam::platform {

/// Bytes of physical memory; the largest number there is when the system does not say.
std::int64_t physical_memory();

}  // namespace zam::platform
