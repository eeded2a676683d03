// Pages as pixels.
#pragma once

#include <cstdint>

#include "session/outputs/page.h"
#include "session/outputs/page_strip.h"

namespace zam::session {

/// What stands around the picture of a page.
class PagePixels {
public:
    /// Draws it. @throws RunError  if this program cannot draw letters, or the page is too large
    explicit PagePixels(const Page& page);

    /// Calls `put(red, green, blue)` for the pixels of row `y` to the left and to the right of the picture; for rows
    /// above and below the picture, all pixels are to its left.
    template <class Put>
    void left(int y, Put put) const {
        const bool beside = y >= top_ && y < bottom_;
        each(beside ? strips_[2] : y < top_ ? strips_[0] : strips_[1], y, put);
    }
    template <class Put>
    void right(int y, Put put) const {
        if (y >= top_ && y < bottom_) each(strips_[3], y, put);
    }

private:
    template <class Put>
    static void each(const PageStrip& strip, int y, Put put) {
        const auto* pixel = strip.pixels.data() + static_cast<std::ptrdiff_t>(y - strip.y) * strip.width;
        for (int i = 0; i < strip.width; ++i, ++pixel) {
            put(static_cast<std::uint8_t>(*pixel >> 16), static_cast<std::uint8_t>(*pixel >> 8),
                static_cast<std::uint8_t>(*pixel));
        }
    }

    int top_, bottom_;     // of the picture
    PageStrip strips_[4];  // above, below, left and right of it
};

}  // namespace zam::session
