// How the field file reader reports.
#pragma once

#include "modules/support/report.h"

namespace zam::ldrf {

/// Reports why something could not be read.
constexpr Reporter kReport{.label = "Read Field", .flags = 2};

/// Reports that a field operation of the host failed, with the text of that operation.
constexpr ErrorReporter kFieldReport{.label = "Read Field", .text_arguments = 0, .flags = 2};

/// Reports that memory ran out for a table or array. @return false
inline bool out_of_memory(const char* text) {
    ERRout_of_memory(text);
    return false;
}

}  // namespace zam::ldrf
