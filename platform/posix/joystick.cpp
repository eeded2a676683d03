// Joysticks over SDL 2.
#include "platform/joystick.h"

#include <algorithm>
#include <array>
#include <bit>

#include "platform/posix/sdl_library.h"

namespace zam::platform {
namespace {

constexpr int kAxes = 6;
constexpr int kButtons = 32;
constexpr int kAxisOffset = 32768;  // SDL's axes are -32768 to 32767

constexpr SDL_JoystickID kNone = -1;

/// The device of one number. SDL never gives an instance's number again; its pointers end when anybody in the process
/// ends SDL.
struct Place {
    SDL_JoystickID device = kNone;
    bool captured = false;

    bool is_empty() const { return device == kNone; }
};

class Joysticks {
public:
    /// The one list of the process; null if SDL cannot be had.
    static Joysticks* get();

    static constexpr unsigned kCount = 2;
    /// Place `id`, below kCount, after looking what was plugged in or out and how everything stands.
    Place& refresh(unsigned id);

    const SdlLibrary& sdl;

private:
    explicit Joysticks(const SdlLibrary& library) : sdl(library) {}
    bool start();
    bool is_known(SDL_JoystickID instance) const;
    void drop_unplugged();

    std::array<Place, kCount> places_;
};

Joysticks* Joysticks::get() {
    const SdlLibrary* library = sdl_library();
    if (!library) return nullptr;
    static Joysticks joysticks(*library);
    return joysticks.start() ? &joysticks : nullptr;
}

/// Starts SDL's joysticks, anew when somebody has ended them.
bool Joysticks::start() {
    if (sdl.was_init(SDL_INIT_JOYSTICK) != 0) return true;
    sdl.set_hint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    sdl.set_hint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "1");  // whoever's window has the keyboard
    sdl.set_hint(SDL_HINT_JOYSTICK_HIDAPI, "0");  // it would start threads; the kernel's view is enough
    if (sdl.init_subsystem(SDL_INIT_JOYSTICK) != 0) return false;
    sdl.event_state(SDL_IGNORE);  // positions are asked for; a queue that nobody reads would only grow
    return true;
}

bool Joysticks::is_known(SDL_JoystickID instance) const {
    return std::any_of(places_.begin(), places_.end(), [&](const Place& place) { return place.device == instance; });
}

void Joysticks::drop_unplugged() {
    for (Place& place : places_) {
        if (place.is_empty()) continue;
        SDL_Joystick* joystick = sdl.from_instance(place.device);
        if (joystick && sdl.attached(joystick) == SDL_TRUE) continue;
        if (joystick) sdl.close(joystick);
        place = {};
    }
}

Place& Joysticks::refresh(unsigned id) {
    sdl.update();
    drop_unplugged();
    // a new device takes the lowest free number; those that are there keep theirs
    const int devices = sdl.count();
    for (int i = 0; i < devices; ++i) {
        if (is_known(sdl.device_instance(i))) continue;
        const auto free = std::find_if(places_.begin(), places_.end(), [](const Place& p) { return p.is_empty(); });
        if (free == places_.end()) break;
        if (SDL_Joystick* joystick = sdl.open(i)) free->device = sdl.instance(joystick);
    }
    return places_[id];
}

// --- Reading ---

std::uint32_t axis_position(const SdlLibrary& sdl, SDL_Joystick* joystick, int axis) {
    if (axis >= sdl.axis_count(joystick)) return 0;
    return static_cast<std::uint32_t>(sdl.axis(joystick, axis) + kAxisOffset);
}

std::uint32_t hat_angle(const SdlLibrary& sdl, SDL_Joystick* joystick) {
    switch (sdl.hat_count(joystick) > 0 ? sdl.hat(joystick, 0) : SDL_HAT_CENTERED) {
        case SDL_HAT_UP: return 0;
        case SDL_HAT_RIGHTUP: return 4500;
        case SDL_HAT_RIGHT: return 9000;
        case SDL_HAT_RIGHTDOWN: return 13500;
        case SDL_HAT_DOWN: return 18000;
        case SDL_HAT_LEFTDOWN: return 22500;
        case SDL_HAT_LEFT: return 27000;
        case SDL_HAT_LEFTUP: return 31500;
        default: return JOY_POVCENTERED;
    }
}

std::uint32_t button_mask(const SdlLibrary& sdl, SDL_Joystick* joystick) {
    std::uint32_t mask = 0;
    const int buttons = std::min(sdl.button_count(joystick), kButtons);
    for (int i = 0; i < buttons; ++i) mask |= std::uint32_t{sdl.button(joystick, i)} << i;
    return mask;
}

void read(const SdlLibrary& sdl, const Place& place, JOYINFOEX& info) {
    SDL_Joystick* joystick = sdl.from_instance(place.device);
    std::uint32_t* const axes[kAxes] = {&info.dwXpos, &info.dwYpos, &info.dwZpos,
                                        &info.dwRpos, &info.dwUpos, &info.dwVpos};
    for (int axis = 0; axis < kAxes; ++axis) {
        if ((info.dwFlags & (JOY_RETURNX << axis)) != 0) *axes[axis] = axis_position(sdl, joystick, axis);
    }
    if ((info.dwFlags & JOY_RETURNPOV) != 0) info.dwPOV = hat_angle(sdl, joystick);
    if ((info.dwFlags & JOY_RETURNBUTTONS) != 0) {
        info.dwButtons = button_mask(sdl, joystick);
        info.dwButtonNumber = static_cast<std::uint32_t>(std::popcount(info.dwButtons));
    }
}

}  // namespace

}  // namespace zam::platform

using zam::platform::Joysticks;
using zam::platform::Place;

MMRESULT joySetCapture(HWND /*window*/, unsigned id, unsigned /*period*/, int /*changed_only*/) {
    if (id >= Joysticks::kCount) return JOYERR_PARMS;
    Joysticks* joysticks = Joysticks::get();
    if (!joysticks) return MMSYSERR_NODRIVER;
    Place& place = joysticks->refresh(id);
    if (place.is_empty()) return JOYERR_UNPLUGGED;
    if (place.captured) return JOYERR_NOCANDO;
    place.captured = true;
    return JOYERR_NOERROR;
}

MMRESULT joyReleaseCapture(unsigned id) {
    if (id >= Joysticks::kCount) return JOYERR_PARMS;
    Joysticks* joysticks = Joysticks::get();
    if (!joysticks) return MMSYSERR_NODRIVER;
    joysticks->refresh(id).captured = false;
    return JOYERR_NOERROR;
}

MMRESULT joyGetPosEx(unsigned id, JOYINFOEX* info) {
    if (!info) return MMSYSERR_INVALPARAM;
    if (id >= Joysticks::kCount || info->dwSize != sizeof(JOYINFOEX)) return JOYERR_PARMS;
    Joysticks* joysticks = Joysticks::get();
    if (!joysticks) return MMSYSERR_NODRIVER;
    const Place& place = joysticks->refresh(id);
    if (place.is_empty()) return JOYERR_UNPLUGGED;
    read(joysticks->sdl, place, *info);
    return JOYERR_NOERROR;
}
