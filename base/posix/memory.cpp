#include "base/memory.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#include "base/posix/memory_files.h"

namespace zam {
namespace {

std::optional<std::int64_t> pretended;

/// Sizes of this process in bytes, as limits count them.
struct ProcessSize {
    std::int64_t addresses = 0;
    std::int64_t data = 0;
};

ProcessSize process_size() {
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen("/proc/self/statm", "rb"), std::fclose);
    long addresses = 0;  // in pages
    long data = 0;
    if (!file || std::fscanf(file.get(), "%ld %*d %*d %*d %*d %ld", &addresses, &data) != 2) return {};
    const std::int64_t page_bytes = sysconf(_SC_PAGESIZE);
    return {addresses * page_bytes, data * page_bytes};
}

/// What the limits of the process leave.
std::int64_t limited_memory() {
    const auto limit_of = [](auto resource) {
        rlimit limit{};
        const bool limited = getrlimit(resource, &limit) == 0 && limit.rlim_cur < static_cast<rlim_t>(kNoLimit);
        return limited ? static_cast<std::int64_t>(limit.rlim_cur) : kNoLimit;
    };
    const std::int64_t addresses = limit_of(RLIMIT_AS);
    const std::int64_t data = limit_of(RLIMIT_DATA);
    if (addresses == kNoLimit && data == kNoLimit) return kNoLimit;
    const ProcessSize size = process_size();
    return std::max<std::int64_t>(std::min(addresses - size.addresses, data - size.data), 0);
}

}  // namespace

std::int64_t physical_memory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long page_bytes = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || page_bytes <= 0) return kNoLimit;
    return static_cast<std::int64_t>(pages) * page_bytes;
}

std::int64_t available_memory() {
    if (pretended) return *pretended;
    try {
        return std::min({physical_memory(), free_memory(""), group_memory(""), limited_memory()});
    } catch (const std::bad_alloc&) {
        return 0;  // not even for the names of the files
    }
}

void prefer_large_pages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) {
#if defined(MADV_HUGEPAGE)
    constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;
    constexpr std::size_t kLeastBytes = std::size_t{32} << 20;  // below, the allocator may give memory of old
    if (bytes < kLeastBytes) return;
    const auto first = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t begin = (first + kLargePage - 1) / kLargePage * kLargePage;
    const std::uintptr_t end = (first + bytes) / kLargePage * kLargePage;  // whole pages only: nothing is used besides
    madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);   // a wish, so that failing does not matter
#endif
}

void pretend_available_memory(std::optional<std::int64_t> bytes) { pretended = bytes; }

}  // namespace zam
