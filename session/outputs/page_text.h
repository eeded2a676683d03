// Texts on pages: what may be drawn, and how much room it takes. The widths are those of a common font without serifs,
// so that a page is laid out alike whoever draws it.
#pragma once

#include <string>
#include <string_view>

namespace zam::session {

/// A text that can be drawn: bytes that are not UTF-8 become the replacement character, control characters spaces.
std::string drawable(std::string_view text);

/// Width of a drawable text, in units of the font's size.
double text_width(std::string_view text);

/// A drawable text, cut short to a width where it is longer; an ellipsis says so.
std::string cut_to(std::string text, double width);

}  // namespace zam::session
