// Reads the header of a field file.
#pragma once

#include <cstdio>
#include <memory>

#include "modules/zam/ld_rdfld/header_model.h"

namespace zam::ldrf {

/// Counts the time steps before a file is read: the larger of the last "nste..." line's value and the number of lines
/// that begin with "EOT", 1 if there is neither. Rewinds the file. Of a file whose first line is not that
/// of a field file nothing else is read, however long it is: read_header() will refuse it.
/// @return steps >= 1, or 0 if the count is more than a header may have (reported)
int count_steps(std::FILE* file);

/// Reads the header of `file`: first line, statements, start of the data. The statements fill
/// header_model() on the way.
///
/// @param file   open for reading, binary, at its start
/// @param name   for messages
/// @param start  number of the first step described, from 1
/// @return the model, or null after one report
std::unique_ptr<HeaderModel> read_header(std::FILE* file, const char* name, int start);

}  // namespace zam::ldrf
