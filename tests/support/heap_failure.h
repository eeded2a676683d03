// A process heap whose n-th allocation fails.
#pragma once

#include <cstdint>

namespace zam::test {

/// The n-th call of operator new from now, counted from 1, arrays included, throws std::bad_alloc; 0 switches that off.
void fail_heap_allocation(std::int64_t n);

/// Whether the allocation that is to fail is still to come.
bool heap_failure_pending();

}  // namespace zam::test
