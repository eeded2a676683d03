#include "base/part.h"

#include <dlfcn.h>

#include <string>

#include "base/own_file.h"

namespace zam {

const void* part_export(const char* part, const char* function) {
    // by its whole name: whose search path counts for a short one is not the same everywhere (sanitizers ask
    // themselves)
    const auto directory = own_file().parent_path().parent_path() / "lib";
    const auto file = directory / ("lib" + std::string(part) + ".so");
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    return library ? dlsym(library, ("zam_part_" + std::string(function)).c_str()) : nullptr;
}

}  // namespace zam
