// The module library: where it lies, and its entries by name. The only place that knows how the system loads libraries.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "contract/types.h"

namespace zam::session {

/// An entry of a module: instance, event mask, sequence number.
using Entry = int (*)(OMobj_id, unsigned, int);

/// What a class exports: making the module's side of an object, ending it, and each method.
using CreateEntry = void* (*)(OMobj_id object);
using DestroyEntry = void (*)(void* self);
using MethodEntry = int (*)(void* self, unsigned, int);

/// Sets the state of simulated joystick 1 or 2: x y z r u v pov buttons, as the operating system reports them; null
/// unplugs it. Gives 1, or 0 if that cannot be done.
using SimulateJoystick = int (*)(int id, const std::uint32_t* state);

/// Where the module library and its definition files lie: the directory that ZAM_MODULE_PATH names, else beside the
/// program or library that this is part of, in a build tree as when installed.
struct Installation {
    std::string library;
    std::string definitions;
};
Installation find_installation();
/// The same for a directory that holds both.
Installation installation_in(const std::string& directory);

class ModuleLibrary {
public:
    /// Loads a library at once, with everything it imports.
    /// @param error  receives what went wrong
    /// @return null if it cannot be loaded
    static std::unique_ptr<ModuleLibrary> load(const std::string& file, std::string& error);

    ModuleLibrary(const ModuleLibrary&) = delete;
    ModuleLibrary& operator=(const ModuleLibrary&) = delete;

    /// The entry of that name, of the library or of the host itself; null if neither exports it.
    Entry find(const std::string& name) const;
    /// The same for other forms of functions.
    template <class Function>
    Function find_as(const std::string& name) const {
        return reinterpret_cast<Function>(symbol(name.c_str()));
    }

    /// Null if the library has no joysticks.
    SimulateJoystick simulate_joystick() const;

private:
    explicit ModuleLibrary(void* handle) : handle_(handle) {}
    void* symbol(const char* name) const;

    void* handle_;  // never closed: the host may still call functions that modules registered
};

}  // namespace zam::session
