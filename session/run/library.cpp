#include "session/run/library.h"

#include <cstdlib>
#include <filesystem>

#include "base/file_path.h"
#include "base/own_file.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace zam::session {
namespace {

namespace fs = std::filesystem;

#if defined(_WIN32)
constexpr const char* kLibraryName = "zam_modules.dll";
constexpr const char* kLibraryDirectory = "bin";

void* open_library(const std::string& file, std::string& error) {
    auto* handle = reinterpret_cast<void*>(LoadLibraryW(file_path(file).c_str()));
    if (!handle) error = file + ": system error " + std::to_string(GetLastError());
    return handle;
}

void* find_symbol(void* handle, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(handle), name));
}

void* find_own_symbol(const char* name) {
    return find_symbol(reinterpret_cast<void*>(GetModuleHandleA("zam_host.dll")), name);
}
#else
constexpr const char* kLibraryName = "libzam_modules.so";
constexpr const char* kLibraryDirectory = "lib";

/// Lets libraries that are loaded from now on find the host's operations, also where a program has loaded the host for
/// itself alone.
void share_host() {
    Dl_info info{};
    void* const operation = dlsym(RTLD_DEFAULT, "ARRalloc_f");
    if (operation && dladdr(operation, &info) != 0) dlopen(info.dli_fname, RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD);
}

void* open_library(const std::string& file, std::string& error) {
    share_host();
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) error = dlerror();
    return handle;
}

void* find_symbol(void* handle, const char* name) { return dlsym(handle, name); }

void* find_own_symbol(const char* name) { return dlsym(RTLD_DEFAULT, name); }
#endif

}  // namespace

Installation find_installation() {
    if (const char* path = std::getenv("ZAM_MODULE_PATH"); path && *path) return installation_in(path);
    const fs::path base = own_file().parent_path().parent_path();
    return {(base / kLibraryDirectory / kLibraryName).string(), (base / "share" / "zam" / "modules").string()};
}

Installation installation_in(const std::string& directory) {
    return {(file_path(directory) / kLibraryName).string(), directory};
}

std::unique_ptr<ModuleLibrary> ModuleLibrary::load(const std::string& file, std::string& error) {
    void* handle = open_library(file, error);
    return handle ? std::unique_ptr<ModuleLibrary>(new ModuleLibrary(handle)) : nullptr;
}

void* ModuleLibrary::symbol(const char* name) const {
    void* found = find_symbol(handle_, name);
    return found ? found : find_own_symbol(name);
}

Entry ModuleLibrary::find(const std::string& name) const { return reinterpret_cast<Entry>(symbol(name.c_str())); }

SimulateJoystick ModuleLibrary::simulate_joystick() const {
    return reinterpret_cast<SimulateJoystick>(find_symbol(handle_, "zam_simulate_joystick"));
}

}  // namespace zam::session
