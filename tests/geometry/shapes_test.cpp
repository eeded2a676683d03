// Cone, revolve and cylinder: known shapes, and what stops them.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "base/lanes_target.h"
#include "modules/zam/cone.h"
#include "modules/zam/revolve_c.h"
#include "modules/zam/uni2cylinder.h"
#include "tests/geometry/geometry_fixture.h"

namespace zam::test {
namespace {

constexpr double kHuge = std::numeric_limits<int>::max();

class Cones : public GeometryTest {
protected:
    void SetUp() override {
        GeometryTest::SetUp();
        FLDadd_cell_set(out, "Tri");
        set({{"div", 3}, {"offset", 1}, {"length", 2}, {"radius", .5}});
    }
};

TEST_F(Cones, ClosesWithTwoTrianglesPerSegment) {
    EXPECT_EQ(DVConeUpdate(instance, 0, 0), 1);
    const float h = .4330127F;
    expect_near(positions(out, FLDget_coord), {1, 0, 0, 3, 0, 0, 1, .5F, 0, 1, -.25F, h, 1, -.25F, -h}, 1e-7);
    EXPECT_EQ(connectivity(out, 0), (std::vector<xp_long>{0, 3, 2, 1, 2, 3, 0, 4, 3, 1, 3, 4, 0, 2, 4, 1, 4, 2}));
    set({{"div", 4}, {"radius", 1e9}});  // so large that the last digits of the full turn show
    EXPECT_EQ(DVConeUpdate(instance, 0, 0), 1);
    EXPECT_EQ(connectivity(out, 0).size(), 24U);
    EXPECT_NEAR(positions(out, FLDget_coord)[10], .5, 1e-5);
    EXPECT_NEAR(positions(out, FLDget_coord)[14], 1, 1e-5);
    EXPECT_EQ(reports, Texts());
}

TEST_F(Cones, SaysWhatIsWrong) {
    const std::pair<double, const char*> sizes[] = {
        {2.9, "div must be at least 3!\n"}, {-kHuge, "div must be at least 3!\n"}, {kHuge + 1, "can't get div\n"}};
    for (const auto& [div, text] : sizes) {
        set({{"div", div}});
        EXPECT_EQ(refusal(DVConeUpdate), text) << div;
    }
}

TEST(ConeNodes, AreTheLibrarysSinesAndCosines) {
    for (const std::int64_t target : lanes_targets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        lanes_target().Update(target);
        for (const auto& [div, radius] : {std::pair{3, 1.0},
                                          {4, -1e30},
                                          {8, 1e39},
                                          {360, 1e-42},
                                          {1000, kHuge},
                                          {1001, HUGE_VAL},
                                          {1'000'003, 0.7},
                                          {2'000'000, 3.0}}) {
            std::vector<float> coord(3 * static_cast<std::size_t>(div + 2));
            cone_nodes({div, 1, 2, radius}, coord);
            int different = 0;
            for (int k = 0; k < div; ++k) {
                const double angle = k * (6.283185305179586 / div);
                const float node[] = {1, static_cast<float>(radius * std::cos(angle)),
                                      static_cast<float>(radius * std::sin(angle))};
                different += std::memcmp(node, &coord[3 * static_cast<std::size_t>(k + 2)], sizeof node) != 0 ? 1 : 0;
            }
            EXPECT_EQ(different, 0) << div << " " << radius;
        }
    }
    lanes_target().DeInit();
}

class Revolve : public GeometryTest {};

TEST_F(Revolve, MakesARingOfQuadsPerSegment) {
    set_array("profile", std::vector<float>{0, 1, 5, 2, 7, 0});
    EXPECT_EQ(DVRevolveUpdate(instance, 0, 0), 1);                               // four nodes per ring, none shared
    const float full = -8.742278e-8F;                                            // sine of the single-precision pi
    const std::vector<float> rings{0, 0, 1, 0, 1, 0, 0, full,     -1, 0, -1, 0,  //
                                   5, 0, 2, 5, 2, 0, 5, 2 * full, -2, 5, -2, 0};
    auto coord = positions(out, FLDget_coord);
    ASSERT_EQ(coord.size(), 3U * 16);
    EXPECT_TRUE(std::equal(coord.begin() + 12, coord.begin() + 24, coord.begin() + 24));  // the inner point twice
    coord.resize(24);
    expect_near(coord, rings, 3e-7);
    EXPECT_NEAR(coord[7], full, 1e-13);
    EXPECT_EQ(connectivity(out, 0), (std::vector<xp_long>{0, 4, 5, 1, 1, 5, 6, 2, 2, 6, 7, 3, 3, 7, 4, 0}));
    EXPECT_EQ(connectivity(out, 1), (std::vector<xp_long>{8, 12, 13, 9, 9, 13, 14, 10, 10, 14, 15, 11, 11, 15, 12, 8}));
    set({{"smooth", -1}, {"resolution", 38}});
    EXPECT_EQ(DVRevolveUpdate(instance, 0, 0), 1);
    coord = positions(out, FLDget_coord);
    ASSERT_EQ(coord.size(), 3U * 3 * 38);
    EXPECT_NEAR(coord[3 * (38 + 19) + 1], 2 * full, 1e-13);  // multiplied first, then divided
    EXPECT_EQ(connectivity(out, 1).at(1), 2 * 38);
    for (const bool smooth : {false, true}) {
        set({{"smooth", smooth ? 1 : 0}});
        set_array("profile", std::vector<double>{1, 2});
        EXPECT_EQ(DVRevolveUpdate(instance, 0, 0), 1);
        int cell_sets = -1;
        FLDget_ncell_sets(out, &cell_sets);
        EXPECT_EQ(cell_sets, 0);
        EXPECT_EQ(positions(out, FLDget_coord).size(), smooth ? 3U * 38 : 0U);
    }
    EXPECT_EQ(reports, Texts());
}

TEST_F(Revolve, SaysWhatIsWrong) {
    const struct {
        std::vector<float> profile;
        double resolution;
        const char* text;
    } kCases[] = {{{}, 4, "revolve: couldn't get profile array!"},
                  {{1, 2, 3}, 4, "revolve: profile size must be even!"},
                  {{0, 1, 1, 1}, kHuge, "revolve: couldn't get coordinate array!"},
                  {{0, 1, 1, 1}, 2, "resolution must be at least 3!\n"}};
    for (const auto& c : kCases) {
        set_array("profile", c.profile);
        set({{"resolution", c.resolution}});
        EXPECT_EQ(refusal(DVRevolveUpdate), c.text);
    }
}

class Cylinder : public GeometryTest {};

TEST_F(Cylinder, BendsAndCopiesByBytes) {
    const auto bend = [this](const std::vector<float>& expected, double tolerance = 1e-6) {
        EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);
        expect_near(positions(out, FLDget_coord), expected, tolerance);
    };
    set({{"angle", 90}, {"start_angle", 90}});
    ByteField bytes{{1, 2, 2}, 1, {1, 2, 3, 4}, {5, 6, 7, 8, 10, 9}};
    const OMobj_id in = set_field(bytes);
    FLDset_node_data_ncomp(in, 2);
    FLDset_node_data_veclen(in, 1, 2);
    FLDset_node_data(in, 1, handed<std::uint8_t>(std::vector{1, 2, 3, 4, 5, 6, 7, 8}), DTYPE_BYTE, 8, ARR_HOST_OWNS);
    bend({0, 0, 0, 0, 0, 2, 0, 0, 0, 0, -2, 0});
    EXPECT_EQ(dims(out), bytes.dims);
    EXPECT_EQ(numbers(out), bytes.values);
    // there is room for veclen values per value
    EXPECT_EQ(numbers(out, 1), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 0, 0, 0, 0, 0}));
    set({{"angle", 0}, {"start_angle", 13410}});  // an angle at which the last digits of pi show
    bend({0, 0, 0, 0, 2 * 7.672908e-6F, 2, 0, 0, 0, 0, 2 * 7.672908e-6F, 2}, 1e-11);

    set({{"angle", 90}, {"start_angle", 90}, {"direct", 2}, {"axis", 1}});
    bytes = {{2, 2, 2}, 1, {11, 12, 21, 22, 31, 32, 41, 42}};
    set_field(bytes);
    bend({0, 0, 0, 0, 0, -.5F, 0, .5F, 0, 0, .5F, -.5F, 0, 0, 0, -.5F, 0, 0, 0, .5F, 0, -.5F, .5F, 0});
    EXPECT_EQ(numbers(out), (std::vector<int>{31, 32, 21, 22, 0, 0, 41, 42}));  // row 0 from the next slice
    set_field<std::int16_t>(bytes);
    EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);  // rows of two bytes, one value
    EXPECT_EQ(numbers(out), (std::vector<int>{21, 12, 31, 22, 0, 0, 0, 0}));
    set({{"direct", 0}, {"axis", 2}});
    bend(std::vector<float>(24, 0));
    EXPECT_EQ(numbers(out), (std::vector<int>{11, 12, 21, 22, 0, 0, 0, 0}));
}

