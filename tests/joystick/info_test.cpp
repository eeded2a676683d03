// Joystick info: outputs of two positions, what is printed, and links that lead nowhere.
#include <utility>

#include "tests/joystick/joystick_fixture.h"

namespace zam::test {
namespace {

class JoystickInfo : public JoystickTest {
protected:
    void SetUp() override {
        JoystickTest::SetUp();
        move(1, {10000, 32767, 0, 65535, 1, 2, 65535, 0});
        begin();
        capture = std::exchange(instance, host::create(host::root(), "info", host::Kind::group));
        for (const char* name :
             {"verbose", "updated", "btn_num", "btn_1", "btn_2", "btn_3", "btn_4", "btn_5", "btn_6", "btn_7", "btn_8"})
            set_int(name, 0);
        for (const char* name : kAxes) set_real(name, -5);
        set_real("axis_scale", 1.0);
        set_int("btn_count", 8);
        host::set_values(host::create(instance, "buttons", host::Kind::array), DTYPE_INT, nullptr, 0);
        link("ref_link", "ref_info");
        link("cur_link", "cur_info");
        viewer = ZAM_LIB_QELjoyInfoEx_create(instance);
        EXPECT_EQ(ZAM_LIB_QELjoyInfoEx_inst(viewer, 0, 0), 1);
    }
    void TearDown() override {
        EXPECT_EQ(ZAM_LIB_QELjoyInfoEx_deinst(viewer, 0, 0), 1);
        ZAM_LIB_QELjoyInfoEx_destroy(viewer);
        JoystickTest::TearDown();
    }
    void link(const char* name, const char* to) const {
        OMset_obj_ref(host::create(instance, name, host::Kind::unset), host::find(capture, to));
    }
    /// What the update prints; its result is always 1.
    std::string update() const {
        testing::internal::CaptureStderr();
        EXPECT_EQ(ZAM_LIB_QELjoyInfoEx_update_info(viewer, 0, 0), 1);
        return testing::internal::GetCapturedStderr();
    }
    std::vector<double> axes() const {
        std::vector<double> values;
        for (const char* name : kAxes) values.push_back(get_real(name));
        return values;
    }
    /// `buttons` and btn_1 to btn_8 as digits.
    std::string buttons() const {
        std::string digits;
        const auto array = Parameters(instance).floats("buttons");
        for (const float button : array->span()) digits += std::to_string(static_cast<int>(button));
        digits += " ";
        for (int i = 1; i <= 8; ++i) digits += std::to_string(get("btn_" + std::to_string(i)));
        return digits;
    }

    static constexpr const char* kAxes[] = {"x_pos", "y_pos", "z_pos", "r_pos", "u_pos", "v_pos", "pov"};
    OMobj_id capture{};
    void* viewer = nullptr;
};

TEST_F(JoystickInfo, ShowsDeflections) {
    move(1, {10000 + 13107, 19660, 65535, 0, 1, 5, 27000, 0x80000082});
    poll();
    EXPECT_EQ(update(), "");
    EXPECT_EQ(axes(), (std::vector<double>{0.2, -13107 / 65535.0, 1, -1, 0, 3 / 65535.0, 27000}));
    EXPECT_EQ(get("btn_num"), 3);
    EXPECT_EQ(get("updated"), 1);
    set_real("axis_scale", -45.5);
    set_int("verbose", 1);
    EXPECT_EQ(update(),
              "-- joystick info ex --\n"
              "dwXpos    = 23107 (10000)\ndwYpos    = 19660 (32767)\ndwZpos    = 65535 (0)\n"
              "dwRpos    = 0 (65535)\ndwUpos    = 1 (1)\ndwVpos    = 5 (2)\n"
              "dwButtonNum = 3 (0)\ndwButtons = -2147483518 (0)\ndwPOV     = 27000 (65535)\n");
    EXPECT_EQ(axes()[0], 13107.0 * -45.5 / 65535.0);
}

TEST_F(JoystickInfo, ShowsButtons) {
    move(1, {10000, 32767, 0, 65535, 1, 2, 65535, 0x80000082});
    poll();
    const std::string mask = "01000001000000000000000000000001";
    const std::pair<int, std::string> cases[] = {
        {8, "01000001 01000001"},         {3, "010 01000000"}, {0, " 00000000"},
        {40, mask + "01000001 01000001"}, {-7, " 00000000"},   {33, mask + "0 01000001"},
    };
    for (const auto& [count, shown] : cases) {
        set_int("btn_count", count);
        update();
        EXPECT_EQ(buttons(), shown) << count;
    }
    set_int("btn_count", 2147483647);
    update();
    EXPECT_EQ(buttons().size(), 65536U + 9U);
    const float wrong[2] = {1, 2};  // an array that is not of ints is left alone
    host::set_values(host::create(instance, "buttons", host::Kind::array), DTYPE_FLOAT, wrong, 2);
    set_int("btn_count", 2);
    update();
    EXPECT_EQ(get("btn_2"), 1);
}

TEST_F(JoystickInfo, ReadsNothingWithoutBothRecords) {
    const std::vector<double> untouched(7, -5.0);
    alignas(JOYINFOEX) static const char text[52] = "no record";
    const auto expect_untouched = [&](const char* what) {
        set_int("btn_3", 1);
        EXPECT_EQ(update(), "") << what;
        EXPECT_EQ(axes(), untouched) << what;
        EXPECT_EQ(get("updated"), 0) << what;
        EXPECT_EQ(get("btn_3"), 0) << what;
    };
    set_int("verbose", 1);
    OMset_ptr_val(host::create(instance, "cur_link", host::Kind::pointer), const_cast<char*>(text));
    expect_untouched("a pointer to something else");
    host::destroy(host::find(instance, "cur_link"));
    expect_untouched("one link");
    host::destroy(host::find(instance, "ref_link"));
    expect_untouched("no link");
    link("ref_link", "ref_info");
    link("cur_link", "active");
    expect_untouched("no pointer");
    link("cur_link", "cur_info");
    end();
    expect_untouched("a capture that has ended");
}

}  // namespace
}  // namespace zam::test
