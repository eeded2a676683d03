// The module library: where it lies, and its entries by name. The only place that knows how the system loads libraries.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/ranks.h"
#include "contract/types.h"
#include "session/network/definitions.h"

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

/// Where the modules lie.
struct Installation {
    std::string library;               // of the built-in modules
    std::string definitions;           // directory of their definitions
    std::vector<std::string> plugins;  // directories of further modules, each with definitions and libraries
};
/// The built-in modules beside the program or library that this is part of, in a build tree as when installed.
/// @param plugins  a list of directories, with ":" between them (on Windows ";"); empty: that of ZAM_MODULE_PATH
Installation find_installation(const std::string& plugins = {});

/// The definitions of all modules: built in, of the host, of plug-ins.
/// @param problems  of the built-in ones
/// @param left_out  receives one line per file of a plug-in that is no good
Definitions load_definitions(const Installation& installation, Problems& problems, std::vector<std::string>& left_out);

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
    /// Lends the library's joint modules the ranks that call them, or null. Nothing happens if it has none.
    void use_ranks(Ranks* ranks) const;

private:
    explicit ModuleLibrary(void* handle) : handle_(handle) {}
    void* symbol(const char* name) const;

    void* handle_;  // never closed: the host may still call functions that modules registered
};

}  // namespace zam::session
