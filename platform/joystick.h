// Joysticks by number, as 64-bit Windows offers them: there the system's own, elsewhere the same calls over SDL 2.
//
// Joystick 0 is the first, 1 the second; which device that is stays as it is until the device goes. Nothing happens
// before the first call. Nothing here needs a window, a display or a device.
#pragma once

#include <cstdint>

#if defined(_WIN32)
#if !defined(NOMINMAX)
#define NOMINMAX  // min and max are the standard library's
#endif
// clang-format off
#include <windows.h>
#include <mmsystem.h>
// clang-format on
#else

using MMRESULT = std::uint32_t;
using HWND = void*;

enum : MMRESULT {
    JOYERR_NOERROR = 0,
    MMSYSERR_NODRIVER = 6,     // no SDL, or it has no joysticks here
    MMSYSERR_INVALPARAM = 11,  // no record
    JOYERR_PARMS = 165,        // no joystick can have that number, or the record has another size
    JOYERR_NOCANDO = 166,      // captured already
    JOYERR_UNPLUGGED = 167
};

/// What the flags word of a record asks for; each bit one member or two.
enum : std::uint32_t {
    JOY_RETURNX = 0x01,
    JOY_RETURNY = 0x02,
    JOY_RETURNZ = 0x04,
    JOY_RETURNR = 0x08,
    JOY_RETURNU = 0x10,
    JOY_RETURNV = 0x20,
    JOY_RETURNPOV = 0x40,
    JOY_RETURNBUTTONS = 0x80,
    JOY_RETURNALL = 0xFF
};

enum : std::uint32_t { JOY_POVCENTERED = 65535 };

struct JOYINFOEX {
    std::uint32_t dwSize;   // 52, set by the caller
    std::uint32_t dwFlags;  // what to return, set by the caller
    std::uint32_t dwXpos;   // axes: 0 to 65535, 0 for one that the device lacks
    std::uint32_t dwYpos;
    std::uint32_t dwZpos;
    std::uint32_t dwRpos;
    std::uint32_t dwUpos;
    std::uint32_t dwVpos;
    std::uint32_t dwButtons;       // bit i: button i is pressed
    std::uint32_t dwButtonNumber;  // how many are pressed
    std::uint32_t dwPOV;           // hundredths of a degree, clockwise from up; JOY_POVCENTERED
    std::uint32_t dwReserved1;
    std::uint32_t dwReserved2;
};

/// Takes a joystick for a window. Reading does not need it.
/// @param window  not looked at here, may be null
/// @param id      0 or 1
/// @param period, changed_only  0; no messages are sent
/// @return 0, or why not: JOYERR_UNPLUGGED, JOYERR_NOCANDO, JOYERR_PARMS, MMSYSERR_NODRIVER
MMRESULT joySetCapture(HWND window, unsigned id, unsigned period, int changed_only);

/// Ends a capture, if there is one.
MMRESULT joyReleaseCapture(unsigned id);

/// Reads where a joystick stands now. Members that the flags do not ask for stay as they are, all of them after a
/// failure.
MMRESULT joyGetPosEx(unsigned id, JOYINFOEX* info);

#endif

static_assert(sizeof(JOYINFOEX) == 52);

namespace zam::platform {

/// The state of a simulated joystick, in the units of JOYINFOEX.
struct JoystickState {
    std::uint32_t x, y, z, r, u, v;  // 0 to 65535, larger values count as 65535
    std::uint32_t pov;               // likewise
    std::uint32_t buttons;
};

/// Puts a simulated joystick in the place of joystick `id`, 0 or 1, whether or not a device has that number, and moves
/// it; null takes it away, and its capture with it. Other numbers give false.
bool simulate_joystick(unsigned id, const JoystickState* state);

/// joySetCapture without messages, joyReleaseCapture and joyGetPosEx for simulated joysticks too.
MMRESULT capture_joystick(HWND window, unsigned id);
MMRESULT release_joystick(unsigned id);
MMRESULT read_joystick(unsigned id, JOYINFOEX& info);

}  // namespace zam::platform
