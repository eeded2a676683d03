#include "platform/joystick.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>

namespace zam::platform {
namespace {

constexpr std::uint32_t kLargest = 65535;

struct Simulated {
    std::optional<JoystickState> state;  // none: not plugged in
    bool captured = false;
};

/// The one list of the process.
std::array<Simulated, 2> all_simulated;

/// The simulated joystick that has a number now; null if there is none.
Simulated* simulated(unsigned id) {
    const bool plugged = id < all_simulated.size() && all_simulated[id].state;
    return plugged ? &all_simulated[id] : nullptr;
}

void read(const JoystickState& state, JOYINFOEX& info) {
    const auto give = [&](unsigned flag, auto& member, std::uint32_t value) {
        if ((info.dwFlags & flag) != 0) member = value;
    };
    give(JOY_RETURNX, info.dwXpos, std::min(state.x, kLargest));
    give(JOY_RETURNY, info.dwYpos, std::min(state.y, kLargest));
    give(JOY_RETURNZ, info.dwZpos, std::min(state.z, kLargest));
    give(JOY_RETURNR, info.dwRpos, std::min(state.r, kLargest));
    give(JOY_RETURNU, info.dwUpos, std::min(state.u, kLargest));
    give(JOY_RETURNV, info.dwVpos, std::min(state.v, kLargest));
    give(JOY_RETURNPOV, info.dwPOV, std::min(state.pov, kLargest));
    give(JOY_RETURNBUTTONS, info.dwButtons, state.buttons);
    give(JOY_RETURNBUTTONS, info.dwButtonNumber, static_cast<std::uint32_t>(std::popcount(state.buttons)));
}

}  // namespace

bool simulate_joystick(unsigned id, const JoystickState* state) {
    if (id >= all_simulated.size()) return false;
    if (state) {
        all_simulated[id].state = *state;
    } else {
        all_simulated[id] = {};
    }
    return true;
}

MMRESULT capture_joystick(HWND window, unsigned id) {
    if (Simulated* joystick = simulated(id))
        return std::exchange(joystick->captured, true) ? MMRESULT{JOYERR_NOCANDO} : MMRESULT{JOYERR_NOERROR};
    return joySetCapture(window, id, 0, 0);
}

MMRESULT release_joystick(unsigned id) {
    if (Simulated* joystick = simulated(id)) {
        joystick->captured = false;
        return JOYERR_NOERROR;
    }
    return joyReleaseCapture(id);
}

MMRESULT read_joystick(unsigned id, JOYINFOEX& info) {
    const Simulated* joystick = info.dwSize == sizeof info ? simulated(id) : nullptr;
    if (!joystick) return joyGetPosEx(id, &info);
    read(*joystick->state, info);
    return JOYERR_NOERROR;
}

}  // namespace zam::platform
