// Joysticks by number: SDL's devices as positions, plugging in and out, simulated ones before devices.
#include <SDL.h>

#include <csignal>
#include <filesystem>

#include "platform/joystick.h"
#include "tests/joystick/joystick_fixture.h"

namespace zam::test {
namespace {

/// A device of SDL's, plugged in for as long as a test wants it.
class Device {
public:
    Device(int axes, int buttons, int hats) {
        SDL_InitSubSystem(SDL_INIT_JOYSTICK);
        const int index = SDL_JoystickAttachVirtual(SDL_JOYSTICK_TYPE_UNKNOWN, axes, buttons, hats);
        joystick = SDL_JoystickOpen(index);
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;
    ~Device() { unplug(); }
    void unplug() {
        if (!joystick) return;
        for (int i = 0; i < SDL_NumJoysticks(); ++i) {
            if (SDL_JoystickGetDeviceInstanceID(i) == SDL_JoystickInstanceID(joystick)) SDL_JoystickDetachVirtual(i);
        }
        SDL_JoystickClose(joystick);
        joystick = nullptr;
    }
    SDL_Joystick* joystick = nullptr;
};

JOYINFOEX asking_for(std::uint32_t flags) {
    JOYINFOEX info{};
    info.dwSize = sizeof info;
    info.dwFlags = flags;
    return info;
}

constexpr Position kUnread{99999};

Position position(unsigned id) {
    JOYINFOEX info = asking_for(JOY_RETURNALL);
    info.dwZpos = 7;  // whatever was there
    if (platform::read_joystick(id, info) != 0) return kUnread;
    return {info.dwXpos, info.dwYpos, info.dwZpos, info.dwRpos, info.dwUpos, info.dwVpos, info.dwPOV, info.dwButtons};
}

TEST(Joystick, StartsQuietlyWithoutDevices) {
    JOYINFOEX info = asking_for(JOY_RETURNALL);
    EXPECT_EQ(joyGetPosEx(0, &info), MMRESULT{JOYERR_UNPLUGGED});
    EXPECT_EQ(joySetCapture(nullptr, 1, 0, 0), MMRESULT{JOYERR_UNPLUGGED});
    EXPECT_EQ(joyReleaseCapture(0), 0U);
    EXPECT_EQ(joyGetPosEx(2, &info), MMRESULT{JOYERR_PARMS});
    EXPECT_EQ(joySetCapture(nullptr, 2, 0, 0), MMRESULT{JOYERR_PARMS});
    EXPECT_EQ(joyReleaseCapture(4000000000U), MMRESULT{JOYERR_PARMS});
    EXPECT_EQ(joyGetPosEx(0, nullptr), MMRESULT{MMSYSERR_INVALPARAM});
    info.dwSize = 51;
    EXPECT_EQ(joyGetPosEx(0, &info), MMRESULT{JOYERR_PARMS});
    struct sigaction action {};
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    const std::filesystem::directory_iterator threads("/proc/self/task");
    EXPECT_EQ(std::distance(begin(threads), end(threads)), 1);
    EXPECT_EQ(SDL_WasInit(SDL_INIT_VIDEO), 0U);
}

TEST(Joystick, ReadsDevices) {
    const Device device(7, 40, 1);
    const Device small(2, 1, 0);
    for (const int at : {-32768, -1, 0, 1, 12345, 32767}) {
        for (int axis = 0; axis < 7; ++axis)
            SDL_JoystickSetVirtualAxis(device.joystick, axis, static_cast<Sint16>(at / (axis + 1)));
        const Position read = position(0);
        for (int axis = 0; axis < 6; ++axis)
            EXPECT_EQ(static_cast<int>(read[static_cast<std::size_t>(axis)]), 32768 + at / (axis + 1));
    }
    const int hats[][2] = {{0, 65535}, {1, 0},      {3, 4500},  {2, 9000},  {6, 13500},
                           {4, 18000}, {12, 22500}, {8, 27000}, {9, 31500}, {5, 65535}};
    for (const auto& [hat, angle] : hats) {
        SDL_JoystickSetVirtualHat(device.joystick, 0, static_cast<Uint8>(hat));
        JOYINFOEX info = asking_for(JOY_RETURNPOV);
        info.dwXpos = 7;
        joyGetPosEx(0, &info);
        EXPECT_EQ(static_cast<int>(info.dwPOV), angle);
        EXPECT_EQ(info.dwXpos, 7U);  // not asked for
    }
    for (const int button : {0, 5, 31, 33}) SDL_JoystickSetVirtualButton(device.joystick, button, 1);
    JOYINFOEX info = asking_for(JOY_RETURNBUTTONS);
    joyGetPosEx(0, &info);
    EXPECT_EQ(info.dwButtons, 0x80000021U);
    EXPECT_EQ(info.dwButtonNumber, 3U);
    EXPECT_EQ(position(1), (Position{32768, 32768, 0, 0, 0, 0, 65535, 0}));  // axes and a hat that the device lacks
}

TEST(Joystick, KeepsNumbersWhilePluggedIn) {
    Device a(2, 0, 0);
    const Device b(2, 0, 0);
    SDL_JoystickSetVirtualAxis(a.joystick, 0, 10);
    SDL_JoystickSetVirtualAxis(b.joystick, 0, 20);
    EXPECT_EQ(position(1)[0], 32788U);
    EXPECT_EQ(position(0)[0], 32778U);
    EXPECT_EQ(joySetCapture(nullptr, 0, 0, 0), 0U);
    EXPECT_EQ(joySetCapture(nullptr, 0, 0, 0), MMRESULT{JOYERR_NOCANDO});
    a.unplug();
    EXPECT_EQ(position(0), kUnread);
    EXPECT_EQ(position(1)[0], 32788U);
    EXPECT_EQ(joySetCapture(nullptr, 0, 0, 0), MMRESULT{JOYERR_UNPLUGGED});
    const Device c(2, 0, 0);
    EXPECT_EQ(position(0)[0], 32768U);  // takes the free number, not yet captured
    EXPECT_EQ(joySetCapture(nullptr, 0, 0, 0), 0U);
    // a simulated joystick covers the device of its number and no other
    const Position state{1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(zam_simulate_joystick(1, state.data()), 1);
    EXPECT_EQ(position(0), state);
    EXPECT_EQ(position(1)[0], 32788U);
    EXPECT_EQ(zam_simulate_joystick(1, nullptr), 1);
    EXPECT_EQ(position(0)[0], 32768U);
}

TEST(Joystick, SimulatedPositionsComeBackExactly) {
    for (const int id : {0, 3, -2147483647}) EXPECT_EQ(zam_simulate_joystick(id, nullptr), 0) << id;
    Device device(6, 4, 1);
    for (std::uint32_t value = 0; value < 65536; value += value < 65000 ? 7 : 1) {
        const Position state{value,     65535 - value, value / 2,     value / 3,
                             value / 5, value / 7,     value ^ 0xFFU, value * 65537U};
        ASSERT_EQ(zam_simulate_joystick(2, state.data()), 1);
        ASSERT_EQ(position(1), state);
    }
    EXPECT_EQ(position(0)[0], 32768U);  // the device still has its number
    device.unplug();
    SDL_Quit();  // by somebody else in the process, who then starts it anew
    const Device other(6, 4, 1);
    EXPECT_EQ(position(1)[0], 65535U);
    EXPECT_EQ(position(0)[0], 32768U);
}

}  // namespace
}  // namespace zam::test
