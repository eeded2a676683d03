// Cone, revolve and cylinder: known shapes, the bits of the plain forms, and what stops them.
#include <limits>

#include "modules/zam/cone.h"
#include "modules/zam/revolve_c.h"
#include "modules/zam/uni2cylinder.h"
#include "tests/geometry/geometry_fixture.h"
#include "tests/plain/geometry.h"

namespace zam::test {
namespace {

constexpr double kHuge = std::numeric_limits<int>::max();
using Texts = std::vector<std::string>;

TEST(Shapes, HaveTheBitsOfTheirPlainForms) {
    for (const int div : {3, 7, 1000}) {
        const Cone cone{div, -1.7, 1e-3, 123.456};
        std::vector<float> coord(3 * static_cast<std::size_t>(div) + 6);
        cone_nodes(cone, coord);
        EXPECT_EQ(coord, plain_cone_nodes(cone));
    }
    for (const std::vector<float>& profile : {std::vector<float>{1, 2}, {0, 1, 2, 3}, {0, -1, 1, .3F, 1, 2, 5, 0}}) {
        for (const bool smooth : {false, true}) {
            const auto expected = plain_revolve_nodes(profile, 37, smooth);
            std::vector<float> coord(expected.size());
            revolve_nodes(profile, 37, smooth, coord);
            EXPECT_EQ(coord, expected);
        }
    }
    for (const int axis : {0, 1}) {
        const Sector sector{
            axis, -12.5, 271, {5, 4, 3000}, {.3F, 7, 11}};  // many angles, since few show pi's last digits
        std::vector<float> coord(180'000);
        bend_nodes(sector, coord);
        EXPECT_EQ(coord, plain_bend_nodes(sector));
    }
}

class ConeModule : public GeometryTest {
protected:
    void SetUp() override {
        GeometryTest::SetUp();
        FLDadd_cell_set(out, "Tri");
        set("div", 3);
        set("offset", 1);
        set("length", 2);
        set("radius", .5);
    }
};

TEST_F(ConeModule, ClosesWithTwoTrianglesASegment) {
    EXPECT_EQ(DVConeUpdate(instance, 0, 0), 1);
    const float h = .4330127F;
    const std::vector<float> expected{1, 0, 0, 3, 0, 0, 1, .5F, 0, 1, -.25F, h, 1, -.25F, -h};
    const auto coord = positions(out, FLDget_coord);
    ASSERT_EQ(coord.size(), expected.size());
    for (std::size_t i = 0; i < coord.size(); ++i) EXPECT_NEAR(coord[i], expected[i], 1e-7) << i;
    EXPECT_EQ(connect(out, 0), (std::vector<xp_long>{0, 3, 2, 1, 2, 3, 0, 4, 3, 1, 3, 4, 0, 2, 4, 1, 4, 2}));
    set("div", 4);
    EXPECT_EQ(DVConeUpdate(instance, 0, 0), 1);
    EXPECT_EQ(connect(out, 0).size(), 24U);
    EXPECT_EQ(reports, Texts());
}

TEST_F(ConeModule, SaysWhatIsWrong) {
    const std::pair<double, const char*> sizes[] = {
        {2.9, "div must be at least 3!\n"}, {-kHuge, "div must be at least 3!\n"}, {kHuge + 1, "can't get div\n"}};
    for (const auto& [div, text] : sizes) {
        set("div", div);
        EXPECT_EQ(refusal(DVConeUpdate), text) << div;
    }
    set("div", 3);
    for (const char* name : {"radius", "length", "offset", "div"}) {
        host::destroy(host::find(instance, name));
        const std::string end = std::string(name) == "div" ? "\n" : "!\n";
        EXPECT_EQ(refusal(DVConeUpdate), "can't get " + (name + end));
    }
}

class Revolve : public GeometryTest {};

TEST_F(Revolve, MakesARingOfQuadsASegment) {
    set_array("profile", std::vector<float>{0, 1, 5, 2, 7, 0});
    EXPECT_EQ(DVRevolveUpdate(instance, 0, 0), 1);  // four nodes a ring, none shared
    EXPECT_EQ(positions(out, FLDget_coord).size(), 3U * 16);
    EXPECT_EQ(connect(out, 0), (std::vector<xp_long>{0, 4, 5, 1, 1, 5, 6, 2, 2, 6, 7, 3, 3, 7, 4, 0}));
    EXPECT_EQ(connect(out, 1), (std::vector<xp_long>{8, 12, 13, 9, 9, 13, 14, 10, 10, 14, 15, 11, 11, 15, 12, 8}));
    set("smooth", -1);
    set("resolution", 3);
    EXPECT_EQ(DVRevolveUpdate(instance, 0, 0), 1);
    const auto coord = positions(out, FLDget_coord);
    ASSERT_EQ(coord.size(), 3U * 9);
    EXPECT_EQ(std::vector<float>(coord.begin() + 9, coord.begin() + 12), (std::vector<float>{5, 0, 2}));
    EXPECT_NEAR(coord[13], 1.7320508F, 1e-6);
    EXPECT_NEAR(coord[14], -1, 1e-6);
    EXPECT_EQ(connect(out, 1), (std::vector<xp_long>{3, 6, 7, 4, 4, 7, 8, 5, 5, 8, 6, 3}));
    for (const bool smooth : {false, true}) {
        set("smooth", smooth ? 1 : 0);
        set_array("profile", std::vector<double>{1, 2});
        EXPECT_EQ(DVRevolveUpdate(instance, 0, 0), 1);
        int cell_sets = -1;
        FLDget_ncell_sets(out, &cell_sets);
        EXPECT_EQ(cell_sets, 0);
        EXPECT_EQ(positions(out, FLDget_coord).size(), smooth ? 9U : 0U);
    }
    EXPECT_EQ(reports, Texts());
}

TEST_F(Revolve, SaysWhatIsWrong) {
    EXPECT_EQ(refusal(DVRevolveUpdate), "revolve: couldn't get profile array!");
    for (const auto& [profile, text] :
         {std::pair{std::vector<float>{}, "revolve: couldn't get profile array!"},
          std::pair{std::vector<float>{1, 2, 3}, "revolve: profile size must be even!"}}) {
        set_array("profile", profile);
        EXPECT_EQ(refusal(DVRevolveUpdate), text);
    }
    set_array("profile", std::vector<float>{0, 1, 1, 1});
    set("resolution", kHuge);
    EXPECT_EQ(refusal(DVRevolveUpdate), "revolve: couldn't get coordinate array!");
    set("resolution", 2);
    EXPECT_EQ(refusal(DVRevolveUpdate), "resolution must be at least 3!\n");
}

class Cylinder : public GeometryTest {};

TEST_F(Cylinder, BendsAndCopiesByBytes) {
    set("angle", 90);
    set("start_angle", 90);
    ByteField bytes{{1, 2, 2}, 1, {1, 2, 3, 4}, {5, 6, 7, 8, 10, 9}};
    add_component(set_field(bytes), 1, {{}, 2, {1, 2, 3, 4, 5, 6, 7, 8}, {}});
    EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);
    EXPECT_EQ(dims(out), bytes.dims);
    const auto expect_positions = [this](const std::vector<float>& expected) {
        const auto coord = positions(out, FLDget_coord);
        ASSERT_EQ(coord.size(), expected.size());
        for (std::size_t i = 0; i < coord.size(); ++i) EXPECT_NEAR(coord[i], expected[i], 1e-6) << i;
    };
    expect_positions({0, 0, 0, 0, 0, 2, 0, 0, 0, 0, -2, 0});
    EXPECT_EQ(numbers(out), bytes.values);
    // room for veclen values of each value
    EXPECT_EQ(numbers(out, 1), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 0, 0, 0, 0, 0}));

