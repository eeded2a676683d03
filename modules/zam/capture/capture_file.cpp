#include "modules/zam/capture/capture_file.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/large_file.h"

namespace zam {
namespace {

constexpr std::string_view kPrefix = "pceimg";
constexpr std::string_view kSuffix = ".img";
constexpr std::size_t kDigits = 5;  // of a number, at least; of a size, exactly
constexpr std::int64_t kSizeTextBytes = 2 * kDigits;

std::string padded(int number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%05d", number);
    return text.data();
}

std::string file_name(int number) { return std::string(kPrefix) + padded(number) + std::string(kSuffix); }

int leading_number(std::string_view digits) {
    return static_cast<int>(std::strtol(std::string(digits).c_str(), nullptr, 10));
}

bool read_exactly(std::FILE* file, void* bytes, std::size_t count) {
    return std::fread(bytes, 1, count, file) == count;
}

}  // namespace

std::string capture_directory_name(const std::string& parent, const std::string& user, int process, int sequence) {
    return parent + "\\" + user + std::to_string(process) + "." + std::to_string(sequence);
}

std::string capture_name_to_write(const std::string& directory, int number) {
    return directory + "/" + file_name(number);
}

std::string capture_name_to_read(const std::string& directory, int number) {
    return directory + "\\" + file_name(number);
}

std::optional<int> capture_number(std::string_view name) {
    if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix) || name.size() < kPrefix.size() + kSuffix.size())
        return std::nullopt;
    const std::string_view digits = name.substr(kPrefix.size(), name.size() - kPrefix.size() - kSuffix.size());
    int number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool whole = error == std::errc() && end == digits.data() + digits.size();
    return whole && number >= 0 ? std::optional(number) : std::nullopt;
}

std::string capture_size_text(ImageSize size) { return padded(size.width) + padded(size.height); }

std::optional<ImageSize> parse_capture_size(std::string_view text) {
    const ImageSize size{leading_number(text.substr(0, kDigits)), leading_number(text.substr(kDigits, kDigits))};
    return size.width > 0 && size.height > 0 ? std::optional(size) : std::nullopt;
}

std::optional<CaptureFile> CaptureFile::open(const std::string& name) {
    FileHandle file(platform::open_to_read(name));
    if (!file) return std::nullopt;
    // blocks go straight to where they are wanted
    if (std::setvbuf(file.get(), nullptr, _IONBF, 0) != 0) return std::nullopt;
    std::array<char, kSizeTextBytes> text{};
    if (!read_exactly(file.get(), text.data(), text.size())) return std::nullopt;
    const auto size = parse_capture_size({text.data(), text.size()});
    return size ? std::optional(CaptureFile(std::move(file), *size)) : std::nullopt;
}

bool CaptureFile::is_whole() const {
    return platform::length(file_.get()) >= kSizeTextBytes + size_.pixels() * (kColorBytes + kDepthBytes);
}

bool CaptureFile::read_colors(std::int64_t first, std::span<std::uint8_t> colors) const {
    return platform::read_at(file_.get(), kSizeTextBytes + first * kColorBytes, colors.data(), colors.size_bytes());
}

bool CaptureFile::read_depths(std::int64_t first, std::span<float> depths) const {
    const std::int64_t depths_begin = kSizeTextBytes + size_.pixels() * kColorBytes;
    return platform::read_at(file_.get(), depths_begin + first * kDepthBytes, depths.data(), depths.size_bytes());
}

}  // namespace zam
