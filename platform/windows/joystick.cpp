#include "platform/joystick.h"

namespace zam::platform {

bool simulate_joystick(unsigned /*id*/, const JoystickState* /*state*/) { return false; }

}  // namespace zam::platform
