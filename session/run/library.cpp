#include "session/run/library.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

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
constexpr char kListSeparator = ';';

void* open_library(const std::string& file, std::string& error) {
    // what lies beside a plug-in is found too
    const auto path = fs::absolute(file_path(file));
    auto* handle = reinterpret_cast<void*>(LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
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
constexpr char kListSeparator = ':';

/// Lets libraries that are loaded from now on find the host's operations, also where a program has loaded the host for
/// itself alone.
void share_host() {
    Dl_info info{};
    void* const operation = dlsym(RTLD_DEFAULT, "ARRalloc_f");
    if (operation && dladdr(operation, &info) != 0) dlopen(info.dli_fname, RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD);
}

void* open_library(const std::string& file, std::string& error) {
    share_host();
    void* handle = dlopen(fs::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL);  // others would be searched for
    if (!handle) error = dlerror();
    return handle;
}

void* find_symbol(void* handle, const char* name) { return dlsym(handle, name); }

void* find_own_symbol(const char* name) { return dlsym(RTLD_DEFAULT, name); }
#endif

/// The directories that a list names; empty names are none.
std::vector<std::string> split_list(const std::string& list) {
    std::vector<std::string> directories;
    std::istringstream rest(list);
    for (std::string directory; std::getline(rest, directory, kListSeparator);) {
        if (!directory.empty()) directories.push_back(directory);
    }
    return directories;
}

}  // namespace

Installation find_installation(const std::string& plugins) {
    const fs::path base = own_file().parent_path().parent_path();
    const char* const path = std::getenv("ZAM_MODULE_PATH");
    return {.library = (base / kLibraryDirectory / kLibraryName).string(),
            .definitions = (base / "share" / "zam" / "modules").string(),
            .plugins = split_list(plugins.empty() && path ? path : plugins)};
}

Definitions load_definitions(const Installation& installation, Problems& problems, std::vector<std::string>& left_out) {
    auto definitions = Definitions::load(installation.definitions, problems);
    definitions.add_host_entries(problems);
    for (const auto& directory : installation.plugins) definitions.add_plugins(directory, left_out);
    return definitions;
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

void ModuleLibrary::use_ranks(Ranks* ranks) const {
    const auto use = reinterpret_cast<void (*)(Ranks*)>(find_symbol(handle_, "zam_use_ranks"));
    if (use) use(ranks);
}

}  // namespace zam::session
