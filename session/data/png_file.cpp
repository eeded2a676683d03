#include "session/data/png_file.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <limits>

#include "base/file_handle.h"
#include "contract/file.h"
#include "session/data/data_error.h"

namespace zam::session {
namespace {

void read_bytes(png_structp png, png_bytep bytes, png_size_t count) {
    if (std::fread(bytes, 1, count, static_cast<std::FILE*>(png_get_io_ptr(png))) != count)
        png_error(png, "the file ended early");
}

using Message = std::array<char, 200>;

[[noreturn]] void leave(png_structp png, png_const_charp text) {
    auto& message = *static_cast<Message*>(png_get_error_ptr(png));
    std::snprintf(message.data(), message.size(), "%s", text);
    std::longjmp(png_jmpbuf(png), 1);
}

void ignore(png_structp /*png*/, png_const_charp /*text*/) {}

struct PngReader {
    Message message{};  // why reading failed
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, leave, ignore);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    PngReader() = default;
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;
    ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

// The next two hold nothing with a destructor, since libpng leaves them by longjmp.

/// False after an error.
bool read_header(const PngReader& reader, std::FILE* file, int& bits) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) return false;
    png_set_read_fn(reader.png, file, read_bytes);
    png_read_info(reader.png, reader.info);
    bits = png_get_bit_depth(reader.png, reader.info);
    png_set_packing(reader.png);  // numbers of fewer than 8 bits have a byte of their own, but stay what they are
    png_read_update_info(reader.png, reader.info);
    return true;
}

/// Rows of interlaced pictures come pass by pass, the pixels of each pass side by side. False after an error.
bool read_rows(const PngReader& reader, std::vector<png_byte>& row, PngFile& picture) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) return false;
    const png_uint_32 width = png_get_image_width(reader.png, reader.info);
    const png_uint_32 height = png_get_image_height(reader.png, reader.info);
    const bool interlaced = png_get_interlace_type(reader.png, reader.info) != PNG_INTERLACE_NONE;
    const std::size_t channels = picture.ranges.size();
    for (int pass = 0; pass < (interlaced ? PNG_INTERLACE_ADAM7_PASSES : 1); ++pass) {
        const std::size_t columns = interlaced ? PNG_PASS_COLS(width, pass) : width;
        const std::size_t rows = interlaced && columns > 0 ? PNG_PASS_ROWS(height, pass) : height;
        for (std::size_t y = 0; y < rows && columns > 0; ++y) {
            png_read_row(reader.png, row.data(), nullptr);
            for (std::size_t i = 0; i < columns * channels; ++i) {
                const int number = picture.bits == 16 ? row[2 * i] << 8 | row[2 * i + 1] : row[i];
                auto& range = picture.ranges[i % channels];
                range[0] = std::min(range[0], number);
                range[1] = std::max(range[1], number);
            }
        }
    }
    png_read_end(reader.png, nullptr);
    return true;
}

void name_channels(const PngReader& reader, PngFile& picture) {
    const int type = png_get_color_type(reader.png, reader.info);
    if (type == PNG_COLOR_TYPE_PALETTE) {
        picture.channels = {"index"};
        picture.pixels = "indices of a palette";
    } else if ((type & PNG_COLOR_MASK_COLOR) != 0) {
        picture.channels = {"red", "green", "blue"};
        picture.pixels = "RGB";
    } else {
        picture.channels = {"grey"};
        picture.pixels = "grey";
    }
    if ((type & PNG_COLOR_MASK_ALPHA) != 0) {
        picture.channels.emplace_back("opacity");
        picture.pixels += " with opacity";
    }
}

}  // namespace

bool is_png(std::string_view start) { return start.starts_with("\x89PNG\r\n\x1A\n"); }

PngFile read_png(const std::string& file) {
    const FileHandle stream(FILEfopen(file.c_str(), "rb"));
    if (!stream) throw DataError("cannot open the file");
    const PngReader reader;
    if (!reader.info) throw DataError("memory is exhausted");
    PngFile picture;
    if (!read_header(reader, stream.get(), picture.bits)) throw DataError(reader.message.data());
    picture.dims = {png_get_image_width(reader.png, reader.info), png_get_image_height(reader.png, reader.info)};
    name_channels(reader, picture);
    picture.ranges.assign(picture.channels.size(), {std::numeric_limits<int>::max(), 0});
    std::vector<png_byte> row(png_get_rowbytes(reader.png, reader.info));
    if (!read_rows(reader, row, picture)) throw DataError(reader.message.data());
    return picture;
}

}  // namespace zam::session
