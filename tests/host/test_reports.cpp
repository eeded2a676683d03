// Reports, progress, contexts, and calls that fail on demand.
#include "tests/host/host_test.h"

namespace zam::host {
namespace {

struct ReportsTest : HostTest {
    void SetUp() override {
        HostTest::SetUp();
        set_recorder([this](const Record& record) { records.push_back(record); });
        set_current_module("reader");
    }
    std::vector<Record> records;
};

TEST_F(ReportsTest, TextsArriveWholeWhateverTheirLength) {
    const std::string length(100000, 'x');
    ERRverror("Read Field", 2, "%s and %d\n", length.c_str(), 7);
    ERRerror("read_frt", 0, 16, "100%%");
    ERRout_of_memory("no %s formatted");
    const char* const kExpected[][3] = {
        {"ERRverror", "Read Field", "2"}, {"ERRerror", "read_frt", "16"}, {"ERRout_of_memory", "", "0"}};
    const std::string kTexts[] = {length + " and 7\n", "100%", "no %s formatted"};
    ASSERT_EQ(records.size(), 3U);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(records[k].what, Record::What::report);
        EXPECT_EQ(records[k].module, "reader");
        EXPECT_EQ(records[k].call, kExpected[k][0]);
        EXPECT_EQ(records[k].label, kExpected[k][1]);
        EXPECT_EQ(std::to_string(records[k].flags), kExpected[k][2]);
        EXPECT_EQ(records[k].text, kTexts[k]);
    }
}

TEST_F(ReportsTest, StretchesNest) {
    OMpush_status_range(50, 100);
    OMpush_status_range(0, 50);
    OMstatus_check(10, nullptr, nullptr);
    OMpop_status_range();
    OMstatus_check(20, "half", nullptr);
    OMpop_status_range();
    OMstatus_check(30, nullptr, nullptr);
    EXPECT_EQ(OMpop_status_range(), 0);
    const int kRanges[][2] = {{50, 75}, {50, 100}, {0, 100}};
    ASSERT_EQ(records.size(), 3U);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(records[k].range_low, kRanges[k][0]);
        EXPECT_EQ(records[k].range_high, kRanges[k][1]);
        EXPECT_EQ(records[k].percent, 10 * (static_cast<int>(k) + 1));
        EXPECT_EQ(records[k].has_text, k == 1);
    }
    OMpush_status_range(50, 60);
    set_current_module("next");  // starts with the whole, whatever the one before left
    OMstatus_check(0, nullptr, nullptr);
    EXPECT_EQ(records.back().range_high, 100);
}

TEST_F(ReportsTest, ModulesHearOfTheInterrupt) {
    for (const bool requested : {true, false}) {
        int interrupt = 5;
        set_interrupt(requested);
        EXPECT_EQ(OMstatus_check(0, nullptr, &interrupt), 1);
        EXPECT_EQ(interrupt, requested ? 1 : 0);
    }
}

TEST_F(ReportsTest, ContextsArePairs) {
    EXPECT_EQ(OMpop_ctx(), 0);
    EXPECT_EQ(OMpush_ctx(OMnull_obj()), 0);
    EXPECT_EQ(OMpush_ctx(module), 1);
    EXPECT_EQ(OMpop_ctx(), 1);
}

TEST_F(ReportsTest, TheNthCallFailsAndDoesNothing) {
    add("value", Kind::integer);
    const auto set = [&](int value) { return OMset_name_int_val(module, token("value"), value); };
    const auto value = [&] {
        int read = -1;
        OMget_int_val(find(module, "value"), &read);
        return read;
    };
    fail_call("OMset_name_int_val", 2);
    OMset_real_val(find(module, "value"), 9);  // another operation does not count
    EXPECT_EQ(set(1), 1);
    EXPECT_FALSE(call_failed());
    EXPECT_EQ(set(2), 0);
    EXPECT_TRUE(call_failed());
    EXPECT_EQ(value(), 1);
    EXPECT_EQ(set(3), 1);
    fail_call("", 1);
    OMfind_subobj(module, token("value"), OM_OBJ_RD);  // has no status
    EXPECT_FALSE(call_failed());
    EXPECT_EQ(set(4), 0);
    EXPECT_EQ(value(), 3);
    fail_call("", 1);
    fail_call("", 0);
    EXPECT_EQ(set(5), 1);
}

TEST_F(ReportsTest, EveryFamilyCanFail) {
    const OMobj_id field = add("field", Kind::field);
    set_values(add("array", Kind::array), DTYPE_INT, nullptr, 0);
    FLDset_nnodes(field, 1);
    struct Case {
        const char* what;
        bool (*succeeds)(OMobj_id module, OMobj_id field);
    };
    const Case kCases[] = {
        {"array getter",
         [](OMobj_id object, OMobj_id) {
             void* array = OMret_name_array_ptr(object, token("array"), ARR_READ, nullptr, nullptr);
             ARRfree_f(array, "", 0);
             return array != nullptr;
         }},
        {"hand-over",
         [](OMobj_id, OMobj_id owner) {
             auto* data = filled<float>(DTYPE_FLOAT, {1});
             const bool taken = FLDset_node_data(owner, 0, data, DTYPE_FLOAT, 1, ARR_HOST_OWNS) == 1;
             if (!taken) ARRfree_f(data, "", 0);  // it stayed the caller's
             return taken;
         }},
        {"creation",
         [](OMobj_id object, OMobj_id) {
             OMobj_id created{};
             return FLDcreate(object, &created, 0, "new", "Mesh_Unif Node_Data") == 1 && OMvalid_obj(created) == 1;
         }},
    };
    for (const Case& c : kCases) {
        fail_call("", 1);
        EXPECT_FALSE(c.succeeds(module, field)) << c.what;
        EXPECT_TRUE(call_failed()) << c.what;
        EXPECT_TRUE(c.succeeds(module, field)) << c.what;
    }
    EXPECT_TRUE(account().faults.empty());
}

}  // namespace
}  // namespace zam::host
