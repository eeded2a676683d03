// Joystick capture: what counts as a change, when it polls, what the process captures. What the process has captured
// stays captured: each test needs a process of its own, which ctest gives it.
#include <sstream>

#include "tests/joystick/joystick_fixture.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

class JoystickCapture : public JoystickTest {};

TEST_F(JoystickCapture, CapturesOncePerProcess) {
    begin();
    EXPECT_EQ(get("joy1_captured") + get("joy2_captured") + get("event_on"), 0);
    EXPECT_EQ(poll(), 0);
    move(1, kRest);
    ZAM_LIB_QELjoyCapture_update_init(self, 0, 0);
    EXPECT_EQ(get("joy1_captured"), 1);
    EXPECT_EQ(get("joy2_captured"), 0);
    EXPECT_EQ(get("event_on"), 1);
    // that the second joystick was not there has ended the capture of the first
    EXPECT_EQ(platform::capture_joystick(nullptr, 0), 0U);
    move(2, kRest);
    ZAM_LIB_QELjoyCapture_update_init(self, 0, 0);
    EXPECT_EQ(get("joy2_captured"), 1);
    EXPECT_EQ(platform::capture_joystick(nullptr, 0), MMRESULT{JOYERR_NOCANDO});
    // captures outlive the instance, and the joysticks
    end();
    for (const int id : {1, 2}) zam_simulate_joystick(id, nullptr);
    set_int("joy1_captured", 0);
    begin();
    EXPECT_EQ(get("joy1_captured"), 1);
    EXPECT_EQ(get("event_on"), 0);  // but nothing is read
}

TEST_F(JoystickCapture, ComparesWithTheRestPosition) {
    for (const auto& one : load_text_cases(ZAM_TEST_DATA "/moves.test", ">=")) {
        std::istringstream words(one.text('>'));
        std::string threshold;
        words >> threshold;
        Position position = kRest;
        for (std::string word; words >> word;)
            position[std::string_view("xyzruvpb").find(word[0])] =
                static_cast<std::uint32_t>(std::stoul(word.substr(1)));
        set_real("threshold", std::stod(threshold));
        move(1, kRest);
        begin();
        poll();  // the first may report the throttle
        std::string changed = std::to_string(poll());
        move(1, position);
        for (int i = 0; i < 3; ++i) changed += std::to_string(poll());
        move(1, kRest);
        for (int i = 0; i < 2; ++i) changed += std::to_string(poll());
        EXPECT_EQ(changed, one.list('=')[0]) << one.name;
        end();
    }
}

TEST_F(JoystickCapture, ComparesButtonsWithThoseAtTheStart) {
    Position position = kRest;
    const std::pair<std::uint32_t, int> cases[] = {{3, 0}, {5, 1}, {3, 0}, {7, 1}, {0, 1}, {3, 0}};
    for (const auto& [buttons, changed] : cases) {
        position[7] = buttons;
        move(1, position);
        if (!self) begin();
        EXPECT_EQ(poll(), changed) << buttons;
    }
}

TEST_F(JoystickCapture, ReportsTheThrottleFromNoughtAtTheStart) {
    move(1, kRest);
    begin();
    EXPECT_EQ(get("changed"), 1);
    const int before = host::stamp(host::find(instance, "changed"));
    EXPECT_EQ(poll(), 0);
    move(1, {0, 0, 32767, 0, 0, 0, 0, 0});
    EXPECT_EQ(poll(), 1);
    const int first = host::stamp(host::find(instance, "changed"));
    EXPECT_EQ(poll(), 1);
    EXPECT_LT(before, first);
    EXPECT_LT(first, host::stamp(host::find(instance, "changed")));  // set anew
}

TEST_F(JoystickCapture, ReadsTheJoystickChosen) {
    move(1, {1, 0, 0, 0, 0, 0, 0, 0});
    move(2, {2, 0, 0, 0, 0, 0, 0, 0});
    for (const auto& [joystick, x] : {std::pair(1, 1U), {2, 2U}, {0, 1U}, {7, 1U}, {-1, 1U}}) {
        set_int("joystick", joystick);
        begin();
        EXPECT_EQ(record("ref_info")->dwXpos, x) << joystick;
        move(joystick == 2 ? 2 : 1, {60000, 0, 0, 0, 0, 0, 0, 0});
        EXPECT_EQ(poll(), joystick == 0 ? 0 : 1) << joystick;
        EXPECT_EQ(record("cur_info")->dwXpos, joystick == 0 ? x : 60000) << joystick;
        move(1, {1, 0, 0, 0, 0, 0, 0, 0});
        set_int("changed", 0);
        end();
        EXPECT_EQ(record("cur_info"), nullptr);
    }
}

TEST_F(JoystickCapture, PollsWhileActive) {
    move(1, kRest);
    begin();
    const auto set_and_update = [this](const char* name, int value) {
        set_int(name, value);
        EXPECT_EQ(ZAM_LIB_QELjoyCapture_update_event(self, 0, 0), 1);
        return host::next_due().value_or(-1);
    };
    EXPECT_EQ(host::next_due(), 10);
    EXPECT_EQ(set_and_update("interval", 25), 25);
    EXPECT_EQ(get("event_interval"), 25);
    EXPECT_EQ(set_and_update("active", 2), -1);
    EXPECT_EQ(set_and_update("active", 1), 25);
    EXPECT_EQ(set_and_update("active", 0), -1);
    EXPECT_EQ(get("event_on"), 0);
    EXPECT_EQ(set_and_update("interval", -5), -1);
    EXPECT_EQ(set_and_update("active", 1), 1);
    // parameters that are the instance's own, changed from outside: no registration is left
    EXPECT_EQ(set_and_update("event_on", 0), 1);
    EXPECT_EQ(set_and_update("event_interval", 99), 1);
    set_int("event_on", 0);
    end();
    EXPECT_FALSE(host::next_due());
}

TEST_F(JoystickCapture, LivesWithWhatIsNotThere) {
    move(1, kRest);
    set_int("owner_wnd", 5);  // not a pointer
    begin();
    EXPECT_EQ(poll(), 0);
    for (const char* name : {"ref_info", "cur_info", "active", "threshold", "joystick", "interval", "event_on"}) {
        if (host::kind(host::find(instance, name)) == host::Kind::pointer) {
            OMset_name_ptr_val(instance, OMstr_to_name(name), this, 0);
            ZAM_LIB_QELjoyCapture_update_init(self, 0, 0);
        }
        host::destroy(host::find(instance, name));
        for (auto* method :
             {ZAM_LIB_QELjoyCapture_update_init, ZAM_LIB_QELjoyCapture_update_event, ZAM_LIB_QELjoyCapture_update_pos})
            EXPECT_EQ(method(self, 0, 0), 1) << name;
    }
    end();
    void* fresh = ZAM_LIB_QELjoyCapture_create(instance);
    EXPECT_EQ(ZAM_LIB_QELjoyCapture_inst(fresh, 0, 0), 0);
    EXPECT_EQ(reports, std::vector<std::string>{"QELjoyCapture: Failure allocating position records"});
    ZAM_LIB_QELjoyCapture_destroy(fresh);
}

}  // namespace
}  // namespace zam::test
