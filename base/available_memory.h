// Allocations whose size a parameter or a file alone decides. A system that lends more memory than it has ends the
// process when such arrays are filled; here they are refused beforehand.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

#include "base/memory.h"

namespace zam {

/// What one update may allocate. Everything taken from one budget counts together, whether it has been filled or not,
/// against what was available when the budget first had to ask; so a budget lives no longer than an update.
///
///     AvailableMemory memory;
///     if (!memory.take(rows, 3 * sizeof(float)) || !memory.take(rows, sizeof(int))) return report.fail("...");
class AvailableMemory {
public:
    /// This much is granted without asking the system, so that small updates cost nothing.
    static constexpr std::int64_t kUnasked = std::int64_t{16} << 20;
    /// One part in this many of what is available stays free, for page tables, small allocations and other programs.
    static constexpr std::int64_t kReserveShare = 16;

    /// Whether `count` elements fit into what is left; if so, they are counted. A negative count never fits.
    bool take(std::int64_t count, std::size_t element_bytes) {
        const auto size = static_cast<std::int64_t>(element_bytes);
        if (count < 0 || count > std::numeric_limits<std::int64_t>::max() / size) return false;
        const std::int64_t bytes = count * size;
        if (bytes > left_) ask();
        if (bytes > left_) return false;
        left_ -= bytes;
        return true;
    }
    /// As take(). @throws std::bad_alloc if they do not fit
    void require(std::int64_t count, std::size_t element_bytes) {
        if (!take(count, element_bytes)) throw std::bad_alloc();
    }

    /// Bytes that can still be taken.
    std::int64_t left() {
        ask();
        return left_;
    }

private:
    void ask() {
        if (asked_) return;
        asked_ = true;
        const std::int64_t available = available_memory();
        left_ = std::max<std::int64_t>(left_ + (available - available / kReserveShare - kUnasked), 0);
    }

    std::int64_t left_ = kUnasked;
    bool asked_ = false;
};

}  // namespace zam
