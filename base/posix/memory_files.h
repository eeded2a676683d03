// Memory limits that Linux publishes in files.
#pragma once

#include <cstdint>
#include <limits>
#include <string>

namespace zam {

constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();

/// Bytes that the machine has free or can free at once, according to /proc/meminfo; kNoLimit if that does not tell.
/// @param root  directory that stands for "/"; empty: the system's own
std::int64_t free_memory(const std::string& root);

/// Bytes that the control groups of this process leave, including those above its own; kNoLimit if none sets a limit.
/// Pages of files that a group can drop at once count as free. Version 2 and version 1 groups are known where systems
/// mount them: /sys/fs/cgroup and /sys/fs/cgroup/memory.
std::int64_t group_memory(const std::string& root);

}  // namespace zam
