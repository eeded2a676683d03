// A C stream that closes itself.
#pragma once

#include <cstdio>
#include <memory>

namespace zam {

/// Closes on every path. Where it matters whether everything was written, release() it and check what fclose returns.
struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace zam
