#include "modules/zam/joystick/simulated_joystick.h"

#include "platform/joystick.h"

int zam_simulate_joystick(int id, const std::uint32_t* state) {
    if (id < 1) return 0;
    const auto number = static_cast<unsigned>(id - 1);
    if (!state) return zam::platform::simulate_joystick(number, nullptr) ? 1 : 0;
    const zam::platform::JoystickState position{state[0], state[1], state[2], state[3],
                                                state[4], state[5], state[6], state[7]};
    return zam::platform::simulate_joystick(number, &position) ? 1 : 0;
}
