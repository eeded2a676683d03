// Every pixel of the module's marchers is the plain tracer's: random volumes, views and parameters, ordinary and
// hostile.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "modules/zam/tracer.h"
#include "modules/zam/volume/ray_march.h"
#include "modules/zam/volume/ray_view.h"
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

/// The rays of an image row, the last column first.
struct RowRays {
    zam::tracer::View::Row row;
    std::uint8_t* pixels;
    int columns_left;

    bool next(zam::tracer::Ray& ray, std::uint8_t*& pixel) {
        if (columns_left == 0) return false;
        --columns_left;
        ray = row.ray(columns_left);
        pixel = pixels + std::ptrdiff_t{4} * columns_left;
        return true;
    }
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
template <class Voxels>
void render_wide(const plain::Scene& s, const Voxels& voxels, std::uint8_t* image) {
    const zam::tracer::Grid grid{{s.n[0], s.n[1], s.n[2]}};
    const zam::tracer::View view(s.inverse, grid, s.width, s.height, std::max({s.n[0], s.n[1], s.n[2]}), s.fptr);
    for (int row = 0; row < s.height; ++row) {
        RowRays rays{{view, row}, image + std::ptrdiff_t{4} * row * s.width, s.width};
        if (s.interpolate)
            zam::tracer::march_faces<std::int64_t>(rays, grid, voxels, s.a_scale);
        else
            zam::tracer::march_cells<std::int64_t>(rays, grid, voxels, s.a_scale);
    }
}

TEST(TracerPixels, AreThePlainTracers) {
    init_pow_table();
    int drawn = 0;
    for (unsigned seed = 0; seed < 3000; ++seed) {
        RandomScene random(seed);
        const plain::Scene& s = random.scene;
        std::vector<std::uint8_t> expected(plain::image_size(s), 77), image = expected, wide = expected,
                                                                      lone = expected;
        plain::render(s, expected.data());
        render_bands(s, random.random.integer(0, s.height), image.data());
        ASSERT_EQ(image, expected) << "seed " << seed;
        render_lone(s, lone.data());
        ASSERT_EQ(lone, expected) << "seed " << seed;

        const auto* table = reinterpret_cast<const TracerColor*>(s.table);
        if (s.veclen == 4)
            render_wide(s, zam::tracer::RgbaVoxels(s.nodes), wide.data());
        else
            render_wide(s, zam::tracer::TableVoxels(s.nodes, table), wide.data());
        ASSERT_EQ(wide, expected) << "seed " << seed;
        drawn += std::any_of(image.begin(), image.end(), [](int byte) { return byte != 0; });
    }
    EXPECT_GT(drawn, 700);
}

}  // namespace
