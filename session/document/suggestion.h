// The known name that a person may have meant.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zam::session {

/// "; did you mean \"filename\"?" with the known name that is nearest to an unknown one; empty if none is near. Near
/// are names of which one third at most is mistyped (letters changed, left out, added, exchanged with the next), and
/// names that begin with the unknown one.
std::string did_you_mean(std::string_view unknown, std::span<const std::string_view> known);

/// A text that ends in all known names, and in the nearest: "unknown event; there are set run; did you mean \"run\"?"
std::string list_known(std::string text, std::string_view unknown, std::span<const std::string_view> known);

/// The same as the first for the names of things in a list.
template <class List, class Name>
std::string did_you_mean(std::string_view unknown, const List& list, Name&& name_of) {
    std::vector<std::string_view> known;
    known.reserve(std::size(list));
    for (const auto& one : list) known.push_back(name_of(one));
    return did_you_mean(unknown, known);
}

}  // namespace zam::session
