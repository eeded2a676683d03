// Members of zip archives. The only place that knows the library for them; a build without it reads none.
#pragma once

#include <string>
#include <vector>

#include "session/data/byte_source.h"

namespace zam::session {

/// The names of the members of an archive.
/// @throws DataError  also if this build reads no archives
std::vector<std::string> zip_members(const std::string& file);

/// The bytes of a member. Going back in a compressed one begins anew.
/// @throws DataError
ByteSourcePointer open_zip_member(const std::string& file, const std::string& member);

}  // namespace zam::session
