#include "platform/posix/sdl_library.h"

#include <dlfcn.h>

#include <optional>

namespace zam::platform {
namespace {

/// Never closed: SDL is not made for being unloaded.
void* open_library() {
    for (const char* name : {"libSDL2-2.0.so.0", "libSDL2-2.0.so", "libSDL2.so"}) {
        if (void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL)) return library;
    }
    return nullptr;
}

std::optional<SdlLibrary> load() {
    void* library = open_library();
    if (!library) return std::nullopt;
    SdlLibrary sdl{};
    const auto find = [&]<class Function>(Function*& function, const char* name) {
        function = reinterpret_cast<Function*>(dlsym(library, name));
        return function != nullptr;
    };
    const bool complete = find(sdl.init_subsystem, "SDL_InitSubSystem") && find(sdl.was_init, "SDL_WasInit") &&
                          find(sdl.set_hint, "SDL_SetHint") && find(sdl.event_state, "SDL_JoystickEventState") &&
                          find(sdl.update, "SDL_JoystickUpdate") && find(sdl.count, "SDL_NumJoysticks") &&
                          find(sdl.device_instance, "SDL_JoystickGetDeviceInstanceID") &&
                          find(sdl.instance, "SDL_JoystickInstanceID") &&
                          find(sdl.from_instance, "SDL_JoystickFromInstanceID") && find(sdl.open, "SDL_JoystickOpen") &&
                          find(sdl.close, "SDL_JoystickClose") && find(sdl.attached, "SDL_JoystickGetAttached") &&
                          find(sdl.axis_count, "SDL_JoystickNumAxes") && find(sdl.axis, "SDL_JoystickGetAxis") &&
                          find(sdl.hat_count, "SDL_JoystickNumHats") && find(sdl.hat, "SDL_JoystickGetHat") &&
                          find(sdl.button_count, "SDL_JoystickNumButtons") && find(sdl.button, "SDL_JoystickGetButton");
    return complete ? std::optional(sdl) : std::nullopt;
}

}  // namespace

const SdlLibrary* sdl_library() {
    static const std::optional<SdlLibrary> library = load();
    return library ? &*library : nullptr;
}

}  // namespace zam::platform
