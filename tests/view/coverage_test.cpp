// Which pixels primitives cover, how near these are, and who wins.
#include <cmath>
#include <random>

#include "tests/view/view_fixture.h"

namespace zam::test {
namespace {

using Rows = std::vector<std::string>;

struct CoverageCase {
    const char* name;
    std::vector<float> coord;
    std::vector<Cells> sets;  // none: points
    Rows covered;
};

const CoverageCase kCases[] = {
    // edges through centres: those above and to the left count, those below and to the right do not
    {"upper_left_triangle", {0, 0, 0, 4, 0, 0, 0, 4, 0}, {{"Tri", {0, 1, 2}}}, {"###.", "##..", "#...", "...."}},
    {"turned_the_other_way", {0, 0, 0, 4, 0, 0, 0, 4, 0}, {{"Tri", {0, 2, 1}}}, {"###.", "##..", "#...", "...."}},
    {"lower_right_triangle", {4, 0, 0, 4, 4, 0, 0, 4, 0}, {{"Tri", {0, 1, 2}}}, {"...#", "..##", ".###", "####"}},
    {"edges_on_centres",
     {0.5, 0.5, 0, 2.5, 0.5, 0, 2.5, 2.5, 0, 0.5, 2.5, 0},
     {{"Quad", {0, 1, 2, 3}}},
     {"##..", "##..", "....", "...."}},
    {"between_centres",
     {1.6F, 1.6F, 0, 2.4F, 1.6F, 0, 2, 2.4F, 0},
     {{"Tri", {0, 1, 2}}},
     {"....", "....", "....", "...."}},
    {"beyond_the_image",
     {-3, 1, 0, 90, 1, 0, 90, 3, 0, -3, 3, 0},
     {{"Quad", {0, 1, 2, 3}}},
     {"....", "####", "####", "...."}},
    {"concave_quad",  // a dart whose notch the other diagonal would cover
     {0, 0, 0, 2, 1, 0, 4, 0, 0, 2, 4, 0},
     {{"Quad", {0, 1, 2, 3}}},
     {"#..#", ".##.", ".##.", "...."}},
    {"concave_polygon",
     {0, 0, 0, 1, 0, 0, 1, 3, 0, 3, 3, 0, 3, 0, 0, 4, 0, 0, 4, 4, 0, 0, 4, 0},
     {{"Polyhedron", {0, 1, 2, 3, 4, 5, 6, 7}, {8}}},
     {"#..#", "#..#", "#..#", "####"}},
    {"two_polygons",
     {0, 0, 0, 1, 0, 0, 1, 2, 0, 0, 2, 0, 2, 2, 0, 4, 2, 0, 4, 4, 0, 3, 5, 0, 2, 4, 0},
     {{"Polyhedron", {0, 1, 2, 3, 4, 5, 6, 7, 8}, {4, 5}}},
     {"#...", "#...", "..##", "..##"}},
    {"polygons_of_one_size",
     {0, 0, 0, 1, 0, 0, 1, 2, 0, 0, 2, 0, 2, 2, 0, 4, 2, 0, 4, 4, 0, 2, 4, 0},
     {{"Polyhedron", {0, 1, 2, 3, 4, 5, 6, 7}, {}, 2}},
     {"#...", "#...", "..##", "..##"}},
    {"line", {0.5, 3.5, 0, 3.5, 0.5, 0}, {{"Line", {0, 1}}}, {"...#", "..#.", ".#..", "#..."}},
    {"line_leaves", {-60, 1.5, 0, 70, 1.5, 0}, {{"Line", {0, 1}}}, {"....", "####", "....", "...."}},
    {"line_of_no_length", {2.5, 1.5, 0, 2.5, 1.5, 0}, {{"Line", {0, 1}}}, {"....", "..#.", "....", "...."}},
    {"polylines",
     {0.5, 0.5, 0, 0.5, 2.5, 0, 2.5, 2.5, 0, 2.5, 0.5, 0, 3.5, 0.5, 0},
     {{"Polyline", {0, 1, 3, 4, 2, 0}}, {"Polyline", {1, 2}}},
     {"#.##", "#...", "###.", "...."}},
    {"point", {2.5, 0.5, 0}, {}, {".###", ".###", "....", "...."}},
    {"point_cell", {2.5, 0.5, 0, 0.5, 3.5, 0}, {{"Point", {1}}}, {"....", "....", "##..", "##.."}},
    {"nodes_that_do_not_exist",
     {0, 0, 0, 4, 0, 0, 0, 4, 0},
     {{"Tri", {0, 1, 3}},
      {"Tri", {-1, 1, 2}},
      {"Line", {0, 7}},
      {"Polyline", {1, 3, -4, 2}},
      {"Point", {3}},
      {"Polyhedron", {0, 1, 5}, {3}},
      {"Polyhedron", {0, 1, 2}, {4}},
      {"Tet", {0, 1, 2, 3}},
      {"Pyr", {0, 1, 2, 2, 9}}},
     {"....", "....", "....", "...."}},
    {"not_finite",
     {NAN, 0, 0, 4, 0, 0, 0, INFINITY, 0, 1, 1, 0},
     {{"Tri", {0, 1, 3}}, {"Quad", {0, 1, 2, 3}}, {"Line", {0, 1, 3, 2}}, {"Point", {0, 2}}},
     {"....", "....", "....", "...."}},
    {"slanted_edge_to_far_beyond",
     {0, 0, 0, 4e9F, 2e9F, 0, 0, 4e9F, 0},
     {{"Tri", {0, 1, 2}}},
     {"#...", "###.", "####", "####"}},
    {"far_beyond",
     {-2e9F, -1e9F, 0, 1e9F, -1e9F, 0, 1e9F, 1e9F, 0, -1e9F, 2e9F, 0},
     {{"Quad", {0, 1, 2, 3}}},
     {"####", "####", "####", "####"}},
};

TEST_F(ViewTest, CoversPixels) {
    set_size(4, 4);
    for (const CoverageCase& c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(draw({make_cells("mesh", c.coord, c.sets)}).covered(), c.covered);
    }
}

TEST_F(ViewTest, NumbersOfAnySizeEnd) {
    for (const float size : {1e20F, 3e38F}) {
        const OMobj_id mesh =
            make_cells("mesh", {-size, 3, -size, size, -3, size, 5, size, 0, 2, -size, -size, 1, 1, 0},
                       {{"Tri", {0, 1, 2, 1, 2, 3, 0, 2, 4}},
                        {"Line", {0, 1, 2, 3, 3, 4}},
                        {"Point", {0, 1, 2}},
                        {"Tet", {0, 1, 2, 4}}});
        for (const double fptr : {0.0, 1.0, 1e300}) {
            set_real("fptr", fptr);
            draw({mesh});
            host::destroy(host::find(instance, "xform"));
            draw({mesh});
            set_size(8, 8);
        }
    }
}

TEST_F(ViewTest, TrianglesOfASurfaceShareNoPixelAndLeaveNone) {
    constexpr int kCells = 6;
    constexpr int kPixels = 24;
    std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same mesh every time
    set_size(kPixels, kPixels);
    std::vector<float> coord;
    for (int j = 0; j <= kCells; ++j)
        for (int i = 0; i <= kCells; ++i) {
            // sixteenths of a pixel: edges often pass through centres
            const auto jitter = [&] { return static_cast<float>(static_cast<int>(random() % 33) - 16) / 16; };
            const bool inner = i % kCells != 0 && j % kCells != 0;
            coord.insert(coord.end(), {static_cast<float>(4 * i) + (inner ? jitter() : 0),
                                       static_cast<float>(4 * j) + (inner ? jitter() : 0), 0});
        }
    std::vector<int> times(kPixels * kPixels);
    for (xp_long j = 0; j < kCells; ++j)
        for (xp_long i = 0; i < kCells; ++i) {
            const xp_long a = j * (kCells + 1) + i, b = a + 1, c = a + kCells + 2, d = a + kCells + 1;
            for (const auto& triangle : {std::vector{a, b, c}, std::vector{a, c, d}}) {
                const Picture one = draw({make_cells("mesh", coord, {{"Tri", triangle}})});
                for (std::size_t p = 0; p < times.size(); ++p) times[p] += one.depths[p] > 0 ? 1 : 0;
            }
        }
    EXPECT_EQ(times, std::vector<int>(kPixels * kPixels, 1));
}

double parallel_depth(double z) { return 1e-5 + (1 - 1e-5) * (0.5 + 0.5 * z / (1 + std::fabs(z))); }

TEST_F(ViewTest, DepthFollowsAPlane) {
    const OMobj_id plane =
        make_cells("plane", {0, 0, -0.5F, 8, 0, 0.5F, 8, 8, 0.75F, 0, 8, -0.25F}, {{"Quad", {0, 1, 2, 3}}});
    Picture parallel = draw({plane});
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            EXPECT_NEAR(parallel.depth(x, y), parallel_depth(-0.5 + (x + 0.5) / 8 + 0.25 * (y + 0.5) / 8), 1e-6);

    // a line's depths are those between its ends, also where a pixel's centre lies beyond them
    const Picture line = draw({make_cells("line", {0.75F, 0.5F, 0, 1.25F, 0.5F, 0.5F}, {{"Line", {0, 1}}})});
    EXPECT_NEAR(line.depth(0, 0), parallel_depth(0.002), 1e-6);
    EXPECT_NEAR(line.depth(1, 0), parallel_depth(0.502), 1e-6);

    // with perspective, along the ray through a pixel: x = u w, z = -0.5 + (x + 0.5) + 0.25 (0.5 - y), w = 1 - z / 2
    set_real("fptr", 0.5);
    const Picture perspective = draw({plane});
    for (int y = 2; y < 6; ++y)
        for (int x = 2; x < 6; ++x) {
            const double u = (x + 0.5) / 8 - 0.5, v = 0.5 - (y + 0.5) / 8;
            const double w = (1 - 0.5 * 0.125) / (1 + 0.5 * (u - 0.25 * v));
            EXPECT_NEAR(perspective.depth(x, y), 1e-5 + (1 - 1e-5) * 0.01 / w, 1e-6);
        }
}

TEST_F(ViewTest, TheNearerIsSeenAndOfEqualsTheFirst) {
    const auto square = [this](const char* name, float z) {
        return make_cells(name, {0, 0, z, 8, 0, z, 8, 8, z, 0, 8, z}, {{"Quad", {0, 1, 2, 3}}});
    };
    const OMobj_id far = square("far", -0.25F), near = square("near", 0.25F), as_near = square("as_near", 0.25F);
    set_floats("colors", {1, 0, 0, 0, 1, 0});
    const std::array<int, 3> first{255, 0, 0}, second{0, 255, 0};
    EXPECT_EQ(draw({far, near}).color(3, 3), second);
    EXPECT_EQ(draw({near, far}).color(3, 3), first);
    EXPECT_EQ(draw({near, as_near}).color(3, 3), first);
    // lines and points show on the surface that they lie on
    const OMobj_id line = make_cells("line", {0, 4, 0.25F, 8, 4, 0.25F}, {{"Line", {0, 1}}});
    const OMobj_id point = make_cells("point", {4, 4, 0.25F}, {});
    for (const double fptr : {0.0, 0.5}) {
        set_real("fptr", fptr);
        EXPECT_EQ(draw({near, line}).color(3, 4), second);
        EXPECT_EQ(draw({near, point}).color(3, 4), second);
        EXPECT_EQ(draw({point, line}).color(3, 4), first);
    }
}

TEST_F(ViewTest, PerspectiveEnlargesWhatIsNear) {
    set_size(20, 20);
    // half the way to the eye: twice the size; twice the distance: half of it
    const auto square = [this](float z) {
        return make_cells("square", {8, 8, z, 12, 8, z, 12, 12, z, 8, 12, z}, {{"Quad", {0, 1, 2, 3}}});
    };
    set_real("fptr", 2);
    const auto covered = [](const Picture& picture) {
        return std::count_if(picture.depths.begin(), picture.depths.end(), [](float depth) { return depth > 0; });
    };
    EXPECT_EQ(covered(draw({square(0)})), 16);
    EXPECT_EQ(covered(draw({square(0.25F)})), 64);
    EXPECT_EQ(covered(draw({square(-0.5F)})), 4);
    EXPECT_EQ(covered(draw({square(0.4975F)})), 0);  // nearer than a hundredth of the eye's distance
    EXPECT_EQ(covered(draw({square(0.5F)})), 0);     // at the eye
    EXPECT_EQ(covered(draw({square(0.75F)})), 0);    // behind it
    // a floor from far away to behind the eye fills what lies below the horizon
    const Picture floor = draw({make_cells("floor", {-1e6F, 11, -1e6F, 1e6F, 11, -1e6F, 1e6F, 11, 2, -1e6F, 11, 2},
                                           {{"Quad", {0, 1, 2, 3}}})});
    for (int y = 0; y < 20; ++y)
        EXPECT_EQ(floor.covered()[static_cast<std::size_t>(y)], std::string(20, y < 10 ? '.' : '#')) << y;
    // a line into the distance ends at the vanishing point
    for (const std::vector<xp_long>& ends : {std::vector<xp_long>{0, 1}, {1, 0}}) {
        const auto line = draw({make_cells("line", {10.5F, 15, 3, 10.5F, 15, -1e6F}, {{"Line", ends}})}).covered();
        for (std::size_t y = 10; y < 20; ++y) EXPECT_EQ(std::count(line[y].begin(), line[y].end(), '#'), 1) << y;
        EXPECT_EQ(std::count(line[9].begin(), line[9].end(), '#'), 0);
    }
}

}  // namespace
}  // namespace zam::test
