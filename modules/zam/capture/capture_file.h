// Capture files: images with depth on disk, numbered from 0 in a directory of their own.
//
// A file is 10 characters of text, width and height with five digits each; then four bytes per pixel (opacity, red,
// green, blue); then the depths as floats as the machine keeps them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/file_handle.h"
#include "modules/zam/capture/depth_image.h"
#include "platform/directory.h"

namespace zam {

constexpr int kMaxCaptureSide = 99999;  // five digits

/// Name of the directory of a set of captures.
/// @throws std::bad_alloc, as the other names do
std::string capture_directory_name(const std::string& parent, const std::string& user, int process, int sequence);

/// Name of capture `number`, at least 0. Files are written with one separator and looked for with the other; both
/// systems take either.
std::string capture_name_to_write(const std::string& directory, int number);
std::string capture_name_to_read(const std::string& directory, int number);

/// The number in a file name (without directory) like those of captures, with however many zeros; `nullopt` for others.
std::optional<int> capture_number(std::string_view name);

/// Text at the beginning of a file, for a size that fits.
std::string capture_size_text(ImageSize size);

/// Reads the text as far as it is a number: blanks before it and anything after it do not count.
/// @param text  10 characters
/// @return `nullopt` if there is no pixel
std::optional<ImageSize> parse_capture_size(std::string_view text);

/// A capture file open for reading.
class CaptureFile {
public:
    /// Opens a file and reads the size that it announces.
    static std::optional<CaptureFile> open(const std::string& name);

    ImageSize size() const { return size_; }
    /// Whether the file is as long as its size requires. Allocate nothing before this is known.
    bool is_whole() const;

    /// Reads pixels, beginning with `first`: four bytes of each, or its depth.
    /// @pre  all lie within the image
    /// @return false if the file has become shorter or cannot be read
    bool read_colors(std::int64_t first, std::span<std::uint8_t> colors) const;
    bool read_depths(std::int64_t first, std::span<float> depths) const;

private:
    CaptureFile(FileHandle file, ImageSize size) : file_(std::move(file)), size_(size) {}

    FileHandle file_;
    ImageSize size_;
};

}  // namespace zam