    set("direct", 2);
    set("axis", 1);
    bytes = {{2, 2, 2}, 1, {11, 12, 21, 22, 31, 32, 41, 42}};
    set_field(bytes);
    EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);
    expect_positions({0, 0, 0, 0, 0, -.5F, 0, .5F, 0, 0, .5F, -.5F, 0, 0, 0, -.5F, 0, 0, 0, .5F, 0, -.5F, .5F, 0});
    EXPECT_EQ(numbers(out), (std::vector<int>{31, 32, 21, 22, 0, 0, 41, 42}));  // row 0 from the next slice
    set_field<std::int16_t>(bytes);
    EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);  // rows of two bytes, one value
    EXPECT_EQ(numbers(out), (std::vector<int>{21, 12, 31, 22, 0, 0, 0, 0}));
    set("direct", 0);
    set("axis", 2);
    EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);
    expect_positions(std::vector<float>(24, 0));
    EXPECT_EQ(numbers(out), (std::vector<int>{11, 12, 21, 22, 0, 0, 0, 0}));
}

TEST_F(Cylinder, LeavesOutAlone) {
    constexpr xp_long kMany = xp_long{1} << 49;
    EXPECT_EQ(refusal(ADDuni2cylinder), "");
    const ByteField cases[] = {
        {{1, 4, 1}, 1, {1, 2, 3, 4}},     {{2, 2}, 1, {1, 2, 3, 4}}, {{1, 2, 2}, 1, {1, 2, 3, 4}, {0, 0, 1, 1}},
        {{1, 2, 2}, 1, {1, 2, 3, 4}, {}}, {{kMany, 1, 2}, 1, {1}},   {{2, 2, 2, kMany}, 1, {1}}};
    for (const auto& contents : cases) {
        set_field(contents);
        EXPECT_EQ(refusal(ADDuni2cylinder), "");
    }
    set("direct", 1);
    for (const auto& empty : {std::vector<xp_long>{kMany, 0, 2}, {0, 2, kMany}, {2, 0, kMany}}) {  // an orderly end
        set_field({empty, 2, {1, 2, 3}});
        EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);
        EXPECT_EQ(numbers(out), std::vector<int>(6, 0));
    }
    for (const double odd : {std::numeric_limits<double>::infinity(), 1e300}) {
        set("angle", odd);
        set_field({{1, 2, 2}, 1, {1, 2, 3, 4}});
        EXPECT_EQ(ADDuni2cylinder(instance, 0, 0), 1);
    }
}

}  // namespace
}  // namespace zam::test
