#include "session/outputs/page_pixels.h"

#include "base/available_memory.h"
#include "session/objects/run_error.h"

namespace zam::session {

PagePixels::PagePixels(const Page& page) : top_(page.top), bottom_(page.top + page.picture_height) {
    const int right = page.left + page.picture_width;
    strips_[0] = {0, 0, page.width, top_, {}};
    strips_[1] = {0, bottom_, page.width, page.height - bottom_, {}};
    strips_[2] = {0, top_, page.left, page.picture_height, {}};
    strips_[3] = {right, top_, page.width - right, page.picture_height, {}};
    AvailableMemory memory;
    for (PageStrip& strip : strips_) {
        const bool fits = memory.take(std::int64_t{strip.width} * strip.height, sizeof(std::uint32_t));
        require(fits, "memory is exhausted");
        draw_strip(page, strip);
    }
}

}  // namespace zam::session
