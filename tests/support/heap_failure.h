// A process heap whose n-th allocation fails.
#pragma once

#include <cstdint>

namespace zam::test {

/// The n-th operator new, for an array or not, from now, from 1, throws std::bad_alloc; 0 switches that off.
void fail_heap_allocation(std::int64_t n);

/// Whether the allocation that shall fail is still to come.
bool heap_failure_pending();

}  // namespace zam::test
