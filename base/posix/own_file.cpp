#include "base/own_file.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>

namespace zam {

std::filesystem::path own_file() {
    std::error_code error;
    Dl_info info{};
    void* found = nullptr;
    const bool known = dladdr1(reinterpret_cast<void*>(&own_file), &info, &found, RTLD_DL_LINKMAP) != 0;
    const auto* library = static_cast<const link_map*>(found);
    if (known && library && library->l_name && *library->l_name)
        return std::filesystem::canonical(library->l_name, error);
    auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) return program;
    // in a root without /proc, how it was called
    const auto* called = reinterpret_cast<const char*>(getauxval(AT_EXECFN));  // NOLINT(performance-no-int-to-ptr)
    return std::filesystem::canonical(called, error);
}

}  // namespace zam
