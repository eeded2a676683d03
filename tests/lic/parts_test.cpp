// What the texture is made of: random numbers, steps from pixel to pixel, kernels.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "modules/zam/flow/lic_image.h"
#include "modules/zam/lic_texture.h"
#include "tests/support/text_cases.h"

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

TEST(Step, LeavesThePixel) {
    for (const auto& [given, expected] : test::load_rows(ZAM_TEST_DATA "/parts.test", "steps")) {
        const auto n = test::numbers_in(given);
        double dx = -9, dy = -9;
        const int code = liccom2(n.at(0), n.at(1), n.at(2), n.at(3), static_cast<int>(n.at(4)), &dx, &dy);
        EXPECT_EQ((std::vector<double>{static_cast<double>(code), dx, dy}), test::numbers_in(expected)) << given;
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
