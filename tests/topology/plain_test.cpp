// The module against the plain form, to the last bit.
#include <array>
#include <cmath>
#include <numbers>
#include <random>

#include "base/lanes_target.h"
#include "modules/zam/flow/critical_points.h"
#include "tests/plain/topology.h"
#include "tests/topology/topology_fixture.h"

namespace zam::test {
namespace {

/// Vectors whose components come from a few values, so that cells share zeros, factors vanish and roots fall on
/// borders.
Field few_values(std::mt19937& random, int columns, int rows, std::vector<float> values) {
    std::uniform_int_distribution<std::size_t> pick(0, values.size() - 1);
    Field field{columns, rows, std::vector<float>(static_cast<std::size_t>(2 * columns * rows))};
    for (float& value : field.vectors) value = values[pick(random)];
    return field;
}

Field noise(std::mt19937& random, int columns, int rows, double scale) {
    std::normal_distribution<double> normal(0.1 * scale, scale);
    return sampled(columns, rows, [&](double, double) { return TopologyVector{normal(random), normal(random)}; });
}

Field sines(int columns, int rows, double waves) {
    const double k = waves * std::numbers::pi / columns;
    return sampled(columns, rows, [&](double x, double y) {
        const double a = k * (x + 0.37);
        const double b = k * (y - 0.21);
        return TopologyVector{std::sin(a) * std::cos(b) + 0.05 * a, -0.9 * std::cos(a) * std::sin(b)};
    });
}

class PlainTopologies : public Topology {
protected:
    void compare(const char* name, const Field& field, double interval, double radius) {
        SCOPED_TRACE(name);
        set_real("Interval", interval);
        set_real("Radius", radius);
        PlainTopology plain{field.vectors.data(), field.columns, field.rows, interval, radius, {}, {}, {}, {}};
        plain.run();
        for (const std::int64_t target : lanes_targets()) {
            SCOPED_TRACE(hwy::TargetName(target));
            lanes_target().Update(target);
            ASSERT_EQ(run(field), 1);
            expect_same(plain);
        }
        lanes_target().DeInit();
    }
    void expect_same(const PlainTopology& plain) {
        ASSERT_EQ(static_cast<std::size_t>(critical_num), plain.points.size());
        ASSERT_EQ(static_cast<std::size_t>(origin_num), plain.directions.size());
        for (std::size_t i = 0; i < plain.points.size(); ++i) {
            EXPECT_EQ(critical_index[i].x, plain.points[i].x);
            EXPECT_EQ(critical_index[i].y, plain.points[i].y);
            EXPECT_EQ(critical_index[i].kind, plain.points[i].kind);
        }
        std::vector<float> coord;
        std::vector<xp_long> connect;
        for (const auto& line : plain.lines) {
            for (const auto& at : line) {
                if (&at != &line.front()) {
                    const auto node = static_cast<xp_long>(coord.size() / 3);
                    connect.insert(connect.end(), {node - 1, node});
                }
                coord.insert(coord.end(), {static_cast<float>(at.x), static_cast<float>(at.y), 0.05F});
            }
        }
        EXPECT_EQ(coordinates("out_field"), coord);
        EXPECT_EQ(connectivity(find("out_field")), connect);
        separatrix_points += coord.size() / 3;
    }
    std::size_t separatrix_points = 0;
};

TEST_F(PlainTopologies, GivesTheSameSkeletons) {
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        compare("noise", noise(random, 13, 9, 1.0), 20.0, 0.05);
        compare("small integers", few_values(random, 8, 11, {-2, -1, 0, 1, 3}), 10.0, 0.02);
        compare("steps onto the border", few_values(random, 6, 7, {-1, 0, 1}), 2.0, 0.125);
    }
    compare("markers", sines(14, 12, 3.3), 200.0, 0.02);
    compare("sines", sines(96, 64, 9.5), 5.0, 0.01);
    compare("fast sines", sines(60, 60, 5.0), 0.7, 0.2);
    compare("backward", sines(60, 60, 5.0), -3.0, 0.1);
    EXPECT_GT(separatrix_points, 20000U);  // the cases are not empty ones
}

TEST_F(PlainTopologies, FindsTheSameZerosInEveryKindOfCell) {
    std::mt19937 random(11);
    const std::vector<std::vector<float>> kinds{{-1, 0, 1, 2},
                                                {-1e-30F, 1e-30F, 3e-20F, 1e20F},
                                                {1e38F, 3e38F, -2e38F, 1},
                                                {1e-38F, -1e-39F, 2e-45F},
                                                {1, 1.000001F, 0.99999F, 1e-5F, 1e-6F, -1e-7F, 2},
                                                {NAN, INFINITY, -INFINITY, 1, 0, -1}};
    topology::Skeleton skeleton({saddle_list_head, saddle_list});
    std::size_t zeros = 0;
    for (int round = 0; round < 240000; ++round) {
        const Field field = few_values(random, 2, 2, kinds[static_cast<std::size_t>(round) % kinds.size()]);
        PlainTopology plain{field.vectors.data(), 2, 2, 1.0, 1.0, {}, {}, {}, {}};
        plain.scan_cell(0, 0);
        skeleton.critical_points[0] = skeleton.critical_points[1] = {-1.0, -1.0, -1.0, -1.0};
        ASSERT_TRUE(topology::find_critical_points({field.vectors.data(), 2, 2}, skeleton));
        for (std::size_t i = 0; i < 2; ++i) {
            const bool found = i < plain.points.size();
            ASSERT_EQ(skeleton.critical_points[i].x, found ? plain.points[i].x : -1.0);
            ASSERT_EQ(skeleton.critical_points[i].y, found ? plain.points[i].y : -1.0);
        }
        zeros += plain.points.size();
    }
    EXPECT_GT(zeros, 30000U);
}

}  // namespace
}  // namespace zam::test
