// Fields whose topology is known.
#include <cmath>
#include <numbers>

#include "modules/zam/flow/critical_points.h"
#include "tests/support/text_cases.h"
#include "tests/topology/topology_fixture.h"

namespace zam::test {
namespace {

using topology::Jacobian;

Field linear(int columns, int rows, TopologyVector zero, Jacobian m) {
    return sampled(columns, rows, [&](double x, double y) {
        return TopologyVector{m.a * (x - zero.x) + m.b * (y - zero.y), m.c * (x - zero.x) + m.d * (y - zero.y)};
    });
}

class TopologyFields : public Topology {
protected:
    /// Each of the four separatrices starts at the saddle and goes straight to the border, along its direction.
    void expect_straight_separatrices(const TopologyVector& saddle) {
        const auto coord = coordinates("out_field");
        int lines = 0;
        TopologyVector along{};
        for (std::size_t i = 0; i < coord.size(); i += 3) {
            const double x = static_cast<double>(coord[i]) - saddle.x;
            const double y = static_cast<double>(coord[i + 1]) - saddle.y;
            if (std::hypot(x, y) < 1e-3) {
                ASSERT_LT(lines, 4);
                along = eigen_vector[0][lines++];
                continue;
            }
            const double length = std::hypot(along.x, along.y);
            ASSERT_LT(std::abs(x * along.y - y * along.x) / length, 0.1);
            ASSERT_GT((x * along.x + y * along.y) / length, 0.0);
        }
        EXPECT_EQ(lines, 4);
    }
};

TEST_F(TopologyFields, LinearFieldsHaveOnePointOfTheirClass) {
    set_real("Interval", 20.0);
    for (const auto& one : load_text_cases(ZAM_TEST_DATA "/fields.test", ">=")) {
        SCOPED_TRACE(one.name);
        const auto m = numbers_in(one.text('>')), angles = numbers_in(one.text('='));
        // dyadic positions and factors: the field is exact in single precision
        const TopologyVector zero{5.25, 3.5};
        ASSERT_EQ(run(linear(12, 9, zero, {m.at(0), m.at(1), m.at(2), m.at(3)})), 1);
        EXPECT_EQ(labels(), one.form);
        if (critical_num != 1) continue;
        EXPECT_NEAR(critical_index[0].x, zero.x, 5e-4);
        EXPECT_NEAR(critical_index[0].y, zero.y, 5e-4);
        if (angles.empty()) continue;
        for (std::size_t e = 0; e < 2; ++e) {
            const double angle = std::atan2(eigen_vector[0][e].y, eigen_vector[0][e].x) * 180 / std::numbers::pi;
            const double off = std::remainder(angle - angles.at(e), 180.0);
            EXPECT_NEAR(off, 0.0, 0.5) << "direction " << e;
        }
        expect_straight_separatrices(zero);
    }
}

TEST_F(TopologyFields, SteepDirectionsAreScaledAndAxesFound) {
    const struct {
        topology::Jacobian jacobian;
        double lambda[2];
        TopologyVector e[2];
    } cases[] = {
        {{0, 4e6, 1, 0}, {2000, -2000}, {{20, 0.01}, {-200000, 100}}},
        {{0, 1e6, 1, 0}, {1000, -1000}, {{1000, 1}, {-100000, 100}}},
        {{2, 0, 0, -2}, {2, -2}, {{1, 0}, {0, 100}}},
        {{2, 0, 0, -2}, {std::nextafter(2, 3), -2}, {{1, 0}, {0, 100}}},  // rounding does not turn an axis
    };
    for (const auto& c : cases) {
        const auto directions = topology::saddle_directions(c.jacobian, c.lambda[0], c.lambda[1]);
        for (std::size_t k = 0; k < 4; ++k) {
            EXPECT_EQ(directions[k].x, (k < 2 ? 1 : -1) * c.e[k % 2].x) << c.lambda[0] << " " << k;
            EXPECT_EQ(directions[k].y, (k < 2 ? 1 : -1) * c.e[k % 2].y) << c.lambda[0] << " " << k;
        }
    }
}

}  // namespace
}  // namespace zam::test
