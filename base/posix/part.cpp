#include "base/part.h"

#include <dlfcn.h>

#include <string>

namespace zam {

const void* part_export(const char* part, const char* function) {
    // found where the program looks for its libraries
    void* const library = dlopen(("lib" + std::string(part) + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
    return library ? dlsym(library, ("zam_part_" + std::string(function)).c_str()) : nullptr;
}

}  // namespace zam
