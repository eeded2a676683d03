// Pieces of pages as pixels. The only place that knows the library that draws letters.
#pragma once

#include <cstdint>
#include <vector>

#include "session/outputs/page.h"

namespace zam::session {

/// A piece of a page.
struct PageStrip {
    int x = 0, y = 0, width = 0, height = 0;
    std::vector<std::uint32_t> pixels;  // red, green, blue from the third lowest byte down
};

/// Draws what a page has in a piece of it, unless that is empty.
/// @throws RunError  if this program cannot draw letters
void draw_strip(const Page& page, PageStrip& strip);

}  // namespace zam::session
