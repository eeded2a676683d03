// What is drawn of fields of all kinds, in which colours, and how views merge.
#include <cmath>
#include <numeric>
#include <random>
#include <tuple>

#include "tests/view/view_fixture.h"

namespace zam::test {
namespace {

TEST_F(View, VolumesShowTheirNearestSide) {
    set_size(6, 6);
    make_datamap(0);
    const OMobj_id volume =
        make_field("volume", {{3, 2, 4}, 0, 3, {}, 1, {10, 20, 30, 40, 50, 60}, {1, 1, -1, 5, 4, 1}});
    const Picture near = draw({volume});
    EXPECT_FLOAT_EQ(
        near.depth(2, 2),
        draw({make_cells("at", {1, 1, 1, 5, 1, 1, 5, 4, 1, 1, 4, 1}, {{"Quad", {0, 1, 2, 3}}})}).depth(2, 2));
    EXPECT_EQ(near.color(2, 2), (std::array{50, 50, 50}));
    EXPECT_EQ(near.color(3, 2), (std::array{60, 60, 60}));
}

/// From every side a cell looks like the tetrahedra that it can be cut into.
TEST_F(View, CellsHaveTheFacesOfTheirTetrahedra) {
    set_size(40, 40);
    const std::vector<float> box{-4, -3, -2, 5, -3, -2, 5, 4, -2, -4, 4, -2, -4, -3, 6, 5, -3, 6, 5, 4, 6, -4, 4, 6};
    const std::tuple<std::string, std::vector<float>, std::vector<xp_long>> solids[] = {
        {"Hex", box, {0, 1, 3, 4, 1, 2, 3, 6, 1, 4, 5, 6, 3, 4, 6, 7, 1, 3, 4, 6}},
        {"Prism",
         {-4, -3, -2, 5, -3, -2, 1, 4, -2, -4, -3, 6, 5, -3, 6, 1, 4, 6},
         {0, 1, 2, 3, 1, 2, 3, 4, 2, 3, 4, 5}},
        {"Pyr", {-4, -3, -2, 5, -3, -2, 5, 4, -2, -4, 4, -2, 1, 0, 6}, {0, 1, 2, 4, 0, 2, 3, 4}},
    };
    std::mt19937 random(5);  // NOLINT(cert-msc32-c,cert-msc51-cpp)
    for (int view = 0; view < 12; ++view) {
        std::vector<float> turn(16);  // any linear map will do
        for (float& number : turn) number = static_cast<float>(static_cast<int>(random() % 201) - 100) / 1500;
        set_xform(turn, {0, 0, 0});
        for (const auto& [type, coord, parts] : solids) {
            SCOPED_TRACE(type + std::to_string(view));
            std::vector<xp_long> nodes(coord.size() / 3);
            std::iota(nodes.begin(), nodes.end(), 0);
            const Picture cell = draw({make_cells("cell", coord, {{type, nodes}})});
            const Picture tets = draw({make_cells("tets", coord, {{"Tet", parts}})});
            // corners are rounded to sub-pixels, which steep triangles show in their depths
            for (std::size_t i = 0; i < cell.depths.size(); ++i) ASSERT_NEAR(cell.depths[i], tets.depths[i], 1e-3) << i;
        }
    }
}

TEST_F(View, ShadesByTheAngleToTheViewer) {
    // a ridge of 45 degrees on either side: one unit of z is eight pixels
    const auto ridge_down_to = [](float z) -> std::vector<float> {
        return {0, 0, z, 4, 0, 0, 8, 0, z, 0, 8, z, 4, 8, 0, 8, 8, z};
    };
    const std::vector<float> ridge = ridge_down_to(-0.5F), low = ridge_down_to(-0.1F);
    const Picture shared = draw({make_cells("shared", ridge, {{"Quad", {0, 1, 4, 3, 1, 2, 5, 4}}})});
    std::vector<float> apart = ridge;
    apart.insert(apart.end(), {4, 0, 0, 4, 8, 0});
    const Picture flat = draw({make_cells("apart", apart, {{"Quad", {0, 1, 4, 3, 6, 2, 5, 7}}})});
    const int slanted = static_cast<int>(std::lround(255 * (0.25 + 0.75 * std::sqrt(0.5))));
    for (int x = 0; x < 8; ++x) EXPECT_EQ(flat.color(x, 4)[0], slanted) << x;
    EXPECT_EQ(shared.color(3, 4), shared.color(4, 4));
    // neither the faces of other cell sets nor those that cannot be drawn matter
    EXPECT_EQ(draw({make_cells("sets", ridge, {{"Quad", {0, 1, 4, 3}}, {"Quad", {1, 2, 5, 4}}})}), flat);
    std::vector<float> broken = ridge;
    broken.insert(broken.end(), {NAN, 4, 0});
    EXPECT_EQ(draw({make_cells("broken", broken, {{"Quad", {0, 1, 4, 3, 1, 2, 5, 4, 1, 2, 5, 6}}})}), shared);
    EXPECT_NEAR(shared.color(4, 4)[0], 255 - (255 - slanted) / 8.0, 1);
    EXPECT_LT(shared.color(1, 4)[0], shared.color(2, 4)[0]);
    // faces may turn either way
    const Picture alike = draw({make_cells("low", low, {{"Quad", {0, 1, 4, 3, 1, 2, 5, 4}}})});
    const Picture turned = draw({make_cells("low", low, {{"Quad", {0, 1, 4, 3, 1, 4, 5, 2}}})});
    for (int x = 0; x < 8; ++x) EXPECT_NEAR(turned.color(x, 4)[0], alike.color(x, 4)[0], 1) << x;
    // the edges of a box stay edges, whatever its cells share
    const std::vector<float> box{0, 0, 0, 8, 0, 0, 8, 8, 0, 0, 8, 0, 0, 0, -1, 8, 0, -1, 8, 8, -1, 0, 8, -1};
    EXPECT_EQ(draw({make_cells("box", box, {{"Hex", {0, 1, 2, 3, 4, 5, 6, 7}}})}).color(0, 0)[0], 255);
}

TEST_F(View, ColorsByDatamapOrColorOrWhite) {
    make_datamap(1);
    set_floats("colors", {1, 0.5F, 2, 0, 0, 1});
    set_floats("background", {0.5F, 1, -1});
    const auto square = [this](const char* name, float x, const std::vector<float>& values) {
        return make_cells(name, {x, 0, 0, x + 2, 0, 0, x + 2, 8, 0, x, 8, 0}, {{"Tri", {0, 1, 2, 0, 2, 3}}}, values);
    };
    const OMobj_id ignored = square("ignored", 6, {9, 9, 9, 9});
    const Picture picture = draw({square("plain", 0, {9, 9, 9, 9}), square("mapped", 2, {0, 200, 200, 0}), ignored});
    EXPECT_EQ(picture.color(0, 0), (std::array{255, 128, 255}));
    EXPECT_EQ(picture.color(2, 4), (std::array{50, 50, 50}));
    EXPECT_EQ(picture.color(3, 4), (std::array{150, 150, 150}));
    EXPECT_EQ(picture.color(5, 4), (std::array{127, 255, 0}));  // cut as captures' backgrounds are
    EXPECT_EQ(picture.pixels[4 * 5], 0);
    EXPECT_EQ(picture.pixels[4 * 3], 255);
    EXPECT_EQ(picture.color(7, 4), (std::array{255, 255, 255}));

    // one value per cell; null values have the object's own colour
    const Picture cells = draw({ignored, square("cells", 0, {40, 80})});
    EXPECT_EQ(cells.color(1, 1), (std::array{40, 40, 40}));
    EXPECT_EQ(cells.color(0, 7), (std::array{80, 80, 80}));
    const OMobj_id sets =
        make_cells("sets", {0, 0, 0, 2, 0, 0, 2, 8, 0, 0, 8, 0}, {{"Tri", {0, 1, 2}}, {"Tri", {0, 2, 3}}}, {40, 80});
    EXPECT_EQ(draw({ignored, sets}), cells);
    const OMobj_id null = square("null", 0, {40, 40, 40, 40});
    const float null_value = 40;
    FLDset_node_null_data(null, 0, &null_value, DTYPE_FLOAT);
    EXPECT_EQ(draw({ignored, null}).color(1, 1), (std::array{0, 0, 255}));

    // an image shows its own colours, unless it is given one
    const OMobj_id image = make_field<std::uint8_t>(
        "image", {{2, 2}, 0, 2, {0, 0, 8, 0, 0, 8, 8, 8}, 4, {9, 1, 2, 3, 9, 1, 2, 3, 9, 1, 2, 3, 9, 1, 2, 3}});
    FLDset_node_data_id(image, 0, 669);
    EXPECT_EQ(draw({image}).color(1, 1), (std::array{255, 128, 255}));
    host::destroy(host::find(instance, "colors"));
    EXPECT_EQ(draw({image}).color(1, 1), (std::array{1, 2, 3}));
}

TEST_F(View, PerspectiveColorsAreThoseOfSpace) {
    make_datamap(0);
    set_size(9, 9);
    set_real("fptr", 1);
    set_xform({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, {0, 0, 0});
    // from (-0.5, z 0) to (1.5, z -2): seen from -0.5 to 0.5; in the middle of the image x = 0, a quarter of the way
    const OMobj_id wall = make_cells("wall", {-0.5F, -9, 0, 1.5F, -9, -2, 1.5F, 9, -2, -0.5F, 9, 0},
                                     {{"Quad", {0, 1, 2, 3}}}, {0, 200, 200, 0});
    const double light = 0.25 + 0.75 * std::sqrt(0.5);
    EXPECT_NEAR(draw({wall}).color(4, 4)[0], 50 * light, 1);
}

/// Merges as captures are merged: every pixel shows the greatest depth, the first of equal ones.
Picture merge(Picture all, const Picture& one) {
    for (std::size_t i = 0; i < all.depths.size(); ++i) {
        if (!(one.depths[i] > 1e-6F && one.depths[i] > all.depths[i])) continue;
        all.depths[i] = one.depths[i];
        std::copy_n(&one.pixels[4 * i], 4, &all.pixels[4 * i]);
    }
    return all;
}

TEST_F(View, ViewsOfSingleObjectsMergeIntoTheViewOfAll) {
    set_size(64, 48);
    std::mt19937 random(3);  // NOLINT(cert-msc32-c,cert-msc51-cpp)
    for (const double fptr : {0.0, 0.7, 4.0}) {
        set_real("fptr", fptr);
        std::vector<OMobj_id> objects;
        std::vector<float> colors;
        const auto number = [&](float range) { return static_cast<float>(random() % 1024) / 1024 * range; };
        std::vector<xp_long> nodes(24);
        std::iota(nodes.begin(), nodes.end(), 0);
        for (int object = 0; object < 6; ++object) {
            std::vector<float> coord;
            for (int i = 0; i < 24; ++i)  // the last object lies where the first does: ties
                coord.insert(coord.end(), {number(90) - 13, number(70) - 11, object % 5 == 0 ? 0.25F : number(2) - 1});
            const std::vector<Cells> sets[] = {{{"Tri", nodes}}, {{"Line", nodes}}, {}};
            objects.push_back(make_cells(("object" + std::to_string(object)).c_str(), coord, sets[object % 5 % 3]));
            for (int k = 0; k < 3; ++k) colors.push_back(number(1));
        }
        set_floats("colors", colors);
        const Picture joint = draw(objects);
        Picture merged = draw({});
        for (std::size_t i = 0; i < objects.size(); ++i) {
            set_floats("colors", {colors.begin() + static_cast<std::ptrdiff_t>(3 * i), colors.end()});
            merged = merge(std::move(merged), draw({objects[i]}));
        }
        EXPECT_TRUE(merged == joint) << fptr;
        for (const float depth : joint.depths) EXPECT_TRUE(depth == 0 || (depth >= 1e-5F && depth <= 1));
    }
}

}  // namespace
}  // namespace zam::test
