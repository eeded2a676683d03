// Reports, progress, contexts, and calls that fail on demand.
#include <tuple>

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
    struct Expected {
        std::string call, label;
        int flags;
        std::string text;
    };
    const Expected kExpected[] = {{"ERRverror", "Read Field", 2, length + " and 7\n"},
                                  {"ERRerror", "read_frt", 16, "100%"},
                                  {"ERRout_of_memory", "", 0, "no %s formatted"}};
    ASSERT_EQ(records.size(), 3U);
    for (std::size_t k = 0; k < 3; ++k) {
        const Record& record = records[k];
        const Expected& expected = kExpected[k];
        EXPECT_EQ(std::tie(record.call, record.label, record.flags, record.text),
                  std::tie(expected.call, expected.label, expected.flags, expected.text));
        EXPECT_EQ(record.what, Record::What::report);
        EXPECT_EQ(record.module, "reader");
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

TEST_F(ReportsTest, TheNthCallFailsAndDoesNothing) {
    add("value", Kind::integer);
    const auto set = [&](int value) { return OMset_name_int_val(module, token("value"), value); };
    const auto value = [&] { return got<int>(OMget_int_val, find(module, "value")); };
    fail_call("OMset_name_int_val", 2);
    OMset_real_val(find(module, "value"), 9);  // another operation does not count
    EXPECT_EQ(set(1), 1);
    EXPECT_FALSE(call_failed());
    EXPECT_EQ(set(2), 0);
    EXPECT_TRUE(call_failed());
    EXPECT_EQ(value(), 1);
    fail_call("", 1);
    OMfind_subobj(module, token("value"), OM_OBJ_RD);  // has no status
    EXPECT_EQ(set(4), 0);
    EXPECT_EQ(value(), 1);
    set_values(add("array", Kind::array), DTYPE_INT, nullptr, 0);
    fail_call("", 1);  // getters of arrays count too
    EXPECT_EQ(OMret_name_array_ptr(module, token("array"), ARR_READ, nullptr, nullptr), nullptr);
    fail_call("", 1);
    fail_call("", 0);
    EXPECT_EQ(set(5), 1);
}

}  // namespace
}  // namespace zam::host
