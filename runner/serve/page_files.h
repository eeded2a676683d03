// The page's own files, which are part of the program.
#pragma once

#include <span>
#include <string_view>

namespace zam::runner {

struct PageFile {
    std::string_view name;  // "index.html"
    std::string_view bytes;
};

/// In no particular order.
std::span<const PageFile> page_files();

}  // namespace zam::runner
