// Whether fields are what the modules take that they are given to.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "session/network/network.h"

namespace zam::session {

/// What decides whether a module takes a field.
struct FieldForm {
    struct Component {
        std::optional<int> type;  // `nullopt`: not known
        int veclen = 0;           // 0: not known
    };
    std::vector<xp_long> dims;
    std::vector<Component> components;  // empty: the field has no values yet, and nothing is said of them
};

/// "ndim 2 or 3, component 0: byte, veclen 1"; empty if anything is taken.
std::string describe(const Accepted& accepted);

/// What a module does not take of a field, in one line with the conversion that helps, if one does: "render.in:
/// component 0 is float, render takes byte: "convert": {"type": "byte", "range": "auto"}". Empty if it takes the field.
std::string mismatch(std::string_view module, const Parameter& parameter, const FieldForm& form);

/// The mismatches that show in the network itself: of fields that it gives, or that references lead to from there.
std::vector<std::string> mismatches(const Network& network);

}  // namespace zam::session
