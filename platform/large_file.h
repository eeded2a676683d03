// Positions in files beyond 2 GB: `long` has 32 bits on some systems.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#if !defined(_WIN32)
#include <unistd.h>
#endif

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

/// Reads bytes from a place in a file that has no buffer. The position afterwards is anywhere.
/// @return whether all of them were there
inline bool read_at(std::FILE* file, std::int64_t offset, void* bytes, std::size_t count) {
#if defined(_WIN32)
    return seek(file, offset, SEEK_SET) == 0 && std::fread(bytes, 1, count, file) == count;
#else
    std::size_t done = 0;
    while (done < count) {
        const auto position = static_cast<off_t>(offset + static_cast<std::int64_t>(done));
        const ssize_t got = pread(fileno(file), static_cast<char*>(bytes) + done, count - done, position);
        if (got <= 0) return false;
        done += static_cast<std::size_t>(got);
    }
    return true;
#endif
}

}  // namespace zam::platform
