// Ownership of arrays and the account that is kept of it.
#include <limits>
#include <tuple>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

using Arrays = HostTest;

TEST_F(Arrays, AllocationsAreZeroedOrRefused) {
    const xp_long kMax = std::numeric_limits<xp_long>::max();
    const std::tuple<int, xp_long, bool> kCases[] = {
        {DTYPE_CHAR, 0, true},         {DTYPE_DOUBLE, 1000, true}, {DTYPE_LONG, -1, false}, {DTYPE_LONG, kMax, false},
        {DTYPE_LONG, kMax / 4, false}, {DTYPE_BYTE, kMax, false},  {7, 1, false},           {-1, 1, false},
    };
    for (const auto& [type, count, given] : kCases) {
        auto* array = static_cast<char*>(ARRalloc_f(nullptr, type, count, 0, "here.cpp", 7));
        ASSERT_EQ(array != nullptr, given) << type << " " << count;
        if (!array) continue;
        EXPECT_TRUE(std::all_of(array, array + count, [](char byte) { return byte == 0; }));
        ASSERT_EQ(account().outstanding.size(), 1U);
        EXPECT_NE(account().outstanding[0].find("here.cpp:7"), std::string::npos);
        end_access(array);
    }
    EXPECT_TRUE(account().faults.empty());
}

TEST_F(Arrays, MisusesAreFaultsAndTouchNothing) {
    const OMobj_id target = add("target", Kind::array);
    // steps: n(ew), o(wn) or a(ccess); h(and over), as l(onger), r(efer to); f(ree)
    const std::pair<const char*, std::string> kCases[] = {
        {"free twice", "nff"},
        {"free what was never lent", "of"},
        {"hand over twice", "nhh"},
        {"hand over and free", "nhf"},
        {"hand over memory of one's own", "oh"},
        {"hand over as longer than it is", "nlf"},
        {"free what the host was told to refer to", "nrf"},
        {"release an access twice", "aff"},
    };
    int own = 0;
    void* array = nullptr;
    const auto set = [&](int type, int mode) {
        const auto before = account().faults.size();
        const bool taken = OMset_array(target, type, array, 1, mode) == 1;
        EXPECT_EQ(taken, account().faults.size() == before);
    };
    std::size_t faults = 0;
    for (const auto& [what, steps] : kCases) {
        for (const char step : steps) {
            switch (step) {
                case 'n': array = filled<int>(DTYPE_INT, {1}); break;
                case 'o': array = &own; break;
                case 'a': array = OMret_name_array_ptr(module, token("target"), ARR_READ, nullptr, nullptr); break;
                case 'h': set(DTYPE_INT, ARR_HOST_OWNS); break;
                case 'l': set(DTYPE_DOUBLE, ARR_HOST_OWNS); break;
                case 'r': set(DTYPE_INT, ARR_CALLER_OWNS); break;
                default: ARRfree_f(array, "here.cpp", 1);
            }
        }
        EXPECT_EQ(account().faults.size(), ++faults) << what;
        EXPECT_TRUE(account().outstanding.empty()) << what;
        // what the object holds can still be read
        end_access(OMret_name_array_ptr(module, token("target"), ARR_READ, nullptr, nullptr));
    }
    end_access(nullptr);
    EXPECT_EQ(account().faults.size(), faults);
}

TEST_F(Arrays, FailedHandOversLeaveTheArrayWithTheCaller) {
    const OMobj_id text = add("text", Kind::text);
    auto* array = filled<float>(DTYPE_FLOAT, {1, 2});
    EXPECT_EQ(OMset_array(text, DTYPE_FLOAT, array, 2, ARR_HOST_OWNS), 0);
    EXPECT_EQ(OMset_array(add("array", Kind::array), DTYPE_FLOAT, array, 2, 3), 0);
    EXPECT_EQ(OMset_array(add("array", Kind::array), DTYPE_FLOAT, array, -2, ARR_HOST_OWNS), 0);
    EXPECT_EQ(FLDset_coord(text, array, 2, ARR_HOST_OWNS), 0);
    EXPECT_EQ(account().outstanding_arrays, 1);
    end_access(array);
    EXPECT_TRUE(account().faults.empty());
}

