#include "session/outputs/picture.h"

namespace zam::session {

void PagePicture::row(std::uint32_t y, std::vector<std::uint8_t>& to) const {
    const int page_row = static_cast<int>(y);
    const int picture_row = page_row - page_.top;
    to.clear();
    const auto put = [&](std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
        to.insert(to.end(), {red, green, blue});
        if (has_alpha()) to.push_back(255);
    };
    around_.left(page_row, put);
    if (picture_row < 0 || picture_row >= page_.picture_height) return;
    std::vector<std::uint8_t> inner;
    picture_.row(static_cast<std::uint32_t>(picture_row), inner);
    to.insert(to.end(), inner.begin(), inner.end());
    around_.right(page_row, put);
}

}  // namespace zam::session
