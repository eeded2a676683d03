// load_modules LIBRARY: has a library of modules make a cone in the host that this program is linked to.
#include <cstdio>

#include "contract/types.h"

#if defined(_WIN32)
#include <windows.h>
static void* find_entry(const char* file, const char* name) {
    const HMODULE library = LoadLibraryA(file);
    return library ? reinterpret_cast<void*>(GetProcAddress(library, name)) : nullptr;
}
#else
#include <dlfcn.h>
static void* find_entry(const char* file, const char* name) {
    void* library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (!library) std::fprintf(stderr, "%s\n", dlerror());
    return library ? dlsym(library, name) : nullptr;
}
#endif

using Entry = int (*)(OMobj_id instance, unsigned event_mask, int seq);
extern "C" ZAM_CONTRACT_IMPORT int makes_cone(Entry update);

int main(int count, char** arguments) {
    auto* cone = count == 2 ? reinterpret_cast<Entry>(find_entry(arguments[1], "DVConeUpdate")) : nullptr;
    if (!cone) {
        std::fprintf(stderr, "no cone in %s\n", count == 2 ? arguments[1] : "nothing");
        return 2;
    }
    const bool right = makes_cone(cone) != 0;
    std::puts(right ? "a cone, as it should be" : "no cone, or another");
    return right ? 0 : 1;
}
