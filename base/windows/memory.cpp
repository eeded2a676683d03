#include "base/memory.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace zam {
namespace {

constexpr auto kUnknown = std::numeric_limits<std::int64_t>::max();

std::optional<std::int64_t> pretended;

/// `nullopt` if the system does not tell.
std::optional<MEMORYSTATUSEX> memory_status() {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    return GlobalMemoryStatusEx(&status) != 0 ? std::optional(status) : std::nullopt;
}

}  // namespace

std::int64_t physical_memory() {
    const auto status = memory_status();
    return status ? static_cast<std::int64_t>(status->ullTotalPhys) : kUnknown;
}

std::int64_t available_memory() {
    if (pretended) return *pretended;
    const auto status = memory_status();
    return status ? static_cast<std::int64_t>(std::min(status->ullAvailPageFile, status->ullAvailVirtual)) : kUnknown;
}

void* allocate_zeroed(std::size_t bytes) { return std::calloc(std::max<std::size_t>(bytes, 1), 1); }

void free_zeroed(void* memory, std::size_t /*bytes*/) { std::free(memory); }

void pretend_available_memory(std::optional<std::int64_t> bytes) { pretended = bytes; }

}  // namespace zam
