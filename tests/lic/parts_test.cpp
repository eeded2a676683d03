// What the texture is made of: random numbers, steps from pixel to pixel, kernels.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "modules/zam/flow/lic_image.h"
#include "modules/zam/lic_texture.h"

namespace zam::lic {
namespace {

TEST(Random, FollowsItsRecurrence) {
    int index = 0;
    int table[56] = {};
    init_rnd2(5993232, &index, table);
    std::vector<long long> drawn;
    for (std::size_t n = 0; n < 1000; ++n) {
        drawn.push_back(irnd2(&index, table));
        if (n < 55) continue;
        EXPECT_EQ(drawn[n], ((drawn[n - 55] - drawn[n - 24]) % 1000000000 + 1000000000) % 1000000000) << n;
    }
}

TEST(Random, StaysInItsTable) {
    for (const int wild : {INT_MIN, -1, 55, 56, 1000, INT_MAX}) {
        int table[56] = {};
        int index = 0;
        init_rnd2(wild, &index, table);  // seeds may be anything too
        index = wild;
        irnd2(&index, table);
        EXPECT_EQ(index, 1) << wild;
    }
}

struct StepCase {
    const char* name;
    double x, y, vx, vy;
    int previous;
    int code;
    double dx, dy;
};

const StepCase kSteps[] = {
    {"right", 3.5, 2.5, 2, 1, 0, 3, 0.5, 0.25},
    {"left_is_nudged", 3.5, 2.5, -2, 1, 0, 4, -0.5 - 0.0001, 0.25},
    {"up", 3.5, 2.5, 1, 2, 0, 2, 0.25, 0.5},
    {"down_is_nudged", 3.5, 2.5, 1, -2, 0, 1, 0.25, -0.5 - 0.0001},
    {"corner_goes_upright", 3.5, 2.5, 1, 1, 0, 3, 0.5, 0.5},
    {"whole_pixel_from_the_left", 3.0, 2.25, 1, 0.5, 3, 3, 1.0, 0.5},
    {"comes_up_along_x", 3.25, 2.0, 1, 0, 2, 3, 0.75, 0},
    {"steps_aside_along_x", 3.0, 2.5, 1, 0, 3, 2, 0, -0.5},      // deliberate: to the line below, as if upward
    {"steps_aside_along_y", 3.5, 2.25, 0, 1, 2, 4, -0.5001, 0},  // deliberate: to the line on the left
    {"along_y_from_the_left", 3.0, 2.25, 0, 1, 3, 2, 0, 0.75},
    {"turns_back_upward", 3.5, 2.9, 1, 1, 1, 0, 0, 0},
    {"turns_back_downward", 3.5, 2.1, 1, -1, 2, 0, 0, 0},
    {"turns_back_to_the_left", 3.1, 2.5, -1, 1, 3, 0, 0, 0},
    {"turns_back_to_the_right", 3.9, 2.5, 1, 1, 4, 0, 0, 0},
    {"unknown_code_is_a_start", 3.5, 2.5, 2, 1, 77, 3, 0.5, 0.25},
};

TEST(Step, LeavesThePixel) {
    for (const StepCase& test : kSteps) {
        double dx = -9;
        double dy = -9;
        EXPECT_EQ(liccom2(test.x, test.y, test.vx, test.vy, test.previous, &dx, &dy), test.code) << test.name;
        EXPECT_EQ(dx, test.dx) << test.name;
        EXPECT_EQ(dy, test.dy) << test.name;
    }
}

TEST(Noise, IsBlackWhereTheNumberIsNotAboveTheRate) {
    int index = 0;
    int table[56] = {};
    init_rnd2(5993232, &index, table);
    const double first = rnd2(&index, table);
    std::uint8_t level = 1;
    fill_noise(first, {&level, 1});
    EXPECT_EQ(level, 0);
    fill_noise(first - 1e-9, {&level, 1});
    EXPECT_EQ(level, 255);
}

TEST(Ripple, HasThisPi) {
    EXPECT_EQ(ripple_kernel(10, 0, 0, 1).full, ripple(-10, 10, 3.141592 / 10, 0, 0));
    EXPECT_NE(ripple_kernel(10, 0, 0, 1).full, ripple(-10, 10, 3.14159265 / 10, 0, 0));
}

TEST(Ripple, IsTheIntegralOfWindowTimesWave) {
    const double cases[][5] = {{0, 0.5, 0.33, 0.66, 1.2},   {-2, 3, 0.3, 0, 0.7},   {-2.5, 1.5, 0.3, 0.3, 2.5},
                               {-2.5, 1.5, 0.3, -0.3, 1.9}, {0.5, 4, 0, 0.8, -0.4}, {-1, 2, 0, 0, 0.6}};
    for (const auto& [s0, s1, a, b, p] : cases) {
        constexpr int kParts = 2000;
        double sum = 0;
        for (int n = 0; n < kParts; ++n) {
            const double s = s0 + (n + 0.5) * (s1 - s0) / kParts;
            sum += (1 + std::cos(a * s)) * (1 + std::cos(b * s + p)) / 4 * (s1 - s0) / kParts;
        }
        EXPECT_NEAR(ripple(s0, s1, a, b, p), sum, 1e-5) << a << " " << b;
    }
}

TEST(OffAxis, IsTheUnitVectorMinusTheAxis) {
    const float vectors[] = {0, 3, 4, 0, 0, 0, 1, NAN, 0, 2};  // the last one is cut short
    std::vector<float> got(15, 9);
    subtract_axis(std::as_bytes(std::span(vectors)), 1, got);
    EXPECT_EQ(got, (std::vector<float>{0, -0.4F, 0.8F, 0, -1, 0, 1, -1, 0, 1, -1, 0, 0, -1, 0}));
    subtract_axis(std::as_bytes(std::span(vectors)), 3, got);
    EXPECT_EQ(got[1], 0.6F) << "there is no axis 3";
}

}  // namespace
}  // namespace zam::lic
