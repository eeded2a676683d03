// Image fields as PNG files.
#include <png.h>

#include <array>
#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "embedded/host.h"
#include "session/objects/field_access.h"
#include "session/objects/run_error.h"
#include "session/outputs/outputs.h"

namespace zam::session {
namespace {

/// An image field's pixels: `veclen` bytes each, opacity, red, green, blue first, the top row first.
struct Image {
    png_uint_32 width = 0, height = 0;
    std::size_t veclen = 4;
    LentValues pixels;
};

Image open_image(OMobj_id field) {
    if (host::kind(field) != host::Kind::field) throw RunError("only image fields are written as .png");
    const FieldShape shape = read_shape(field);
    constexpr xp_long kMaxPixels = std::numeric_limits<std::int32_t>::max();  // per side, as PNG files state them
    const auto side_fits = [](xp_long side) { return side >= 1 && side <= kMaxPixels; };
    if (shape.dims.size() != 2 || !side_fits(shape.dims[0]) || !side_fits(shape.dims[1])) {
        throw RunError("an image field has two dimensions of at least 1");
    }
    const ComponentHeader header = read_component_header(field, 0);
    Image image{static_cast<png_uint_32>(shape.dims[0]), static_cast<png_uint_32>(shape.dims[1]),
                static_cast<std::size_t>(header.veclen), read_node_values(field, 0)};
    const bool bytes = image.pixels.type == DTYPE_BYTE || image.pixels.type == DTYPE_CHAR;
    if (!bytes || header.veclen < 4 || header.veclen > 5) {
        throw RunError("component 0 of an image field has veclen 4 or 5 and holds bytes");
    }
    if (image.pixels.values.count() != shape.dims[0] * shape.dims[1] * header.veclen) {
        throw RunError("component 0 holds fewer or more values than the image has pixels");
    }
    return image;
}

std::uint8_t over(std::uint8_t color, std::uint8_t opacity, double background) {
    const double share = opacity / 255.0;
    return static_cast<std::uint8_t>(std::lround(color * share + 255.0 * background * (1.0 - share)));
}

/// One row in the order of PNG files: red, green, blue and, where asked for, alpha.
void convert_row(const Image& image, const Output& output, std::size_t row, std::vector<png_byte>& converted) {
    const std::byte* pixel = image.pixels.values.data() + row * image.width * image.veclen;
    converted.clear();
    for (png_uint_32 x = 0; x < image.width; ++x, pixel += image.veclen) {
        const auto opacity = static_cast<std::uint8_t>(pixel[0]);
        for (std::size_t i = 0; i < 3; ++i) {
            const auto color = static_cast<std::uint8_t>(pixel[1 + i]);
            converted.push_back(output.background ? over(color, opacity, (*output.background)[i]) : color);
        }
        if (output.alpha) converted.push_back(opacity);
    }
}

void write_bytes(png_structp png, png_bytep bytes, png_size_t count) {
    if (std::fwrite(bytes, 1, count, static_cast<std::FILE*>(png_get_io_ptr(png))) != count) {
        png_error(png, "write error");
    }
}

void flush_bytes(png_structp /*png*/) {}

[[noreturn]] void leave(png_structp png, png_const_charp /*text*/) { std::longjmp(png_jmpbuf(png), 1); }

void ignore(png_structp /*png*/, png_const_charp /*text*/) {}

struct PngWriter {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignore);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    PngWriter() = default;
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;
    ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

/// False after an error. Holds nothing with a destructor, since libpng leaves it by longjmp.
bool write_rows(const PngWriter& writer, const Image& image, const Output& output, std::FILE* file,
                std::vector<png_byte>& row) {
    if (setjmp(png_jmpbuf(writer.png)) != 0) return false;
    png_set_write_fn(writer.png, file, write_bytes, flush_bytes);
    png_set_user_limits(writer.png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(writer.png, writer.info, image.width, image.height, 8,
                 output.alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(writer.png, writer.info);
    for (png_uint_32 y = 0; y < image.height; ++y) {
        convert_row(image, output, y, row);
        png_write_row(writer.png, row.data());
    }
    png_write_end(writer.png, writer.info);
    return true;
}

/// False if the stream refuses the picture.
bool encode(OMobj_id object, const Output& output, std::FILE* stream) {
    const Image image = open_image(object);
    const PngWriter writer;
    require(writer.info != nullptr, "memory is exhausted");
    std::vector<png_byte> row;
    return write_rows(writer, image, output, stream, row);
}

}  // namespace

void write_png(OMobj_id object, const Output& output, OutputFile& file) {
    if (!encode(object, output, file.stream())) throw RunError("cannot write " + output.file);
}

std::string encode_png(OMobj_id object) {
    // the stream leaves its bytes when it is closed, so it ends before their owner does, whatever is thrown
    struct Bytes {
        char* data = nullptr;
        std::size_t count = 0;
        ~Bytes() { std::free(data); }
    } bytes;
    FileHandle memory(open_memstream(&bytes.data, &bytes.count));
    require(memory != nullptr, "memory is exhausted");
    const bool written = encode(object, {}, memory.get());
    memory.reset();
    require(written, "memory is exhausted");
    return {bytes.data, bytes.count};
}

}  // namespace zam::session
