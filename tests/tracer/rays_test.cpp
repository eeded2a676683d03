// Single rays with results known beforehand, tables, matrices, and the progress of a render.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "embedded/host.h"
#include "modules/zam/tracer.h"
#include "tests/support/text_cases.h"

namespace {

TracerRay make_ray(std::array<float, 3> start, std::array<float, 3> direction) {
    TracerRay ray{};
    for (std::size_t a = 0; a < 3; ++a) {
        ray.start[a] = start[a];
        ray.direction[a] = direction[a];
        ray.reciprocal[a] = direction[a] == 0 ? 1e30F : 1 / direction[a];
    }
    return ray;
}

TEST(TracerRays, LayersGiveKnownPixels) {
    for (const auto& one : zam::test::load_text_cases(ZAM_TEST_DATA "/layers.test", ">=")) {
        const std::string layers = one.text('>');
        const auto n = zam::test::numbers_in<float>(one.text('='));
        const TracerRay ray = make_ray({n.at(0), n[1], n[2]}, {n[3], n[4], n[5]});
        std::vector<std::uint8_t> nodes;
        for (std::size_t i = 0; i < 16; ++i) {
            const char layer = layers.at(i % 4);
            const auto node =
                layer == 'F' ? std::array{255, 200, 100, 50} : std::array{layer == '5' ? 51 : 0, 100, 50, 25};
            for (const int byte : node) nodes.push_back(static_cast<std::uint8_t>(byte));
        }
        unsigned char pixel[4] = {9, 9, 9, 9};
        (one.form == "faces" ? interp_trace_volume : trace_volume)(pixel, &ray, nodes.data(), 4, 2, 2, double{n[6]});
        EXPECT_EQ(std::vector<float>(pixel, pixel + 4), std::vector<float>(n.begin() + 7, n.end())) << one.name;
    }
}

TEST(TracerRays, RoundingDoesNotLeadPastTheEdge) {
    // enters by x just before it leaves by y; in single precision it has passed 256 of the 256 rows when it enters
    const auto ray = make_ray({0x1.740e08p+2F, -0x1.4418eep-2F, 0}, {0x1.ff3e26p-1F, -0x1.bd5f14p-5F, 0});
    const std::vector<std::uint8_t> nodes(256 * 256, 255);
    const std::vector<TracerColor> table(256, {1, 200, 100, 50});
    unsigned char pixel[4] = {9, 9, 9, 9};
    trace_byte_volume(pixel, &ray, nodes.data(), 256, 256, 1, table.data(), 1.0);
    EXPECT_EQ(std::vector<int>(pixel, pixel + 4), std::vector<int>(4, 0));
}

TEST(TracerTables, WithAndWithoutTable) {
    init_pow_table();
    EXPECT_EQ(pow_table[255], 1.0F);
    EXPECT_EQ(pow_table[51], static_cast<float>(0.2 * 0.2));
    std::vector<TracerColor> table(256, {0.25F, 10, 20, 30});
    EXPECT_EQ(get_alpha(7, table.data()), 0.25F);
    EXPECT_EQ(get_alpha(0, nullptr), 0.0F);
    EXPECT_EQ(get_alpha(51, nullptr), pow_table[51]);
    float rgb[3] = {1, 2, 3};
    EXPECT_EQ(get_rgb(7, table.data(), 0.5, &rgb[0], &rgb[1], &rgb[2]), 0);
    EXPECT_EQ((std::array{rgb[0], rgb[1], rgb[2]}), (std::array{6.0F, 12.0F, 18.0F}));
    get_rgb(100, nullptr, 0.5, &rgb[0], &rgb[1], &rgb[2]);  // deliberate: green and blue follow red
    EXPECT_EQ((std::array{rgb[0], rgb[1], rgb[2]}), (std::array{56.0F, 56.0F, 56.0F}));
}

TEST(TracerMatrices, InverseUndoesTheMatrix) {
    const float m[16] = {1.25F, 2, 0.5F, 0, -1, 3, 0.25F, 0, 0.5F, -2, 4, 0, 7, -8, 9, 1};
    float inverse[16];
    matrix_inverse(inverse, m);
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column) {
            float sum = 0;
            for (int k = 0; k < 4; ++k) sum += m[4 * row + k] * inverse[4 * k + column];
            EXPECT_NEAR(sum, row == column ? 1 : 0, 1e-5) << row << column;
        }
    float same[16];
    std::copy_n(m, 16, same);
    matrix_inverse(same, same);
    EXPECT_TRUE(std::equal(same, same + 16, inverse));
    testing::internal::CaptureStdout();
    mat_print(m);
    EXPECT_EQ(testing::internal::GetCapturedStdout().substr(0, 41), "   1.2500    2.0000    0.5000    0.0000\n ");
}

