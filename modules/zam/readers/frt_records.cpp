#include "modules/zam/readers/frt_records.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "base/byte_order.h"
#include "base/element_types.h"
#include "platform/large_file.h"

namespace zam::frt {
namespace {

constexpr const char* kNoHeader = "Error! Cannot find header information.";
constexpr const char* kHeaderSwap = "Error! byte swap failed - header.";
constexpr const char* kHeaderRead = "Error! read header.";

/// Code of a type whose elements have the width that the name stands for; `nullopt` for unknown names.
std::optional<int> element_type(std::string_view name) {
    if (name == "long") return DTYPE_INT;  // deliberate: 4 bytes
    if (name == "xp_long" || name == "byte8") return DTYPE_LONG;
    return type_from_name(name);
}

/// Whether a record of that many bytes holds the dims of a grid.
bool is_dims_length(std::int32_t word) { return word == 8 || word == 12 || word == 16 || word == 24; }

std::int32_t reversed(std::int32_t word) {
    require(reverse_elements("int", reinterpret_cast<std::byte*>(&word), sizeof word), kHeaderSwap);
    return word;
}

/// The sum in double precision that defines a marker of 8 bytes.
xp_long little_endian(const std::array<std::uint8_t, 8>& bytes) {
    double sum = 0.0;
    double power = 1.0;
    for (const std::uint8_t byte : bytes) {
        sum += byte * power;
        power *= 256.0;
    }
    constexpr double kTooLarge = 0x1p63;
    return sum < kTooLarge ? static_cast<xp_long>(sum) : std::numeric_limits<xp_long>::max();
}

}  // namespace

bool reverse_elements(std::string_view type, std::byte* values, std::size_t size) {
    const auto code = element_type(type);
    if (code) reverse_bytes(*code, values, size / type_size(*code));
    return code.has_value();
}

RecordFile::RecordFile(std::FILE* stream) : stream_(stream) {
    std::setvbuf(stream, nullptr, _IONBF, 0);
    length_ = std::max<xp_long>(platform::length(stream), 0);
    stream_position_ = length_;
}

bool RecordFile::read(void* to, xp_long bytes) {
    if (bytes < 0 || bytes > remaining()) return false;
    if (stream_position_ != position_ && platform::seek(stream_, position_, SEEK_SET) != 0) return false;
    const auto size = static_cast<std::size_t>(bytes);
    if (std::fread(to, 1, size, stream_) != size) {
        stream_position_ = -1;  // the file has changed meanwhile; where the stream stands is unknown
        return false;
    }
    position_ += bytes;
    stream_position_ = position_;
    return true;
}

bool RecordFile::skip(xp_long bytes) {
    if (bytes < 0 || bytes > remaining()) return false;
    position_ += bytes;
    return true;
}

void RecordFile::detect_layout() {
    std::int32_t word = 0;
    require(read(&word, sizeof word), "Can't read header information.");
    if (word != 0 && !is_dims_length(word)) {
        word = reversed(word);
        require(is_dims_length(word), "Error! Unexpected header size.");
        layout_.swapped = true;
    }
    std::int32_t next = 0;
    require(read(&next, sizeof next), kHeaderRead);
    if (word == 0) {  // the first half of a big-endian marker of 8 bytes
        layout_.marker_width = 8;
        if (!is_dims_length(next)) {
            next = reversed(next);
            layout_.swapped = true;
        }
        require(is_dims_length(next), kNoHeader);
        word = next;
    } else if (word == 8 || word == 12) {
        layout_.marker_width = next == 0 ? 8 : 4;
    } else {
        // a marker of 8 bytes begins here, at the end of the record, or else the next record's marker of 4
        std::int32_t last = 0;
        require(skip(word) && read(&last, sizeof last), kHeaderRead);
        // deliberate: the word as it stands in the file, also in a swapped one
        layout_.marker_width = last == word ? 8 : 4;
    }
    layout_.integer_width = word >= 16 ? 8 : 4;
    layout_.ndim = word == 8 || word == 16 ? 2 : 3;
    go_to(0);
}

template <int kWidth>
std::optional<xp_long> RecordFile::read_marker(const char* swap_failure) {
    using Bytes = std::array<std::uint8_t, 8>;
    std::conditional_t<kWidth == 4, std::int32_t, Bytes> stored{};
    if (!read(&stored, sizeof stored)) return std::nullopt;
    require(to_native(kWidth == 4 ? "int" : "byte8", &stored, sizeof stored), swap_failure);
    if constexpr (kWidth == 4) return stored;
    if constexpr (kWidth == 8) return little_endian(stored);
}

std::optional<xp_long> RecordFile::next_marker(const char* swap_failure) {
    return layout_.marker_width == 4 ? read_marker<4>(swap_failure) : read_marker<8>(swap_failure);
}

xp_long RecordFile::marker(const MarkerTexts& texts) {
    const ValueTexts& text = layout_.marker_width == 4 ? texts.narrow : texts.wide;
    const auto length = next_marker(text.swap);
    require(length.has_value(), text.read);
    return *length;
}

}  // namespace zam::frt
