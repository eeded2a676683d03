// Image fields as rows of pixels, in the way that files of pictures have them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "session/network/definitions.h"
#include "session/objects/field_access.h"

namespace zam::session {

/// How an image becomes a picture.
struct ImageStyle {
    ImageOrigin origin = ImageOrigin::upper;
    bool alpha = false;                                    // keeps the opacity
    std::optional<std::array<double, 3>> background = {};  // composites over it: red, green, blue from 0 to 1
};

/// Whether a field holds an image, rather than lines, points or a surface.
bool is_image_field(OMobj_id field);

class Image {
public:
    /// Borrows the pixels of a field: 2-D, component 0 of veclen 4 or 5, the bytes opacity, red, green, blue first.
    /// @param ending  of the file that is to be written, for messages
    /// @throws RunError  if it is no such field
    Image(OMobj_id field, std::string_view ending);

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    /// Row `y` of the picture, counted from the top: red, green, blue and, where asked for, opacity.
    void row(std::uint32_t y, const ImageStyle& style, std::vector<std::uint8_t>& to) const;

private:
    std::uint32_t width_ = 0, height_ = 0;
    std::size_t veclen_ = 4;
    LentValues pixels_;
};

}  // namespace zam::session
