// Reads the header of a field file into the header model.
#pragma once

#include <cstdio>

#include "modules/zam/ld_rdfld/header_model.h"

namespace zam::ldrf {

/// Counts the time steps before a file is read: the larger of the last "nste..." line's value and the number of lines
/// that begin with "EOT", 1 when there is neither. Rewinds the file.
/// @return steps >= 1, or 0 when the count is more than a header may have (reported)
int count_steps(std::FILE* file);

/// Reads the header of `file` into header_model(): first line, statements, start of the data.
///
/// @param file   open for reading, binary, at its start
/// @param name   for messages
/// @param start  number of the first step described, from 1
/// @return 1, or 0 after one report; then the model's contents mean nothing
int read_header(std::FILE* file, const char* name, int start);

}  // namespace zam::ldrf