TEST_F(Cylinder, LeavesOutAlone) {
    constexpr xp_long kMany = xp_long{1} << 49;
    const ByteField cases[] = {
        {{1, 4, 1}, 1, {1, 2, 3, 4}},     {{2, 2}, 1, {1, 2, 3, 4}}, {{1, 2, 2}, 1, {1, 2, 3, 4}, {0, 0, 1, 1}},
        {{1, 2, 2}, 1, {1, 2, 3, 4}, {}}, {{kMany, 1, 2}, 1, {1}},   {{2, 2, 2, kMany}, 1, {1}}};
    for (const auto& contents : cases) {
        set_field(contents);
        EXPECT_EQ(refusal(ADDuni2cylinder), "");
    }
    set({{"direct", 1}});
    for (const auto& empty : {std::vector<xp_long>{kMany, 0, 2}, {0, 2, kMany}, {2, 0, kMany}}) {  // an orderly end
        set_field({empty, 2, {1, 2, 3}});
        EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);
        EXPECT_EQ(numbers(out), std::vector<int>(6, 0));
    }
    for (const double odd : {std::numeric_limits<double>::infinity(), 1e300}) {
        set({{"angle", odd}});
        set_field({{1, 2, 2}, 1, {1, 2, 3, 4}});
        EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);
    }
}

}  // namespace
}  // namespace zam::test
