#include "session/outputs/image.h"

#include <cmath>
#include <limits>
#include <string>

#include "embedded/host.h"
#include "session/objects/run_error.h"

namespace zam::session {
namespace {

std::uint8_t over(std::uint8_t color, std::uint8_t opacity, double background) {
    const double share = opacity / 255.0;
    return static_cast<std::uint8_t>(std::lround(color * share + 255.0 * background * (1.0 - share)));
}

}  // namespace

bool is_image_field(OMobj_id field) {
    int cell_sets = 0;
    FLDget_ncell_sets(field, &cell_sets);
    if (cell_sets > 0 || host::has_coordinates(field) || component_count(field) < 1) return false;
    if (read_shape(field).dims.size() != 2) return false;
    const ComponentHeader header = read_component_header(field, 0);
    const bool bytes = header.type == DTYPE_BYTE || header.type == DTYPE_CHAR;
    return bytes && (header.veclen == 4 || header.veclen == 5);
}

Image::Image(OMobj_id field, std::string_view ending) {
    if (host::kind(field) != host::Kind::field)
        throw RunError("only image fields are written as " + std::string(ending));
    const FieldShape shape = read_shape(field);
    constexpr xp_long kMaxPixels = std::numeric_limits<std::int32_t>::max();  // per side, as PNG files state them
    const auto side_fits = [](xp_long side) { return side >= 1 && side <= kMaxPixels; };
    if (shape.dims.size() != 2 || !side_fits(shape.dims[0]) || !side_fits(shape.dims[1])) {
        throw RunError("an image field has two dimensions of at least 1");
    }
    const ComponentHeader header = read_component_header(field, 0);
    width_ = static_cast<std::uint32_t>(shape.dims[0]);
    height_ = static_cast<std::uint32_t>(shape.dims[1]);
    veclen_ = static_cast<std::size_t>(header.veclen);
    pixels_ = read_node_values(field, 0);
    const bool bytes = pixels_.type == DTYPE_BYTE || pixels_.type == DTYPE_CHAR;
    if (!bytes || header.veclen < 4 || header.veclen > 5) {
        throw RunError("component 0 of an image field has veclen 4 or 5 and holds bytes");
    }
    if (pixels_.values.count() != shape.dims[0] * shape.dims[1] * header.veclen) {
        throw RunError("component 0 holds fewer or more values than the image has pixels");
    }
}

void Image::row(std::uint32_t y, const ImageStyle& style, std::vector<std::uint8_t>& to) const {
    const std::size_t row = style.origin == ImageOrigin::upper ? y : height_ - 1 - y;
    const auto* const pixels = reinterpret_cast<const std::uint8_t*>(pixels_.values.data()) + row * width_ * veclen_;
    to.resize(width_ * (style.alpha ? std::size_t{4} : std::size_t{3}));
    std::uint8_t* out = to.data();
    const auto each = [&, veclen = veclen_, end = pixels + width_ * veclen_, alpha = style.alpha](const auto& color) {
        for (const std::uint8_t* pixel = pixels; pixel != end; pixel += veclen) {
            for (std::size_t i = 0; i < 3; ++i) *out++ = color(pixel, i);
            if (alpha) *out++ = pixel[0];
        }
    };
    if (!style.background) return each([](const std::uint8_t* pixel, std::size_t i) { return pixel[1 + i]; });
    each([background = *style.background](const std::uint8_t* pixel, std::size_t i) {
        return over(pixel[1 + i], pixel[0], background[i]);
    });
}

}  // namespace zam::session
