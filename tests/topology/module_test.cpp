// The module in its host: messages, limits, ends of separatrices, what a run leaves.
#include <array>
#include <cmath>
#include <functional>

#include "base/memory.h"
#include "modules/zam/flow/separatrix.h"
#include "tests/topology/topology_fixture.h"

namespace zam::test {
namespace {

const std::string kRule = "--------------------------------------------------\n";

std::string boxed(const std::string& what) {
    return "--- Error detected in: module: topoline ---\n" + what + ", topology line is not created\n" + kRule;
}

Field saddle(int columns, int rows, double x0, double y0) {
    return sampled(columns, rows, [=](double x, double y) { return TopologyVector{x - x0, y0 - y}; });
}

/// A zero in every cell: nodes and saddles in turn.
Field zeros_everywhere(int cells) {
    return sampled(cells + 1, 2, [](double x, double y) { return TopologyVector{std::fmod(x, 2) - 0.5, y - 0.5}; });
}

/// Taken before any run.
const struct {
    double interval = Interval, radius = Radius;
    std::int32_t points = critical_num, saddles = origin_num;
} kInitial;

class TopologyModule : public Topology {
protected:
    xp_long nodes(const char* name) const { return static_cast<xp_long>(coordinates(name).size()) / 3; }
    xp_long separatrices() const {
        return nodes("out_field") - static_cast<xp_long>(connectivity(find("out_field")).size()) / 2;
    }
};

TEST_F(TopologyModule, SaysWhatIsWrongWithTheInput) {
    const auto as_saddle = [this](int columns, int rows, int veclen) {
        set_field(saddle(columns, rows, 1, 1), veclen);
    };
    const struct {
        std::string text;
        std::function<void()> spoil;
    } cases[] = {
        {"dims error\n", [] {}},
        {"dims error\n", [&] { make_field("in_field", {.dims = {12}}); }},
        {"node error\n",
         [&] {
             set_field({40, 30, std::vector<float>(100)});
         }},
        {boxed("too many data component in the input field"),
         [&] { as_saddle(4, 3, 2), FLDset_node_data_ncomp(find("in_field"), 2); }},
        {boxed("too many veclen in the input field"), [&] { as_saddle(4, 3, 3); }},
        {boxed("less veclen in the input field"), [&] { as_saddle(4, 3, 1); }},
        {boxed("more than 200 critical points in the input field"), [&] { set_field(zeros_everywhere(201)); }},
        {boxed("more than 1000 cells in a direction"), [&] { as_saddle(1002, 2, 2); }},
        {boxed("more than 1000 cells in a direction"), [&] { as_saddle(2, 1002, 2); }},
    };
    for (const auto& c : cases) {
        reports.clear();
        c.spoil();
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(reports, std::vector{c.text});
        EXPECT_EQ(nodes("out_field") + nodes("out_field2"), 0);
    }
}

TEST_F(TopologyModule, FillsItsTablesToTheirLastPlace) {
    ASSERT_EQ(run(zeros_everywhere(200)), 1);
    EXPECT_EQ(critical_num, 200);
    EXPECT_EQ(origin_num, 100);
    EXPECT_EQ(nodes("out_field2"), 200);
    set_real("Interval", 1.0);
    ASSERT_EQ(run(saddle(1001, 1001, 999.75, 999.5)), 1);
    EXPECT_EQ(saddle_list_head[999 * 1000 + 999], saddle_list[999 * 1000 + 999]);
    EXPECT_EQ(saddle_list_head[999 * 1000 + 999]->y, 999.5);
    ASSERT_EQ(run(saddle(6, 5, 2.25, 2.5)), 1);
    EXPECT_EQ(saddle_list_head[999 * 1000 + 999], nullptr);  // its entry ended with that run
}

TEST_F(TopologyModule, GivesEmptyFieldsWhereNothingVanishes) {
    const auto stream = [](double, double) { return TopologyVector{1, 0.5}; };
    for (const auto& field :
         {sampled(7, 5, stream), sampled(9, 1, stream), saddle(1, 9, 0, 4.5), sampled(0, 0, stream)}) {
        ASSERT_EQ(run(field), 1);
        EXPECT_EQ(nodes("out_field") + nodes("out_field2"), 0);
        EXPECT_TRUE(connectivity(find("out_field")).empty() && connectivity(find("out_field2")).empty());
    }
}

TEST_F(TopologyModule, ReadsValuesOfEveryType) {
    const auto field = sampled(5, 5, [](double x, double y) { return TopologyVector{4 * x - 9, 7 - 4 * y}; });
    ASSERT_EQ(run(field), 1);
    const auto expected = coordinates("out_field");
    EXPECT_GT(expected.size(), 12U);
    const auto expect_the_same = [&]<class T>(T) {
        set_field<T>(field);
        EXPECT_EQ(run(), 1);
        EXPECT_EQ(coordinates("out_field"), expected);
    };
    expect_the_same(double{});
    expect_the_same(std::int16_t{});
    expect_the_same(std::int32_t{});
    expect_the_same(xp_long{});
}

TEST_F(TopologyModule, LeavesOutWhatStartsOutside) {
    for (const auto& [x, kept] : {std::pair{0.01, 3}, {0.0, 3}, {0.03, 4}, {6.99, 3}, {6.97, 4}}) {
        ASSERT_EQ(run(saddle(8, 8, x, 3.5)), 1);
        EXPECT_EQ(separatrices(), kept) << x;
    }
}

TEST_F(TopologyModule, OnlyEntriesOfTheSameCellAreNear) {
    topology::Skeleton skeleton({saddle_list_head, saddle_list});
    skeleton.radius = 0.25;
    skeleton.append_entry(2.875, 1.5);
    skeleton.append_entry(2.25, 1.5);
    EXPECT_TRUE(topology::near_saddle(2.75, 1.625, skeleton));
    EXPECT_TRUE(topology::near_saddle(2.25, 1.5, skeleton));
    EXPECT_FALSE(topology::near_saddle(2.5, 1.5, skeleton));  // as far as the radius
    EXPECT_FALSE(topology::near_saddle(3.0, 1.5, skeleton));
    skeleton.comparisons = topology::Skeleton::kMaxComparisons;
    const auto field = saddle(5, 5, 2, 2);
    TopologyPoint start{1.5, 1.5, nullptr};
    EXPECT_FALSE(topology::trace_separatrix({field.vectors.data(), 5, 5}, start, 1, skeleton));
    skeleton.reset({});
}

TEST_F(TopologyModule, SeparatricesEndWhateverTheParameters) {
    const xp_long loop = 10 * 6 * 5 + 1;  // steps to a marker
    const struct {
        double interval, radius;
        xp_long nodes;  // of a separatrix
    } cases[] = {{1e300, 0.01, 2 + loop}, {1e300, -0.01, 2 + 1000 * loop},
                 {0.0, 0.01, 2},          {NAN, 0.01, 2},
                 {100.0, NAN, 0},         {100.0, INFINITY, 0},
                 {1e-300, 0.01, 2}};
    for (const auto& c : cases) {
        set_real("Interval", c.interval);
        set_real("Radius", c.radius);
        ASSERT_EQ(run(saddle(6, 5, 2.25, 2.5)), 1);
        EXPECT_EQ(nodes("out_field"), 4 * c.nodes) << c.interval << " " << c.radius;
    }
}

TEST_F(TopologyModule, BeginsWithTheDefaultsAndReturnsToThem) {
    EXPECT_EQ(kInitial.points + kInitial.saddles, 0);
    Interval = Radius = critical_num = origin_num = 7;
    ASSERT_EQ(run(saddle(6, 5, 2.25, 2.5)), 1);
    EXPECT_EQ(critical_num * 10 + origin_num, 11);
    EXPECT_EQ((std::array{kInitial.interval, Interval}), (std::array{100.0, 100.0}));
    EXPECT_EQ((std::array{kInitial.radius, Radius}), (std::array{0.01, 0.01}));
}

TEST_F(TopologyModule, SaysHowMuchMemoryTheSeparatricesNeed) {
    pretend_available_memory(std::int64_t{40} << 20);
    set_real("Interval", 1e300);
    set_real("Radius", -0.01);
    EXPECT_EQ(run(saddle(6, 5, 2.25, 2.5)), 0);  // 1 204 008 nodes of 36 bytes
    pretend_available_memory(std::nullopt);
    EXPECT_EQ(reports, std::vector{boxed("the separatrices need 44 MB of memory and 39 MB are available")});
}

TEST_F(TopologyModule, MarksClassesWithoutLettersByZeros) {
    // the curves on which u and v vanish touch in one point: one eigenvalue is 0
    for (const double sign : {1, -1}) {  // of the other one
        const auto field = sampled(6, 6, [&](double x, double y) {
            return TopologyVector{sign * (x - 2.25 + y - 2.5), sign * (x - 2.25) * (y - 2.5)};
        });
        ASSERT_EQ(run(field), 1);
        ASSERT_EQ(critical_num, 1);
        EXPECT_EQ(labels(), "..");
        EXPECT_EQ(critical_index[0].kind, -1.0);
    }
}

}  // namespace
}  // namespace zam::test
