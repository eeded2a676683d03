// Texts of parameters.
#pragma once

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "contract/om.h"

namespace zam {

/// The text of sub-object `name`, its copy by the host released; nothing when there is none.
/// @throws std::bad_alloc
inline std::optional<std::string> read_text(OMobj_id object, const char* name) {
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    char* place = nullptr;
    if (OMget_name_str_val(object, OMstr_to_name(name), &place, 0) != 1 || !place) return std::nullopt;
    const std::unique_ptr<char, Free> text(place);
    return std::string(text.get());
}

}  // namespace zam
