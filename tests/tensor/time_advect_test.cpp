// Time advection: what each step writes and hands on, and what stops it silently.
#include "modules/zam/time_advect.h"
#include "tests/support/module_test.h"

namespace zam::test {
namespace {

constexpr float kTurn[16] = {0, 1, 0, 0, -1, 0,  0,  0,
                             0, 0, 2, 0, 99, 99, 99, 1};  // about z; its translation is not used

class TimeAdvect : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        for (const char* name : {"total_step", "current_step"}) set_int(name, 0);
        set_text("current_step_label", "");
        time = host::create(instance, "time", host::Kind::array);
        out = host::create(instance, "out_probe", host::Kind::field);
        set_real("out_time", -5);
        const std::vector<float> times{10, 20, 30};
        host::set_values(time, DTYPE_FLOAT, times.data(), 3);
        const std::vector<float> shift{100, 200, 300};
        const std::vector<float> center{1, 2, 3};
        host::set_field_xform(make_field("in_probe", {{}, 2, 3, {1, 2, 3, 2, 2, 4}}), kTurn, shift, center);
        host::set_field_xform(make_field("in_probe2", {{}, 1, 2, {1, 3}}), kTurn, shift, center);
    }
    /// What the module prints; its result is always 1.
    std::string update(int step, const char* label) const {
        OMset_name_int_val(instance, OMstr_to_name("current_step"), step);
        OMset_name_str_val(instance, OMstr_to_name("current_step_label"), label);
        testing::internal::CaptureStdout();
        EXPECT_EQ(ZAMtime_advect(instance, 0, 0), 1);
        EXPECT_EQ(reports, std::vector<std::string>());
        return testing::internal::GetCapturedStdout();
    }
    std::vector<float> times() const {
        const auto array = Parameters(instance).floats("time");
        return {array->span().begin(), array->span().end()};
    }

    OMobj_id time{}, out{};
};

TEST_F(TimeAdvect, StartsWithTheSeedsAndGoesOnWithTheParticles) {
    EXPECT_EQ(update(1, "0.5 s"), "");
    EXPECT_EQ(times(), (std::vector<float>{0.5F, 20, 30}));
    EXPECT_EQ(get_real("out_time"), 0);
    EXPECT_EQ(positions(out, FLDget_coord), (std::vector<float>{101, 202, 303, 101, 203, 305}));
    EXPECT_EQ(update(2, (std::string(253, '0') + "1e0").c_str()), "");
    EXPECT_EQ(times(), (std::vector<float>{0.5F, 1, 30}));
    EXPECT_EQ(get_real("out_time"), 0.5);
    EXPECT_EQ(positions(out, FLDget_coord), (std::vector<float>{100, 202, 297}));  // z of a plane is 0
}

TEST_F(TimeAdvect, StopsQuietlyWithoutATime) {
    for (const int step : {0, -1, 4, 2147483647}) {
        EXPECT_EQ(update(step, "7"), "");
        EXPECT_EQ(times(), (std::vector<float>{10, 20, 30}));
    }
    const std::vector<double> wide{1, 2, 3};
    host::set_values(time, DTYPE_DOUBLE, wide.data(), 3);
    EXPECT_EQ(update(2, "7"), "");
    for (const char* name : {"time", "current_step_label", "current_step"}) {
        host::destroy(host::find(instance, name));
        EXPECT_EQ(update(1, "7"), "");
    }
    EXPECT_EQ(get_real("out_time"), -5);
    EXPECT_EQ(positions(out, FLDget_coord), std::vector<float>());
}

TEST_F(TimeAdvect, SaysThatAProbeHasNoPositions) {
    const auto expect_message = [this](const char* what) {
        EXPECT_EQ(update(1, "7"), "Can not get coordinate.\n") << what;
        EXPECT_EQ(get_real("out_time"), -5) << what;
    };
    const std::pair<const char*, FieldContents> probes[] = {{"one component of space", {{}, 2, 1, {1, 2}}},
                                                            {"no nodes", {{}, 0, 3, {}}},
                                                            {"too few coordinates", {{}, 2, 3, {1, 2, 3, 4, 5}}},
                                                            {"no transform", {{}, 1, 3, {1, 2, 3}}}};
    for (const auto& [what, contents] : probes) {
        const OMobj_id probe = make_field("in_probe", contents);
        if (what == std::string("no transform")) {
            host::set_values(host::find(probe, "xform.center"), DTYPE_FLOAT, kTurn, 2);
            expect_message("a short centre");
            host::destroy(host::find(probe, "xform"));
        }
        expect_message(what);
    }
    host::destroy(host::find(instance, "in_probe"));
    expect_message("no probe");
    host::destroy(out);
    EXPECT_EQ(update(2, "7"), "");  // it has positions, and nowhere to hand them to
    EXPECT_EQ(get_real("out_time"), -5);
}

}  // namespace
}  // namespace zam::test
