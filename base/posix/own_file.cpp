#include "base/own_file.h"

#include <dlfcn.h>
#include <link.h>

namespace zam {

std::filesystem::path own_file() {
    std::error_code error;
    Dl_info info{};
    void* found = nullptr;
    const bool known = dladdr1(reinterpret_cast<void*>(&own_file), &info, &found, RTLD_DL_LINKMAP) != 0;
    const auto* library = static_cast<const link_map*>(found);
    if (known && library && library->l_name && *library->l_name)
        return std::filesystem::canonical(library->l_name, error);
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

}  // namespace zam
