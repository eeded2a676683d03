// Pictures as PNG files. All rows are compressed as one piece, which takes a fraction of the time that they take one by
// one, and memory for the picture once more.
#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "session/objects/run_error.h"
#include "session/outputs/outputs.h"
#include "session/outputs/png_filters.h"

namespace zam::session {
namespace {

constexpr int kEffort = 1;  // of 0 to 12: the next one takes half as long again for files that are 3 to 5 % smaller
constexpr std::uint32_t kMaxSide = std::numeric_limits<std::int32_t>::max();
constexpr std::size_t kMaxChunk = std::size_t{1} << 30;  // the format has 31 bits for it

using Write = std::function<void(std::string_view)>;

/// Bytes that are not cleared before they are written.
struct Bytes {
    explicit Bytes(std::size_t count) : data(std::make_unique_for_overwrite<char[]>(count)), size(count) {}
    std::unique_ptr<char[]> data;
    std::size_t size;
};

/// Every row as the filter leaves it that promises most, after the filter's number.
Bytes filter_rows(const Picture& picture) {
    const std::size_t pixel = picture.has_alpha() ? 4 : 3;
    const std::size_t count = picture.width() * pixel;
    Bytes rows((count + 1) * picture.height());
    PngRow row(count);
    PngRow above(count);
    std::vector filtered(kPngFilters, PngRow(count));
    std::vector<std::uint8_t> pixels;
    char* to = rows.data.get();
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        picture.row(y, pixels);
        std::ranges::copy(pixels, row.data());
        std::array<std::uint64_t, kPngFilters> sums{};
        for (std::size_t i = 0; i < kPngFilters; ++i) {
            sums[i] = filter_row(static_cast<PngFilter>(i), row, above, pixel, filtered[i]);
        }
        const auto best = static_cast<std::size_t>(std::ranges::min_element(sums) - sums.begin());
        *to++ = static_cast<char>(best);
        to = std::copy_n(filtered[best].data(), count, to);
        std::swap(row, above);
    }
    return rows;
}

Bytes compress(const Bytes& bytes) {
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(kEffort), libdeflate_free_compressor);
    if (!compressor) throw std::bad_alloc();
    Bytes compressed(libdeflate_zlib_compress_bound(compressor.get(), bytes.size));
    compressed.size = libdeflate_zlib_compress(compressor.get(), bytes.data.get(), bytes.size, compressed.data.get(),
                                               compressed.size);
    return compressed;
}

std::string big_endian(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
    return bytes;
}

void write_chunk(std::string_view name, std::string_view data, const Write& write) {
    write(big_endian(static_cast<std::uint32_t>(data.size())) + std::string(name));
    write(data);
    const std::uint32_t sum = libdeflate_crc32(0, name.data(), name.size());
    write(big_endian(libdeflate_crc32(sum, data.data(), data.size())));
}

void encode(const Picture& picture, const Write& write) {
    using namespace std::string_literals;
    const auto is_side = [](std::uint32_t side) { return side > 0 && side <= kMaxSide; };
    require(is_side(picture.width()) && is_side(picture.height()), "cannot write the file");
    const std::string bits_and_colour = picture.has_alpha() ? "\x8\x6"s : "\x8\x2"s;
    try {
        const Bytes data = compress(filter_rows(picture));
        write("\x89PNG\r\n\x1A\n");
        write_chunk("IHDR", big_endian(picture.width()) + big_endian(picture.height()) + bits_and_colour + "\0\0\0"s,
                    write);
        for (std::size_t done = 0; done < data.size; done += kMaxChunk) {
            write_chunk("IDAT", {data.data.get() + done, std::min(data.size - done, kMaxChunk)}, write);
        }
        write_chunk("IEND", "", write);
    } catch (const std::bad_alloc&) {
        throw RunError("memory is exhausted");
    }
}

}  // namespace

void write_png(const Picture& picture, OutputFile& file) {
    encode(picture, [&file](std::string_view bytes) { file.write(bytes); });
}

std::string encode_png(const Picture& picture) {
    std::string png;
    encode(picture, [&png](std::string_view bytes) { png += bytes; });
    return png;
}

}  // namespace zam::session
