#include "base/memory.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "base/posix/memory_files.h"

namespace zam {
namespace {

constexpr std::size_t kLargeArray = std::size_t{32} << 20;  // bytes

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

void* allocate_zeroed(std::size_t bytes) {
    if (bytes < kLargeArray) return std::calloc(std::max<std::size_t>(bytes, 1), 1);
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return nullptr;
#if defined(MADV_HUGEPAGE)
    madvise(memory, bytes, MADV_HUGEPAGE);  // a wish, so that failing does not matter
#endif
    return memory;
}

void free_zeroed(void* memory, std::size_t bytes) {
    bytes < kLargeArray ? std::free(memory) : static_cast<void>(munmap(memory, bytes));
}

void pretend_available_memory(std::optional<std::int64_t> bytes) { pretended = bytes; }

}  // namespace zam
