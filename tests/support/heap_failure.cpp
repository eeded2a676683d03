#include "tests/support/heap_failure.h"

#include <cstdlib>
#include <new>

namespace {

std::int64_t g_allocations_left = 0;

}  // namespace

namespace zam::test {

void fail_heap_allocation(std::int64_t n) { g_allocations_left = n; }
bool heap_failure_pending() { return g_allocations_left > 0; }

}  // namespace zam::test

void* operator new(std::size_t size) {
    if (g_allocations_left > 0 && --g_allocations_left == 0) throw std::bad_alloc();
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
// Sanitizers bring further forms of their own, which would bypass those above.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete[](void* memory) noexcept { operator delete(memory); }
void operator delete[](void* memory, std::size_t) noexcept { operator delete(memory); }
