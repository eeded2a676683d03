// Texts as the system's own functions take them. Those that take bytes know names of 260 characters at most.
#pragma once

#if !defined(NOMINMAX)
#define NOMINMAX  // min and max are the standard library's
#endif
#include <windows.h>

#include <string>
#include <string_view>

namespace zam::platform {

/// From the code page of the process, which its manifest may make UTF-8.
inline std::wstring to_wide(std::string_view text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');  // no character has fewer bytes than half a pair
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), size)));
    return wide;
}

/// To the code page of the process.
inline std::string from_wide(std::wstring_view wide) {
    const int size = static_cast<int>(wide.size());
    std::string text(wide.size() * 4, '\0');
    text.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, wide.data(), size, text.data(),
                                                             static_cast<int>(text.size()), nullptr, nullptr)));
    return text;
}

}  // namespace zam::platform
