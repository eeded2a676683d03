// Every pixel of the module's marchers is the plain tracer's: random volumes, views and parameters, ordinary and
// hostile.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "base/lanes_target.h"
#include "modules/zam/tracer.h"
#include "modules/zam/volume/ray_bands.h"
#include "tests/plain/tracer.h"

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

class Random {
public:
    explicit Random(unsigned seed) : generator_(seed) {}
    int integer(int low, int high) { return std::uniform_int_distribution(low, high)(generator_); }
    float real(float low, float high) { return std::uniform_real_distribution(low, high)(generator_); }
    template <class T>
    T one_of(std::initializer_list<T> values) {
        return values.begin()[integer(0, static_cast<int>(values.size()) - 1)];
    }

private:
    std::mt19937 generator_;
};

/// A random scene with all that it points to; the arrays have exactly the size that they need.
struct RandomScene {
    explicit RandomScene(unsigned seed) : random(seed) {
        scene.veclen = random.one_of({1, 4});
        scene.interpolate = random.integer(0, 1) == 1;
        for (int& n : scene.n) n = random.one_of({1, 2, 3, 7, 16, 16, 33, 33});
        fill_nodes();
        fill_table();
        fill_matrix();
        scene.a_scale = random.one_of<float>({0.05F, 0.3F, 1, 1, 1, 2.5F, 2.5F, -1, 0, kInf, kNan});
        scene.fptr = random.one_of<float>({0, 0, 0, 0.3F, 0.3F, 1, 1, 4, -2, 1e20F, kNan});
        scene.width = random.integer(1, 40);
        scene.height = random.integer(1, 40);
        scene.nodes = nodes.data();
        scene.table = random.integer(0, 3) == 0 ? nullptr : table;
        scene.pow_table = pow_table;
        scene.inverse = inverse;
    }

    void fill_nodes() {
        nodes.resize(plain::volume_size(scene));
        const int filled = random.one_of({2, 30, 100}), largest = random.one_of({8, 60, 255});
        for (auto& byte : nodes)
            byte = static_cast<std::uint8_t>(random.integer(1, 100) <= filled ? random.integer(0, largest) : 0);
    }

    void fill_table() {
        const int first_visible = random.one_of({0, 1, 5, 30});
        for (int i = 0; i < 256; ++i) {
            table[i][0] = i < first_visible ? 0 : static_cast<float>(random.integer(0, 255) / 255.0);
            for (int c = 1; c < 4; ++c) table[i][c] = static_cast<float>(random.integer(0, 255));
        }
    }

    /// Turned, turned by right angles (rays along the axes), or not a view at all; looking at the volume or past it.
    void fill_matrix() {
        const int kind = random.integer(0, 9);
        for (int i = 0; i < 12; ++i) inverse[i] = kind < 6 ? random.real(-1, 1) : 0;
        if (kind >= 6) {
            const int turn = random.integer(0, 2);
            for (int a = 0; a < 3; ++a) inverse[4 * a + (a + turn) % 3] = random.one_of<float>({1, -1, 1.5F});
        }
        if (kind == 9) inverse[random.integer(0, 11)] = random.one_of<float>({0, 1e-30F, 1e-38F, 1e20F, kInf, kNan});
        const float off = random.one_of<float>({0, 0, 0, 0.3F, 0.3F, 1, 1e6F, 1e30F});
        for (int i = 12; i < 15; ++i) inverse[i] = random.real(-off, off);
    }

