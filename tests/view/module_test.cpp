// The view as an entry: what it writes, refuses and leaves behind.
#include <functional>

#include "tests/view/view_fixture.h"

namespace zam::test {
namespace {

class ViewModule : public ViewTest {
public:
    using ViewTest::instance;
    using ViewTest::make_field;
    using ViewTest::set_int;
    using ViewTest::set_real;
    using ViewTest::set_size;
    using ViewTest::show;
    using ViewTest::update;

protected:
    void SetUp() override {
        ViewTest::SetUp();
        show(
            {make_cells("mesh", {0, 0, 0, 8, 0, 0, 0, 8, 0, 4, 4, 0.5F}, {{"Tri", {0, 1, 2}}, {"Tet", {0, 1, 2, 3}}})});
    }
};

TEST_F(ViewModule, WritesWhatACaptureTakes) {
    ASSERT_EQ(update(), 1);
    const OMobj_id out = host::find(instance, "out");
    int nspace = 0, id = 0, veclen = 0;
    FLDget_nspace(out, &nspace);
    FLDget_node_data_id(out, 0, &id);
    FLDget_node_data_veclen(out, 0, &veclen);
    EXPECT_EQ((std::vector{nspace, id, veclen}), (std::vector{2, 669, 4}));
    EXPECT_EQ(positions(out, FLDget_points), (std::vector<float>{0, 0, 7, 7}));
}

TEST_F(ViewModule, HasDefaultsForWhatIsMissing) {
    for (const char* name : {"width", "height", "xform", "objects"}) host::destroy(host::find(instance, name));
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(picture().width, 512);
    EXPECT_EQ(picture().height, 512);
    EXPECT_EQ(picture().color(0, 0), (std::array{0, 0, 0}));
}

struct RefusedCase {
    const char* name;
    std::function<void(const ViewModule&)> change;
    std::string report;
};

const std::string kSize = "width and height have to be from 1 to 99999\n";
const std::string kEye = "fptr has to be 0 or above\n";

const RefusedCase kRefused[] = {
    {"no_width", [](auto& t) { t.set_int("width", 0); }, kSize},
    {"negative_height", [](auto& t) { t.set_int("height", -5); }, kSize},
    {"too_wide", [](auto& t) { t.set_int("width", 100000); }, kSize},
    {"too_many_pixels", [](auto& t) { t.set_size(99999, 99999); }, "the image has more than 268435456 pixels\n"},
    {"eye_behind", [](auto& t) { t.set_real("fptr", -1); }, kEye},
    {"eye_nowhere", [](auto& t) { t.set_real("fptr", std::numeric_limits<double>::quiet_NaN()); }, kEye},
    {"transform",
     [](auto& t) {
         const float few[3] = {};
         host::set_values(host::find(t.instance, "xform.mat"), DTYPE_FLOAT, few, 3);
     },
     "xform is not a transform\n"},
    {"objects_missing", [](auto& t) { host::destroy(host::find(t.instance, "mesh")); }, "objects[0] is not a field\n"},
    {"datamap",
     [](auto& t) {
         t.show({t.make_field("one", {{}, 1, 3, {0, 0, 0}, 1, {1}})});
         const OMobj_id maps = host::create(t.instance, "datamaps", host::Kind::objects, host::Kind::group);
         OMset_array_size(maps, 1);
         host::create(host::find(maps, "[0]"), "min", host::Kind::real);
     },
     "datamaps[0] is not a datamap\n"},
    {"too_many_nodes",  // positions of two corners, and more than memory holds between them
     [](auto& t) {
         t.show({t.make_field("vast", {{100000, 100000}, 0, 2})});
     },
     "objects[0] has too many nodes to be drawn\n"},
    {"no_output", [](auto& t) { host::destroy(host::find(t.instance, "out")); }, "out cannot be written\n"},
};

TEST_F(ViewModule, RefusesWithOneReport) {
    ASSERT_EQ(update(), 1);
    const Picture before = picture();
    for (const RefusedCase& c : kRefused) {
        SCOPED_TRACE(c.name);
        TearDown();
        reports.clear();
        SetUp();
        ASSERT_EQ(update(), 1);
        c.change(*this);
        EXPECT_EQ(update(), 0);
        EXPECT_EQ(reports, std::vector<std::string>{c.report});
        const bool has_output = OMvalid_obj(host::find(instance, "out")) == 1;
        EXPECT_TRUE(!has_output || picture() == before);
        expect_nothing_left();
    }
}

}  // namespace
}  // namespace zam::test
