// A C stream that closes itself.
#pragma once

#include <cstdio>
#include <memory>

namespace zam::runner {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace zam::runner
