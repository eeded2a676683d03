// Pictures as PNG files.
#include <png.h>

#include <csetjmp>
#include <cstdlib>
#include <string>
#include <vector>

#include "session/objects/run_error.h"
#include "session/outputs/outputs.h"

namespace zam::session {
namespace {

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
bool write_rows(const PngWriter& writer, const Picture& picture, std::FILE* file, std::vector<png_byte>& row) {
    if (setjmp(png_jmpbuf(writer.png)) != 0) return false;
    png_set_write_fn(writer.png, file, write_bytes, flush_bytes);
    png_set_user_limits(writer.png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(writer.png, writer.info, picture.width(), picture.height(), 8,
                 picture.has_alpha() ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(writer.png, writer.info);
    for (png_uint_32 y = 0; y < picture.height(); ++y) {
        picture.row(y, row);
        png_write_row(writer.png, row.data());
    }
    png_write_end(writer.png, writer.info);
    return true;
}

/// False if the stream refuses the picture.
bool encode(const Picture& picture, std::FILE* stream) {
    const PngWriter writer;
    require(writer.info != nullptr, "memory is exhausted");
    std::vector<png_byte> row;
    return write_rows(writer, picture, stream, row);
}

}  // namespace

void write_png(const Picture& picture, OutputFile& file) {
    if (!encode(picture, file.stream())) throw RunError("cannot write the file");
}

std::string encode_png(const Picture& picture) {
    // the stream leaves its bytes when it is closed, so it ends before their owner does, whatever is thrown
    struct Bytes {
        char* data = nullptr;
        std::size_t count = 0;
        ~Bytes() { std::free(data); }
    } bytes;
    FileHandle memory(open_memstream(&bytes.data, &bytes.count));
    require(memory != nullptr, "memory is exhausted");
    const bool written = encode(picture, memory.get());
    memory.reset();
    require(written, "memory is exhausted");
    return {bytes.data, bytes.count};
}

}  // namespace zam::session
