// How much memory there is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace zam {

/// Bytes of physical memory; the largest possible number if the system does not say.
std::int64_t physical_memory();

/// Bytes that this process can still fill without being refused, slowed down by paging or ended: the least of what the
/// machine has free or can free at once and of what the limits of the process and of its control groups leave. It
/// takes some system calls, so ask once per update. On Windows, where nothing is lent that is not there, it is the rest
/// of the commit limit and of the address space.
std::int64_t available_memory();

/// Asks the system for large pages under memory that has not been used yet, unless it is small: a gigabyte is then
/// filled in a third of the time. Systems without them keep to small ones.
void prefer_large_pages(void* memory, std::size_t bytes);

/// For tests: what available_memory() returns from now on; `nullopt` restores the true value.
void pretend_available_memory(std::optional<std::int64_t> bytes);

}  // namespace zam
