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

/// Zeroed memory for an array, not yet in use where the system lends it only when it is written to. Large arrays begin
/// with a page, and lie on large pages if the system has them: both make filling them and writing them to files faster.
/// Empty ones have an address of their own too.
/// @return null if it is refused
void* allocate_zeroed(std::size_t bytes);
/// Gives it back. @param bytes  as it was allocated
void free_zeroed(void* memory, std::size_t bytes);

/// For tests: what available_memory() returns from now on; `nullopt` restores the true value.
void pretend_available_memory(std::optional<std::int64_t> bytes);

}  // namespace zam
