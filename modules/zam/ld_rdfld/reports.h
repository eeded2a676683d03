// How the field file reader reports.
#pragma once

#include "modules/support/report.h"

namespace zam::ldrf {

/// Label and flag word of every report of the reader.
constexpr Reporter kReport{.label = "Read Field", .flags = 2};

/// Reports why something could not be read, and gives false.
template <class... Args>
bool refuse(const char* format, Args... args) {
    kReport.fail(format, args...);
    return false;
}

/// Reports that a field operation of the host failed, with the text of that operation, and gives false.
inline bool field_operation_failed(const char* text) {
    ERRerror(kReport.label, 0, kReport.flags, "%s", text);
    return false;
}

/// Reports that memory ran out for a table or array, and gives false.
inline bool out_of_memory(const char* text) {
    ERRout_of_memory(text);
    return false;
}

}  // namespace zam::ldrf
