// Positions in files beyond 2 GB: `long` has 32 bits on some systems.
#pragma once

#include <cstdint>
#include <cstdio>

namespace zam::platform {

/// As fseek, with a 64-bit offset; 0 on success.
inline int seek(std::FILE* file, std::int64_t offset, int origin) {
#if defined(_WIN32)
    return _fseeki64(file, offset, origin);
#else
    return fseeko(file, static_cast<off_t>(offset), origin);
#endif
}

/// As ftell, with a 64-bit result; -1 on failure.
inline std::int64_t tell(std::FILE* file) {
#if defined(_WIN32)
    return _ftelli64(file);
#else
    return static_cast<std::int64_t>(ftello(file));
#endif
}

/// Length in bytes, or -1 for what has none (a pipe). The position afterwards is the end.
inline std::int64_t length(std::FILE* file) { return seek(file, 0, SEEK_END) == 0 ? tell(file) : -1; }

}  // namespace zam::platform