TEST(TracerBody, RendersBandsWithTheStretchedInverse) {
    const struct {
        xp_long nz;
        int height, interpolate;
        std::string progress;  // "high end of the range:percent" of each status call
    } cases[] = {
        {7, 8, 0, "25:0 25:0 25:50 25:100 50:0 50:0 50:50 50:100 75:0 75:0 75:50 75:100 100:0 100:0 100:50 100:100 "},
        {7, 3, 1, "25:0 25:100 50:0 50:100 75:0 75:100 100:0 100:0 100:33 100:66 100:100 "},  // empty bands
        {1, 4, 0, "25:0 25:0 25:100 50:0 50:0 50:100 75:0 75:0 75:100 100:0 100:0 100:100 "},
    };
    std::vector<std::uint8_t> nodes(5 * 6 * 7);
    for (std::size_t i = 0; i < nodes.size(); ++i) nodes[i] = static_cast<std::uint8_t>(37 * i);
    const std::vector<TracerColor> table(256, {0.3F, 200, 90, 7});
    const float matrix[16] = {0.8F, 0.1F, 0, 0, -0.2F, 0.9F, 0.3F, 0, 0, -0.3F, 0.7F, 0, 0.1F, 0, 0.05F, 1};
    for (const auto& c : cases) {
        const xp_long dims[3] = {5, 6, c.nz};
        const float bounds[6] = {0, 4, 0, 5, 0, static_cast<float>(c.nz - 1)};
        float inverse[16];
        matrix_inverse(inverse, matrix);
        for (int i = 0; i < 12 && c.nz > 1; ++i)  // a flat volume is not stretched at all
            inverse[i / 3 * 4 + i % 3] *= (bounds[2 * (i % 3) + 1] + 1) / bounds[2 * (i % 3) + 1];
        std::vector<std::uint8_t> expected(static_cast<std::size_t>(4 * 9 * c.height)), image(expected.size(), 9);
        (c.interpolate ? interp_loop : inner_loop)(expected.data(), 0, c.height, 9, c.height, inverse, nodes.data(), 5,
                                                   6, static_cast<int>(c.nz), c.nz > 1 ? 7 : 6, 1, table.data(), 1, 1);
        std::string progress;
        zam::host::set_recorder([&](const zam::host::Record& r) {
            EXPECT_EQ(r.range_low, r.range_high - 25);
            progress += std::to_string(r.range_high) + ":" + std::to_string(r.percent) + " ";
        });
        const TracerVolume volume{1, dims, bounds, nodes.data()};
        const TracerImage target{image.data()};
        EXPECT_EQ(tracer_body(&volume, matrix, table.data(), &target, nullptr, nullptr, 9, c.height, c.interpolate), 1);
        zam::host::set_recorder(nullptr);
        EXPECT_EQ(image, expected);
        EXPECT_EQ(progress, c.progress);
        EXPECT_GT(*std::max_element(image.begin(), image.end()), 0);
    }
}

TEST(TracerBody, RefusesWhatItCannotRender) {
    const xp_long dims[3] = {2, 2, 2}, none[3] = {2, 0, 2}, huge[3] = {xp_long{1} << 40, 2, 2};
    const float bounds[6] = {0, 1, 0, 1, 0, 1}, matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const std::uint8_t nodes[8] = {};
    unsigned char pixel[4] = {9, 9, 9, 9};
    const TracerImage image{pixel};
    for (const TracerVolume& volume : {TracerVolume{1, none, bounds, nodes}, TracerVolume{1, huge, bounds, nodes},
                                       TracerVolume{1, dims, bounds, nullptr}})
        EXPECT_EQ(tracer_body(&volume, matrix, nullptr, &image, nullptr, nullptr, 1, 1, 0), 0);
    EXPECT_EQ(pixel[0], 9);
}

}  // namespace
