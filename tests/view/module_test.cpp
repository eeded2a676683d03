// The view as an entry: what it writes, refuses and leaves behind.
#include <cmath>
#include <functional>

#include "tests/view/view_fixture.h"

namespace zam::test {
namespace {

struct ViewModule : View {
    void SetUp() override {
        View::SetUp();
        show(
            {make_cells("mesh", {0, 0, 0, 8, 0, 0, 0, 8, 0, 4, 4, 0.5F}, {{"Tri", {0, 1, 2}}, {"Tet", {0, 1, 2, 3}}})});
    }
};

TEST_F(ViewModule, WritesWhatACaptureTakes) {
    ASSERT_EQ(update(), 1);
    expect_image(host::find(instance, "out"), 8, 8, 2);
    // without parameters
    for (const char* name : {"width", "height", "xform", "objects"}) host::destroy(host::find(instance, name));
    ASSERT_EQ(update(), 1);
    expect_image(host::find(instance, "out"), 512, 512, 2);
    EXPECT_EQ(picture().color(0, 0), (std::array{0, 0, 0}));
}

TEST_F(ViewModule, RefusesWithOneReport) {
    ASSERT_EQ(update(), 1);
    const Picture before = picture();
    const char* const kSize = "width and height have to be from 1 to 99999\n";
    const char* const kEye = "fptr has to be 0 or above\n";
    const std::pair<std::string, std::function<void()>> kCases[] = {
        {kSize, [this] { set_int("width", 0); }},
        {kSize, [this] { set_int("height", -5); }},
        {kSize, [this] { set_int("width", 100000); }},
        {"the image has more than 268435456 pixels\n", [this] { set_size(99999, 99999); }},
        {kEye, [this] { set_real("fptr", -1); }},
        {kEye, [this] { set_real("fptr", NAN); }},
        {"xform is not a transform\n",
         [this] {
             set_xform({0, 0, 0}, {0, 0, 0});
         }},
        {"objects[0] is not a field\n", [this] { host::destroy(host::find(instance, "mesh")); }},
        {"datamaps[0] is not a datamap\n",
         [this] {
             show({make_field("one", {{}, 1, 3, {0, 0, 0}, 1, {1}})});
             make_datamap(0);
             host::destroy(host::find(instance, "datamaps[0].max"));
         }},
        // positions of two corners, and more than memory holds between them
        {"objects[0] has too many nodes to be drawn\n",
         [this] {
             show({make_field("vast", {{100000, 100000}, 0, 2})});
         }},
        {"out cannot be written\n", [this] { host::destroy(host::find(instance, "out")); }},
    };
    for (const auto& [report, change] : kCases) {
        TearDown();
        reports.clear();
        SetUp();
        ASSERT_EQ(update(), 1);
        change();
        EXPECT_EQ(update(), 0) << report;
        EXPECT_EQ(reports, std::vector<std::string>{report});
        EXPECT_TRUE(OMvalid_obj(host::find(instance, "out")) == 0 || picture() == before) << report;
        expect_nothing_left();
    }
}

}  // namespace
}  // namespace zam::test
