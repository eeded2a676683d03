// Texts of parameters.
#pragma once

#include <cstdlib>
#include <memory>

#include "contract/om.h"

namespace zam {

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
/// A text that the host has copied for the module.
using HostText = std::unique_ptr<char, FreeText>;

/// The text of sub-object `name`; null if there is none.
inline HostText copy_text(OMobj_id object, const char* name) {
    char* text = nullptr;
    return HostText(OMget_name_str_val(object, OMstr_to_name(name), &text, 0) == 1 ? text : nullptr);
}

}  // namespace zam
