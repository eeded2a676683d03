// Arrays of the host that a memory budget allows.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/available_memory.h"
#include "base/checked_product.h"
#include "modules/support/host_array.h"

namespace zam {

/// The budget of one update of a module. A module takes from it whatever parameters or files alone make large, its own
/// scratch memory included; arrays of a few values need no budget.
class MemoryBudget : public AvailableMemory {
public:
    /// An array for the host; empty when it does not fit or cannot be allocated.
    template <class T>
    OutArray<T> allocate(xp_long count, SourcePlace where = SourcePlace::here()) {
        return take(count, sizeof(T)) ? OutArray<T>::allocate(count, where) : OutArray<T>();
    }
    /// As allocate(), with another type code than that of T.
    template <class T>
    OutArray<T> allocate_as(int type, xp_long count, SourcePlace where = SourcePlace::here()) {
        const std::size_t bytes = type_size(type);
        return bytes > 0 && take(count, bytes) ? OutArray<T>::allocate_as(type, count, where) : OutArray<T>();
    }
};

}  // namespace zam
