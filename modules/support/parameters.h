// Parameters of an instance by their names.
#pragma once

#include "contract/om.h"
#include "modules/support/report.h"

namespace zam {

inline OMobj_id find_parameter(OMobj_id object, const char* name, int mode) {
    return OMfind_subobj(object, OMstr_to_name(name), mode);
}

/// The parameter's value, or `otherwise` when it cannot be read.
inline int int_or(OMobj_id object, const char* name, int otherwise) {
    OMget_name_int_val(object, OMstr_to_name(name), &otherwise);
    return otherwise;
}

/// As int_or.
inline double real_or(OMobj_id object, const char* name, double otherwise) {
    OMget_name_real_val(object, OMstr_to_name(name), &otherwise);
    return otherwise;
}

/// Whether the instance is to run. deliberate: one without the flag works, after a report.
inline bool is_active(OMobj_id instance, const Reporter& report) {
    int active = 1;
    if (OMget_name_int_val(instance, OMstr_to_name("active"), &active) != 1)
        report.warn("Can't get active ( this module activate flag )\n");
    return active != 0;
}

}  // namespace zam
