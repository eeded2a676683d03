// Instances of the joystick classes in the embedded host, with a simulated joystick to move.
#pragma once

#include <array>
#include <string>

#include "modules/zam/joystick/QELjoyCapture.h"
#include "modules/zam/joystick/QELjoyInfoEx.h"
#include "modules/zam/joystick/simulated_joystick.h"
#include "tests/support/module_test.h"

namespace zam::test {

using Position = std::array<std::uint32_t, 8>;  // x y z r u v pov buttons
constexpr Position kRest{32767, 32767, 32767, 32767, 32767, 32767, 65535, 0};

class JoystickTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        for (const char* name : {"active", "joystick", "interval", "event_interval", "event_on", "joy1_captured",
                                 "joy2_captured", "changed"})
            set_int(name, 0);
        for (const char* name : {"ref_info", "cur_info"}) host::create(instance, name, host::Kind::pointer);
        set_int("active", 1);
        set_int("joystick", 1);
        set_int("interval", 10);
        set_real("threshold", 0.1);
    }
    void TearDown() override {
        end();
        for (const int id : {1, 2}) zam_simulate_joystick(id, nullptr);
        ModuleTest::TearDown();
    }

    void begin() {
        self = ZAM_LIB_QELjoyCapture_create(instance);
        EXPECT_EQ(ZAM_LIB_QELjoyCapture_inst(self, 0, 0), 1);
    }
    void end() {
        if (!self) return;
        EXPECT_EQ(ZAM_LIB_QELjoyCapture_deinst(self, 0, 0), 1);
        ZAM_LIB_QELjoyCapture_destroy(self);
        self = nullptr;
    }
    static void move(int id, const Position& position) { zam_simulate_joystick(id, position.data()); }
    /// One polling interval passes. @return `changed` then
    int poll() const {
        host::advance(10);
        return get("changed");
    }
    const JOYINFOEX* record(const char* name) const {
        void* pointer = nullptr;
        OMget_name_ptr_val(instance, OMstr_to_name(name), &pointer, 0);
        return static_cast<const JOYINFOEX*>(pointer);
    }

    void* self = nullptr;
};

}  // namespace zam::test
