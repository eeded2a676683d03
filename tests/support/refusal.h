// Hosts and heaps that refuse: one call, array or piece of memory of all that a run asks for, each in turn.
#pragma once

#include <gtest/gtest.h>

#include "embedded/host.h"
#include "tests/support/heap_failure.h"

namespace zam::test {

/// What is refused: a contract operation that has a status, an array of the host, a piece of the process heap.
enum class Refused { call, array, heap };
constexpr Refused kEveryRefusal[] = {Refused::call, Refused::array, Refused::heap};

/// The n-th refusal, from begin() to end().
class Refusal {
public:
    Refusal(Refused what, int n) : what_(what), n_(n) {}

    void begin() {
        allocations_ = host::account().allocations;
        arm(n_);
    }
    void end() {
        const auto allocations = host::account().allocations - allocations_;
        struck_ = what_ == Refused::call    ? host::call_failed()
                  : what_ == Refused::array ? allocations >= n_
                                            : !heap_failure_pending();
        arm(0);
    }
    Refused what() const { return what_; }
    int n() const { return n_; }
    bool struck() const { return struck_; }

private:
    void arm(int n) const {
        if (what_ == Refused::call) host::fail_call("", n);
        if (what_ == Refused::array) host::fail_allocation(n);
        if (what_ == Refused::heap) fail_heap_allocation(n);
    }

    Refused what_;
    int n_;
    std::int64_t allocations_ = 0;
    bool struck_ = false;
};

/// Calls `attempt` with the first, the second, ... refusal of each kind until one does not strike.
template <class Attempt>
void refuse_in_turn(Attempt&& attempt) {
    for (const Refused what : kEveryRefusal) {
        bool struck = true;
        for (int n = 1; struck && !::testing::Test::HasFatalFailure(); ++n) {
            ASSERT_LT(n, 5000);
            Refusal refusal(what, n);
            attempt(refusal);
            struck = refusal.struck();
        }
    }
}

}  // namespace zam::test