TEST_F(Arrays, ReplacedArraysLiveUntilTheirAccessesEnd) {
    const OMobj_id object = add("array", Kind::array);
    OMset_array(object, DTYPE_INT, filled<int>(DTYPE_INT, {1, 2, 3}), 3, ARR_HOST_OWNS);
    set_current_module("reader");
    auto* lent = static_cast<int*>(OMret_name_array_ptr(module, token("array"), ARR_READ_WRITE, nullptr, nullptr));
    destroy(object);
    lent[2] = 4;
    ASSERT_EQ(account().open_accesses, 1);
    EXPECT_EQ(account().outstanding[0], "access by OMret_name_array_ptr, module reader");
    reset();  // what is outstanding stays in the account
    EXPECT_EQ(account().open_accesses, 1);
    EXPECT_EQ(lent[1], 2);
    end_access(lent);
    EXPECT_EQ(account().open_accesses, 0);
}

TEST_F(Arrays, ArraysAreSharedNotCopied) {
    const OMobj_id object = add("array", Kind::array);
    auto* array = filled<int>(DTYPE_INT, {1});
    OMset_array(object, DTYPE_INT, array, 1, ARR_HOST_OWNS);
    void* lent = OMret_name_array_ptr(module, token("array"), ARR_READ, nullptr, nullptr);
    EXPECT_EQ(lent, array);
    end_access(lent);
    int own[] = {5, 6};
    EXPECT_EQ(OMset_array(object, DTYPE_INT, own, 2, ARR_CALLER_OWNS), 1);
    lent = OMret_name_array_ptr(module, token("array"), ARR_READ_WRITE, nullptr, nullptr);
    EXPECT_EQ(lent, own);
    const int seq = now();
    end_access(lent);
    EXPECT_NE(OMchanged(object, seq), 0);  // the end of writing is the change
    for (const int mode : {-1, int{ARR_WRITE}, 3})
        EXPECT_EQ(OMret_name_array_ptr(module, token("array"), mode, nullptr, nullptr), nullptr) << mode;
}

TEST_F(Arrays, WhatIsHeldOrLentOutsideIsNeverWrittenTo) {
    const OMobj_id target = add("target", Kind::array);
    const int lent[] = {1, 2, 3};
    int released = 0;
    offer(lent, sizeof lent, std::shared_ptr<const void>(lent, [&](const void*) { ++released; }));
    ASSERT_EQ(OMset_array(target, DTYPE_INT, const_cast<int*>(lent), 3, ARR_CALLER_OWNS), 1);
    withdraw(lent);
    const auto open = [&](int mode) {
        return static_cast<int*>(OMret_name_array_ptr(module, token("target"), mode, nullptr, nullptr));
    };
    int* read = open(ARR_READ);
    EXPECT_EQ(read, lent);  // not copied
    std::shared_ptr<const void> held = hold(read);
    end_access(read);
    for (int turn = 0; turn < 2; ++turn) {  // first what is lent is copied, then what is held
        int* const written = open(ARR_READ_WRITE);
        ASSERT_NE(written, held.get());
        EXPECT_EQ(written[2], 3 + turn);
        ++written[2];
        end_access(written);
        const int was = *(static_cast<const int*>(held.get()) + 2);
        EXPECT_EQ(was, 3 + turn);
        EXPECT_EQ(account().held_arrays, 1);
        int* const now = open(ARR_READ);
        held = hold(now);
        end_access(now);
        EXPECT_EQ(released, 1);
    }
    reset();
    EXPECT_EQ(*(static_cast<const int*>(held.get()) + 2), 5);  // outlives its object
    held.reset();
    EXPECT_EQ(account().held_arrays, 0);
    EXPECT_EQ(hold(lent), nullptr);
}

}  // namespace
}  // namespace zam::host
