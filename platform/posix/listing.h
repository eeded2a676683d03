// Listings of directories, closed on every path.
#pragma once

#include <dirent.h>

#include <memory>
#include <string>

namespace zam::platform {

struct CloseListing {
    void operator()(DIR* listing) const { closedir(listing); }
};
using Listing = std::unique_ptr<DIR, CloseListing>;

/// Null when the directory cannot be read.
inline Listing open_listing(const std::string& native_path) { return Listing(opendir(native_path.c_str())); }

}  // namespace zam::platform
