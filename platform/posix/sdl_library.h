// The functions of SDL 2 that joysticks need, found when the first joystick is asked for: linking the library would
// bring its sound and window systems into every program that never asks.
#pragma once

#include <SDL.h>

namespace zam::platform {

struct SdlLibrary {
    decltype(&SDL_InitSubSystem) init_subsystem;
    decltype(&SDL_WasInit) was_init;
    decltype(&SDL_SetHint) set_hint;
    decltype(&SDL_JoystickEventState) event_state;
    decltype(&SDL_JoystickUpdate) update;
    decltype(&SDL_NumJoysticks) count;
    decltype(&SDL_JoystickGetDeviceInstanceID) device_instance;
    decltype(&SDL_JoystickInstanceID) instance;
    decltype(&SDL_JoystickFromInstanceID) from_instance;
    decltype(&SDL_JoystickOpen) open;
    decltype(&SDL_JoystickClose) close;
    decltype(&SDL_JoystickGetAttached) attached;
    decltype(&SDL_JoystickNumAxes) axis_count;
    decltype(&SDL_JoystickGetAxis) axis;
    decltype(&SDL_JoystickNumHats) hat_count;
    decltype(&SDL_JoystickGetHat) hat;
    decltype(&SDL_JoystickNumButtons) button_count;
    decltype(&SDL_JoystickGetButton) button;
};

/// The library, loaded at the first call; null if there is none, or one too old to have all of the functions.
const SdlLibrary* sdl_library();

}  // namespace zam::platform
