// Ownership of arrays and the account that is kept of it.
#include <limits>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

using Arrays = HostTest;

TEST_F(Arrays, AllocationsAreZeroedOrRefused) {
    struct Case {
        int type;
        xp_long count;
        bool given;
    };
    const xp_long kMost = std::numeric_limits<xp_long>::max();
    const Case kCases[] = {
        {DTYPE_CHAR, 0, true},          {DTYPE_DOUBLE, 1000, true}, {DTYPE_LONG, -1, false}, {DTYPE_LONG, kMost, false},
        {DTYPE_LONG, kMost / 4, false}, {DTYPE_BYTE, kMost, false}, {7, 1, false},           {-1, 1, false},
    };
    for (const Case& c : kCases) {
        auto* array = static_cast<char*>(ARRalloc_f(nullptr, c.type, c.count, 0, "here.cpp", 7));
        ASSERT_EQ(array != nullptr, c.given) << c.type << " " << c.count;
        if (!array) continue;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array) % alignof(double), 0U);
        EXPECT_TRUE(std::all_of(array, array + c.count, [](char byte) { return byte == 0; }));
        ASSERT_EQ(account().outstanding.size(), 1U);
        EXPECT_NE(account().outstanding[0].find("here.cpp:7"), std::string::npos);
        end_access(array);
    }
    EXPECT_EQ(account().allocations, 8);
    EXPECT_EQ(account().outstanding_arrays, 0);
    EXPECT_TRUE(account().faults.empty());
}

TEST_F(Arrays, TheNthAllocationFails) {
    fail_allocation(2);
    for (const bool given : {true, false, true}) {
        void* array = ARRalloc_f(nullptr, DTYPE_BYTE, 1, 0, "", 0);
        EXPECT_EQ(array != nullptr, given);
        end_access(array);
    }
}

TEST_F(Arrays, MisusesAreFaultsAndTouchNothing) {
    const OMobj_id target = add("target", Kind::array);
    struct Case {
        const char* what;
        void (*misuse)(OMobj_id target);
    };
    const Case kCases[] = {
        {"free twice",
         [](OMobj_id) {
             auto* array = filled<int>(DTYPE_INT, {1});
             ARRfree_f(array, "here.cpp", 1);
             ARRfree_f(array, "here.cpp", 2);
         }},
        {"free what was never lent",
         [](OMobj_id) {
             int local = 0;
             ARRfree_f(&local, "here.cpp", 1);
         }},
        {"hand over twice",
         [](OMobj_id object) {
             auto* array = filled<int>(DTYPE_INT, {1});
             EXPECT_EQ(OMset_array(object, DTYPE_INT, array, 1, ARR_HOST_OWNS), 1);
             EXPECT_EQ(OMset_array(object, DTYPE_INT, array, 1, ARR_HOST_OWNS), 0);
         }},
        {"hand over and free",
         [](OMobj_id object) {
             auto* array = filled<int>(DTYPE_INT, {1});
             EXPECT_EQ(OMset_array(object, DTYPE_INT, array, 1, ARR_HOST_OWNS), 1);
             ARRfree_f(array, "here.cpp", 1);
         }},
        {"hand over memory of one's own",
         [](OMobj_id object) {
             static int own = 0;
             EXPECT_EQ(OMset_array(object, DTYPE_INT, &own, 1, ARR_HOST_OWNS), 0);
         }},
        {"hand over as longer than it is",
         [](OMobj_id object) {
             auto* array = filled<int>(DTYPE_INT, {1});
             EXPECT_EQ(OMset_array(object, DTYPE_DOUBLE, array, 1, ARR_HOST_OWNS), 0);
             ARRfree_f(array, "here.cpp", 1);
         }},
        {"free what the host was told to refer to",
         [](OMobj_id object) {
             auto* array = filled<int>(DTYPE_INT, {1});
             EXPECT_EQ(OMset_array(object, DTYPE_INT, array, 1, ARR_CALLER_OWNS), 1);
             ARRfree_f(array, "here.cpp", 1);
         }},
        {"release an access twice",
         [](OMobj_id object) {
             set_values(object, DTYPE_INT, nullptr, 0);
             void* lent = OMret_name_array_ptr(find(root(), "module"), token("target"), ARR_READ, nullptr, nullptr);
             ARRfree_f(lent, "here.cpp", 1);
             ARRfree_f(lent, "here.cpp", 2);
         }},
    };
    std::size_t faults = 0;
    for (const Case& c : kCases) {
        c.misuse(target);
        EXPECT_EQ(account().faults.size(), ++faults) << c.what;
        EXPECT_TRUE(account().outstanding.empty()) << c.what;
        // what the object holds can still be read
        if (void* held = OMret_name_array_ptr(module, token("target"), ARR_READ, nullptr, nullptr)) end_access(held);
    }
    ARRfree_f(nullptr, "here.cpp", 1);
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

}  // namespace
}  // namespace zam::host
