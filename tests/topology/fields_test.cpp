// Fields whose topology is known.
#include <cmath>
#include <numbers>

#include "modules/zam/flow/critical_points.h"
#include "tests/topology/topology_fixture.h"

namespace zam::test {
namespace {

using topology::Jacobian;

Field linear(int columns, int rows, TopologyVector zero, Jacobian m) {
    return sampled(columns, rows, [&](double x, double y) {
        return TopologyVector{m.a * (x - zero.x) + m.b * (y - zero.y), m.c * (x - zero.x) + m.d * (y - zero.y)};
    });
}

struct LinearCase {
    const char* name;
    Jacobian jacobian;
    const char* label;
    double angle1 = 0, angle2 = 0;  // of a saddle's directions, the eigenvalue of larger magnitude first; degrees
};

const LinearCase kLinear[] = {
    {"saddle along the axes", {2, 0, 0, -1}, "SP", 0, 90},
    {"saddle along the axes, the other way", {1, 0, 0, -2}, "SP", 90, 0},
    {"saddle on the diagonals", {0, 2, 2, 0}, "SP", 45, 135},
    {"saddle with a flat direction", {1, 4, 0, -2}, "SP", std::atan2(-3, 4) * 180 / std::numbers::pi + 180, 0},
    {"saddle with a steep direction", {3, 0, 2, -1}, "SP", std::atan2(1, 2) * 180 / std::numbers::pi, 90},
    {"attracting node", {-2, 0.5, 0, -1}, "AN"},
    {"repelling node", {2, 0.5, 0.25, 1}, "RN"},
    {"attracting focus", {-0.25, -1, 1, -0.25}, "AF"},
    {"repelling focus", {0.25, 1, -1, 0.25}, "RF"},
    {"weakest focus", {0.0001, 1, -1, 0}, "RF"},  // differences over 2 h, divided by h: twice the trace
    {"centre", {1, 2, -2, -1}, "CE"},
    {"pure rotation", {0, -1, 1, 0}, "CE"},
    {"trace below that of a focus", {0.00004, 1, -1, 0}, "CE"},
    {"zero eigenvalue", {0, 0, 0, 0}, ""},  // zero everywhere: no isolated point
};

class Fields : public Topology {
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

TEST_F(Fields, linear_fields_have_one_point_of_their_class) {
    set_real("Interval", 20.0);
    for (const auto& c : kLinear) {
        SCOPED_TRACE(c.name);
        // dyadic positions and factors: the field is exact in single precision
        const TopologyVector zero{5.25, 3.5};
        ASSERT_EQ(run(linear(12, 9, zero, c.jacobian)), 1);
        EXPECT_EQ(labels(), c.label);
        if (critical_num != 1) continue;
        EXPECT_NEAR(critical_index[0].x, zero.x, 5e-4);
        EXPECT_NEAR(critical_index[0].y, zero.y, 5e-4);
        if (c.label != std::string("SP")) continue;
        for (int e = 0; e < 2; ++e) {
            const double angle = std::atan2(eigen_vector[0][e].y, eigen_vector[0][e].x) * 180 / std::numbers::pi;
            const double off = std::remainder(angle - (e == 0 ? c.angle1 : c.angle2), 180.0);
            EXPECT_NEAR(off, 0.0, 0.5) << "direction " << e;
        }
        expect_straight_separatrices(zero);
    }
}

TEST_F(Fields, steep_directions_are_scaled_and_axes_found) {
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
