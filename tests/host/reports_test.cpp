// Reports, progress, and calls that fail on demand.
#include <array>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

struct Reports : HostTest {
    Reports() {
        set_recorder([this](const Record& record) { records.push_back(record); });
    }
    std::vector<Record> records;
};

TEST_F(Reports, TextsArriveWholeWhateverTheirLength) {
    const std::string length(100000, 'x');
    ERRverror("", 2, "%s and %d\n", length.c_str(), 7);
    ERRerror("", 0, 16, "100%%");
    ERRout_of_memory("no %s formatted");
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].text, length + " and 7\n");
    EXPECT_EQ(records[1].text, "100%");
    EXPECT_EQ(records[2].text, "no %s formatted");
}

TEST_F(Reports, StretchesNest) {
    OMpush_status_range(50, 100);
    OMpush_status_range(0, 50);
    OMstatus_check(10, nullptr, nullptr);
    OMpop_status_range();
    OMstatus_check(20, nullptr, nullptr);
    OMpop_status_range();
    OMstatus_check(30, nullptr, nullptr);
    EXPECT_EQ(OMpop_status_range(), 0);
    OMpush_status_range(50, 60);
    set_current_module("next");  // starts with the whole range, whatever the module before left
    OMstatus_check(40, nullptr, nullptr);
    std::vector<std::array<int, 3>> told;
    for (const Record& record : records) told.push_back({record.percent, record.range_low, record.range_high});
    EXPECT_EQ(told, (std::vector<std::array<int, 3>>{{10, 50, 75}, {20, 50, 100}, {30, 0, 100}, {40, 0, 100}}));
}

TEST_F(Reports, TheNthCallFailsAndDoesNothing) {
    const OMobj_id object = add("value", Kind::integer);
    const auto set = [&](int value) { return OMset_name_int_val(module, token("value"), value); };
    fail_call("OMset_name_int_val", 2);
    OMset_real_val(object, 9);  // another operation does not count
    EXPECT_EQ(set(1), 1);
    EXPECT_FALSE(call_failed());
    EXPECT_EQ(set(2), 0);
    EXPECT_TRUE(call_failed());
    EXPECT_EQ(got<int>(OMget_int_val, object), 1);
    fail_call("", 1);
    OMfind_subobj(module, token("value"), OM_OBJ_RD);  // has no status
    EXPECT_EQ(set(4), 0);
    fail_call("", 1);
    fail_call("", 0);
    EXPECT_EQ(set(5), 1);
}

}  // namespace
}  // namespace zam::host