    Random random;
    std::vector<std::uint8_t> nodes;
    float table[256][4];
    float inverse[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    plain::Scene scene{};
};

/// Renders through the exported band renderers, in two bands.
void render_bands(const plain::Scene& s, int first_rows, std::uint8_t* image) {
    const auto render = s.interpolate ? interp_loop : inner_loop;
    for (const auto& [first, rows] : {std::pair{0, first_rows}, std::pair{first_rows, s.height - first_rows}})
        render(image, first, rows, s.width, s.height, s.inverse, s.nodes, s.n[0], s.n[1], s.n[2],
               std::max({s.n[0], s.n[1], s.n[2]}), s.fptr, reinterpret_cast<const TracerColor*>(s.table), s.veclen,
               s.a_scale);
}

/// Renders by the exported marchers of single rays.
void render_lone(const plain::Scene& s, std::uint8_t* image) {
    const auto* table = reinterpret_cast<const TracerColor*>(s.table);
    for (int row = 0; row < s.height; ++row)
        for (int column = 0; column < s.width; ++column, image += 4) {
            const auto ray = std::bit_cast<TracerRay>(plain::make_ray(s, column, row));
            const auto [nx, ny, nz] = s.n;
            if (s.veclen == 4)
                (s.interpolate ? interp_trace_volume : trace_volume)(image, &ray, s.nodes, nx, ny, nz, s.a_scale);
            else
                (s.interpolate ? interp_trace_byte_volume : trace_byte_volume)(image, &ray, s.nodes, nx, ny, nz, table,
                                                                               s.a_scale);
        }
}

/// Renders with the 64-bit node numbers that only a volume of more than 2^32 nodes needs.
void render_wide(const plain::Scene& s, std::uint8_t* image) {
    const double largest = std::max({s.n[0], s.n[1], s.n[2]});
    zam::tracer::render_image(image, s.width, s.height,
                              {s.inverse,
                               s.nodes,
                               {{s.n[0], s.n[1], s.n[2]}},
                               largest,
                               s.fptr,
                               reinterpret_cast<const TracerColor*>(s.table),
                               s.veclen,
                               s.a_scale,
                               s.interpolate,
                               true});
}

/// Expects these pixels of the band renderers for every processor.
void expect_bands(const plain::Scene& s, int first_rows, const std::vector<std::uint8_t>& expected) {
    for (const std::int64_t target : zam::lanes_targets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        zam::lanes_target().Update(target);
        std::vector<std::uint8_t> image(expected.size(), 77), wide = image;
        render_bands(s, first_rows, image.data());
        ASSERT_EQ(image, expected);
        render_wide(s, wide.data());
        ASSERT_EQ(wide, expected);
    }
    zam::lanes_target().DeInit();
}

TEST(TracerPixels, AreThePlainTracers) {
    init_pow_table();
    int drawn = 0;
    for (unsigned seed = 0; seed < 3000; ++seed) {
        SCOPED_TRACE(seed);
        RandomScene random(seed);
        const plain::Scene& s = random.scene;
        std::vector<std::uint8_t> expected(plain::image_size(s)), lone = expected;
        plain::render(s, expected.data());
        ASSERT_NO_FATAL_FAILURE(expect_bands(s, random.random.integer(0, s.height), expected));
        render_lone(s, lone.data());
        ASSERT_EQ(lone, expected);
        drawn += std::any_of(expected.begin(), expected.end(), [](int byte) { return byte != 0; });
    }
    EXPECT_GT(drawn, 700);
}

TEST(TracerPixels, ShowTheOnlyVisibleNodeWhereverItIs) {
    struct Case {
        int node[3];
        const char* where;
    };
    constexpr Case kCases[] = {
        {{0, 0, 0}, "the first of all"},        {{70, 32, 26}, "the last of all"},
        {{7, 8, 9}, "at the end of a block"},   {{16, 15, 14}, "at the start of a block"},
        {{17, 22, 18}, "one into a block"},     {{62, 25, 6}, "before the last of a block"},
        {{64, 12, 0}, "alone in a last block"}, {{11, 20, 12}, "in the midst of a block"},
    };
    float table[256][4] = {};
    for (float& channel : table[200]) channel = 200;
    for (const Case& c : kCases)
        for (const float turn : {-0.8F, 0.1F, 0.9F, 2.5F, 4.0F})
            for (const bool interpolate : {false, true}) {
                SCOPED_TRACE(c.where);
                const float cosine = 1.8F * std::cos(turn), sine = 1.8F * std::sin(turn);
                const float inverse[16] = {cosine, 0, sine, 0, 0.2F, 1.8F, 0.1F, 0, -sine, 0.3F, cosine, 0, 0, 0, 0, 1};
                const int veclen = turn < 1 ? 1 : 4;  // where only one byte of all is visible, and where all but 0 are
                plain::Scene s{nullptr, {71, 33, 27}, veclen, table, nullptr, 1, 0.4, inverse, 150, 150, interpolate};
                std::vector<std::uint8_t> nodes(plain::volume_size(s));
                if (veclen == 1)
                    for (std::size_t i = 0; i < nodes.size(); ++i) nodes[i] = static_cast<std::uint8_t>(i % 200);
                const std::ptrdiff_t node = (c.node[2] * 33 + c.node[1]) * 71 + c.node[0];
                std::fill_n(nodes.begin() + veclen * node, veclen, std::uint8_t{200});
                s.nodes = nodes.data();
                std::vector<std::uint8_t> expected(plain::image_size(s));
                plain::render(s, expected.data());
                ASSERT_TRUE(std::any_of(expected.begin(), expected.end(), [](int byte) { return byte != 0; }));
                ASSERT_NO_FATAL_FAILURE(expect_bands(s, s.height, expected));
            }
}

}  // namespace
