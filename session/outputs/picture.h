// Pictures on their way to a file, row by row.
#pragma once

#include <cstdint>
#include <vector>

#include "session/outputs/image.h"
#include "session/outputs/page.h"
#include "session/outputs/page_pixels.h"

namespace zam::session {

class Picture {
public:
    virtual ~Picture() = default;
    virtual std::uint32_t width() const = 0;
    virtual std::uint32_t height() const = 0;
    virtual bool has_alpha() const = 0;
    /// Row `y`, counted from the top: red, green, blue and, with alpha, opacity.
    virtual void row(std::uint32_t y, std::vector<std::uint8_t>& to) const = 0;
};

/// An image in a style.
class ImagePicture final : public Picture {
public:
    ImagePicture(Image image, const ImageStyle& style) : image_(std::move(image)), style_(style) {}

    std::uint32_t width() const override { return image_.width(); }
    std::uint32_t height() const override { return image_.height(); }
    bool has_alpha() const override { return style_.alpha; }
    void row(std::uint32_t y, std::vector<std::uint8_t>& to) const override { image_.row(y, style_, to); }

private:
    Image image_;
    ImageStyle style_;
};

/// A picture on its page, whose own pixels are opaque.
class PagePicture final : public Picture {
public:
    /// @param picture  borrowed
    PagePicture(const Picture& picture, const Surroundings& around)
        : picture_(picture),
          page_(lay_out(static_cast<int>(picture.width()), static_cast<int>(picture.height()), around)),
          around_(page_) {}

    std::uint32_t width() const override { return static_cast<std::uint32_t>(page_.width); }
    std::uint32_t height() const override { return static_cast<std::uint32_t>(page_.height); }
    bool has_alpha() const override { return picture_.has_alpha(); }
    void row(std::uint32_t y, std::vector<std::uint8_t>& to) const override;

private:
    const Picture& picture_;
    Page page_;
    PagePixels around_;
};

}  // namespace zam::session
