// Where this code lies: what belongs to it is found from there.
#pragma once

#include <filesystem>

namespace zam {

/// The program or library that this code is part of; on Windows the program. Empty if the system does not say.
std::filesystem::path own_file();

}  // namespace zam
