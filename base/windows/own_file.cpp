#include "base/own_file.h"

#include <windows.h>

#include <string>

namespace zam {

std::filesystem::path own_file() {
    std::wstring name(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
        if (length < name.size()) return name.substr(0, length);
        name.resize(2 * name.size());
    }
}

}  // namespace zam
