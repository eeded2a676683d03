// Directories, files by name, and the process. Names are taken with either separator.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

namespace zam::platform {

/// Makes a directory; false when that fails, also because something of that name exists.
bool create_directory(const std::string& name);

/// Removes a directory that is empty.
bool remove_directory(const std::string& name);

bool delete_file(const std::string& name);

/// Calls `visit` with every name in a directory, without its path, in no particular order; a directory that cannot be
/// read has none. What `visit` throws comes through.
void visit_names(const std::string& directory, const std::function<void(std::string_view)>& visit);

/// As fopen with "rb" or "wb", but never waits: what is not a file with contents (a pipe, a directory) is refused.
std::FILE* open_to_read(const std::string& name);
std::FILE* open_to_write(const std::string& name);

int process_id();

}  // namespace zam::platform
