// Joysticks over SDL 2. A simulated joystick is one of SDL's virtual devices, so it is read like any other.
#include "platform/joystick.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "platform/posix/sdl_library.h"

namespace zam::platform {
namespace {

constexpr int kAxes = 6;
constexpr int kButtons = 32;
// SDL's hats know eight directions, a simulated one may point anywhere: its angle is one more axis.
constexpr int kAngleAxis = kAxes;
constexpr int kAxisOffset = 32768;  // SDL's axes are -32768 to 32767
constexpr std::uint32_t kAxisMax = 65535;

constexpr SDL_JoystickID kNone = -1;

/// The devices of one number. SDL never gives an instance's number again; its pointers end when anybody in the process
/// ends SDL.
struct Place {
    SDL_JoystickID device = kNone;
    SDL_JoystickID simulated = kNone;  // comes before the device
    bool captured = false;

    bool is_empty() const { return device == kNone && simulated == kNone; }
};

class Joysticks {
public:
    /// The one list of the process; null if SDL cannot be had.
    static Joysticks* get();

    static constexpr unsigned kCount = 2;
    /// Place `id`, below kCount, after looking what was plugged in or out and how everything stands.
    Place& refresh(unsigned id);
    /// The simulated joystick of a number, made if needed; null when SDL refuses.
    SDL_Joystick* simulated(unsigned id);
    void take_away(unsigned id);

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
    return std::any_of(places_.begin(), places_.end(),
                       [&](const Place& place) { return place.device == instance || place.simulated == instance; });
}

void Joysticks::drop_unplugged() {
    for (Place& place : places_) {
        for (SDL_JoystickID* instance : {&place.device, &place.simulated}) {
            if (*instance == kNone) continue;
            SDL_Joystick* joystick = sdl.from_instance(*instance);
            if (joystick && sdl.attached(joystick) == SDL_TRUE) continue;
            if (joystick) sdl.close(joystick);
            *instance = kNone;
            place.captured = false;
        }
    }
}

Place& Joysticks::refresh(unsigned id) {
    sdl.update();
    drop_unplugged();
    // a new device takes the lowest free number; those that are there keep theirs
    const int devices = sdl.count();
    for (int i = 0; i < devices; ++i) {
        if (is_known(sdl.device_instance(i))) continue;
        const auto free =
            std::find_if(places_.begin(), places_.end(), [](const Place& p) { return p.device == kNone; });
        if (free == places_.end()) break;
        if (SDL_Joystick* joystick = sdl.open(i)) free->device = sdl.instance(joystick);
    }
    return places_[id];
}

SDL_Joystick* Joysticks::simulated(unsigned id) {
    Place& place = refresh(id);
    if (place.simulated != kNone) return sdl.from_instance(place.simulated);
    const int device = sdl.attach_virtual(SDL_JOYSTICK_TYPE_UNKNOWN, kAxes + 1, kButtons, 0);
    if (device < 0) return nullptr;
    SDL_Joystick* joystick = sdl.open(device);
    if (joystick) {
        place.simulated = sdl.instance(joystick);
    } else {
        sdl.detach_virtual(device);
    }
    return joystick;
}

void Joysticks::take_away(unsigned id) {
    Place& place = refresh(id);
    const SDL_JoystickID instance = std::exchange(place.simulated, kNone);
    if (instance == kNone) return;
    place.captured = false;
    sdl.close(sdl.from_instance(instance));
    for (int i = 0; i < sdl.count(); ++i) {
        if (sdl.device_instance(i) == instance) sdl.detach_virtual(i);
    }
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
    const bool simulated = place.simulated != kNone;
    SDL_Joystick* joystick = sdl.from_instance(simulated ? place.simulated : place.device);
    std::uint32_t* const axes[kAxes] = {&info.dwXpos, &info.dwYpos, &info.dwZpos,
                                        &info.dwRpos, &info.dwUpos, &info.dwVpos};
    for (int axis = 0; axis < kAxes; ++axis) {
        if ((info.dwFlags & (JOY_RETURNX << axis)) != 0) *axes[axis] = axis_position(sdl, joystick, axis);
    }
    if ((info.dwFlags & JOY_RETURNPOV) != 0)
        info.dwPOV = simulated ? axis_position(sdl, joystick, kAngleAxis) : hat_angle(sdl, joystick);
    if ((info.dwFlags & JOY_RETURNBUTTONS) != 0) {
        info.dwButtons = button_mask(sdl, joystick);
        info.dwButtonNumber = static_cast<std::uint32_t>(std::popcount(info.dwButtons));
    }
}

}  // namespace

bool simulate_joystick(unsigned id, const JoystickState* state) {
    Joysticks* joysticks = id < Joysticks::kCount ? Joysticks::get() : nullptr;
    if (!joysticks) return false;
    if (!state) {
        joysticks->take_away(id);
        return true;
    }
    SDL_Joystick* joystick = joysticks->simulated(id);
    if (!joystick) return false;
    const SdlLibrary& sdl = joysticks->sdl;
    const std::uint32_t axes[kAxes + 1] = {state->x, state->y, state->z, state->r, state->u, state->v, state->pov};
    for (int axis = 0; axis <= kAxes; ++axis) {
        const int position = static_cast<int>(std::min(axes[axis], kAxisMax)) - kAxisOffset;
        sdl.set_virtual_axis(joystick, axis, static_cast<Sint16>(position));
    }
    for (int i = 0; i < kButtons; ++i) {
        sdl.set_virtual_button(joystick, i, static_cast<Uint8>((state->buttons >> i) & 1U));
    }
    return true;
}

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
