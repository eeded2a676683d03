// Periodic callbacks on the virtual clock.
#include <functional>
#include <limits>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

/// A registration that appends its name to a record whenever it is called, and then acts.
struct Clock {
    std::string name;
    int interval;
    std::string* record;
    std::function<void()> then = nullptr;

    static void ring(void* object) {
        auto* clock = static_cast<Clock*>(object);
        *clock->record += clock->name;
        if (clock->then) clock->then();
    }
    int start() { return EVadd_select(EV_PERIODIC, 0, ring, 0, this, interval); }
    int stop() { return EVdel_select(EV_PERIODIC, 0, ring, 0, this, interval); }
};

struct Events : HostTest {
    std::string record;
    Clock a{"a", 2, &record};
    Clock b{"b", 3, &record};
};

TEST_F(Events, CallsComeInOrderOfTheirTimes) {
    EXPECT_EQ(next_due(), std::nullopt);
    EXPECT_EQ(b.start(), 1);
    EXPECT_EQ(a.start(), 1);
    advance(1);
    EXPECT_EQ(record, "");
    EXPECT_EQ(next_due(), 1);
    advance(6);  // a at 2 and 4, b at 3, both at 6: b was registered first
    EXPECT_EQ(record, "ababa");
    EXPECT_EQ(a.stop(), 1);
    EXPECT_EQ(a.stop(), 0);
    record.clear();
    advance(5);
    EXPECT_EQ(record, "bb");
    advance(-5);
    EXPECT_EQ(next_due(), 3);
}

TEST_F(Events, CallbacksMayChangeTheRegistrations) {
    const std::pair<std::string, std::function<void()>> kCases[] = {
        // the record of six units, with a every 2 and b every 3
        {"abb", [this] { a.stop(); }},         {"aaa", [this] { b.stop(); }},
        {"a", [this] { a.stop(), b.stop(); }}, {"ababa", [this] { a.stop(), a.start(); }},
        {"a", [] { EVflush_events(); }},       {"abaab", [this] { a.then = nullptr, advance(4); }},
    };
    for (const auto& [expected, change] : kCases) {
        record.clear();
        a.then = change;
        a.start();
        b.start();
        advance(6);
        EXPECT_EQ(record, expected);
        reset();
    }
    a.then = nullptr;
}

TEST_F(Events, OddRegistrations) {
    EXPECT_EQ(EVadd_select(4, 0, Clock::ring, 0, &a, 1), 0);
    EXPECT_EQ(EVadd_select(EV_PERIODIC, 0, nullptr, 0, &a, 1), 0);
    a.interval = -5;  // counts as 1
    EXPECT_EQ(a.start(), 1);
    advance(3);
    EXPECT_EQ(record, "aaa");
    EXPECT_EQ(a.stop(), 1);
    b.interval = std::numeric_limits<int>::max();
    b.then = [] { EVflush_events(); };
    b.start();
    advance(std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(record, "aaab");
}

}  // namespace
}  // namespace zam::host
