// Which pixels primitives cover, how near these are, and which of several is seen.
#include <cmath>
#include <iterator>
#include <map>
#include <random>
#include <sstream>

#include "tests/support/text_cases.h"
#include "tests/view/view_fixture.h"

namespace zam::test {
namespace {

using Rows = std::vector<std::string>;

const std::map<std::string, int> kGridTypes{
    {"uniform", FLD_UNIFORM}, {"rectilinear", FLD_RECTILINEAR}, {"structured", FLD_STRUCTURED}};

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

std::vector<float> numbers(const std::string& text) {
    std::vector<float> list;
    for (const std::string& word : words(text)) list.push_back(std::stof(word));
    return list;
}

/// "Polyhedron 0 1 2 3 4 5 6 / 3 4": type, nodes, and corners of each polygon, or their number after an x.
Cells parse_cells(const std::string& line) {
    std::istringstream in(line);
    Cells cells{};
    in >> cells.type;
    auto* list = &cells.nodes;
    for (std::string word; in >> word;) {
        if (word == "x")
            in >> cells.npolys;
        else if (word == "/")
            list = &cells.counts;
        else
            list->push_back(std::stoll(word));
    }
    return cells;
}

TEST_F(View, CoversPixels) {
    for (const TextCase& c : load_text_cases(ZAM_TEST_DATA "/pictures.test", ">+:$@=")) {
        SCOPED_TRACE(c.name);
        const Rows rows = c.list('=');
        set_size(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()));
        set_real("fptr", c.list('$').empty() ? 0 : std::stod(c.list('$')[0]));
        if (c.form == "fit") host::destroy(host::find(instance, "xform"));
        const std::vector<float> positions = numbers(c.text('>'));
        std::vector<Cells> sets;
        for (const std::string& line : c.list('+')) sets.push_back(parse_cells(line));
        const auto grid = words(c.text(':'));
        OMobj_id object{};
        if (grid.empty()) {
            object = make_cells("object", positions, sets);
        } else {
            std::vector<xp_long> dims;
            for (std::size_t k = 2; k < grid.size(); ++k) dims.push_back(std::stoll(grid[k]));
            object = make_field("object", {dims, 0, std::stoi(grid[0])});
            host::set_grid_type(object, kGridTypes.at(grid[1]));
            const auto set = grid[1] == "structured" ? FLDset_coord : FLDset_points;
            const auto size = static_cast<xp_long>(positions.size());
            if (size > 0) set(object, handed<float>(positions), size, ARR_HOST_OWNS);
        }
        host::set_field_xform(object, numbers(c.text('@')), {}, {});
        EXPECT_EQ(draw({object}).covered(), rows);
    }
}

TEST_F(View, NumbersOfAnySizeEnd) {
    for (const float size : {1e20F, 3e38F})
        for (const double fptr : {0.0, 1.0, 1e300}) {
            const OMobj_id mesh =
                make_cells("mesh", {-size, 3, -size, size, -3, size, 5, size, 0, 2, -size, -size, 1, 1, 0},
                           {{"Tri", {0, 1, 2, 1, 2, 3, 0, 2, 4}}, {"Line", {0, 1, 2, 3, 3, 4}}, {"Tet", {0, 1, 2, 4}}});
            set_size(8, 8);
            set_real("fptr", fptr);
            draw({mesh});
            host::destroy(host::find(instance, "xform"));
            draw({mesh});
        }
}

TEST_F(View, TrianglesOfASurfaceShareNoPixelAndLeaveNone) {
    constexpr int kCells = 6, kPixels = 24;
    std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same mesh every time
    set_size(kPixels, kPixels);
    std::vector<float> coord;
    for (int node = 0; node < (kCells + 1) * (kCells + 1); ++node) {
        for (const int at : {node % (kCells + 1), node / (kCells + 1)}) {
            // sixteenths of a pixel: edges often pass through centres
            const int jitter = at % kCells == 0 ? 0 : static_cast<int>(random() % 33) - 16;
            coord.push_back(static_cast<float>(64 * at + jitter) / 16);
        }
        coord.push_back(0);
    }
    std::vector<int> times(kPixels * kPixels);
    for (xp_long cell = 0; cell < kCells * kCells; ++cell) {
        const xp_long a = cell / kCells * (kCells + 1) + cell % kCells, c = a + kCells + 2;
        for (const xp_long b : {a + 1, c - 1}) {
            const Picture one = draw({make_cells("mesh", coord, {{"Tri", {a, b, c}}})});
            for (std::size_t p = 0; p < times.size(); ++p) times[p] += one.depths[p] > 0 ? 1 : 0;
        }
    }
    EXPECT_EQ(times, std::vector<int>(kPixels * kPixels, 1));
}

double parallel_depth(double z) { return 1e-5 + (1 - 1e-5) * (0.5 + 0.5 * z / (1 + std::fabs(z))); }

TEST_F(View, DepthFollowsAPlane) {
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

TEST_F(View, TheNearerIsSeenAndOfEqualsTheFirst) {
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

}  // namespace
}  // namespace zam::test
