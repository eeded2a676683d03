#include "modules/zam/ld_rdfld/byte_source.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 18;
constexpr std::size_t kDirectBytes = std::size_t{1} << 16;  // reads from here on go past the buffer
constexpr std::size_t kFirstFill = std::size_t{1} << 12;
constexpr xp_long kMarkerBytes = 4;

}  // namespace

void FileBytes::attach(std::FILE* file) {
    file_ = file;
    length_ = platform::length(file);
    file_position_ = -1;
    buffer_start_ = 0;
    at_ = end_ = 0;
    next_fill_ = kFirstFill;
}

void FileBytes::seek(xp_long position) {
    const xp_long place = position - buffer_start_;
    if (place >= 0 && place <= static_cast<xp_long>(end_)) {
        at_ = static_cast<std::size_t>(place);
        return;
    }
    buffer_start_ = position;
    at_ = end_ = 0;
    next_fill_ = kFirstFill;
}

std::size_t FileBytes::read_file(char* to, std::size_t size, xp_long position) {
    // a position that cannot be reached reads as the end of the file
    if (position != file_position_ && platform::seek(file_, position, SEEK_SET) != 0) return 0;
    const std::size_t got = std::fread(to, 1, size, file_);
    file_position_ = position + static_cast<xp_long>(got);
    return got;
}

/// Adds at least `wanted` bytes, which the buffer has room for, after its end; fewer only where the file ends.
std::size_t FileBytes::fill(std::size_t wanted) {
    if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(kBufferBytes);
    const std::size_t size = std::min(std::max(wanted, next_fill_), kBufferBytes - end_);
    const std::size_t got = read_file(buffer_.get() + end_, size, buffer_start_ + static_cast<xp_long>(end_));
    end_ += got;
    next_fill_ = std::min(2 * size, kBufferBytes);
    return got;
}

std::size_t FileBytes::read(std::byte* to, std::size_t size) {
    std::size_t got = std::min(size, end_ - at_);
    if (got > 0) std::memcpy(to, buffer_.get() + at_, got);
    at_ += got;
    if (got == size) return got;

    const std::size_t missing = size - got;
    buffer_start_ = position();
    at_ = end_ = 0;
    if (missing >= kDirectBytes) {
        const std::size_t direct = read_file(reinterpret_cast<char*>(to + got), missing, buffer_start_);
        buffer_start_ += static_cast<xp_long>(direct);
        return got + direct;
    }
    at_ = std::min(missing, fill(missing));
    std::memcpy(to + got, buffer_.get(), at_);
    return got + at_;
}

bool FileBytes::extend_window() {
    const std::string_view left = window();
    if (left.size() == kBufferBytes) return false;
    if (!left.empty()) std::memmove(buffer_.get(), left.data(), left.size());
    buffer_start_ = position();
    at_ = 0;
    end_ = left.size();
    return fill(1) > 0;
}

void SourceBytes::begin(xp_long start, bool records) {
    unformatted_ = records;
    in_records_ = records;
    for (const bool reversed : {false, true}) {
        reversed_ = reversed;
        bytes_.seek(start);
        if (!records || open_record()) return;
    }
    in_records_ = false;
    bytes_.seek(far_sum(start, kMarkerBytes));
}

bool SourceBytes::read_marker(xp_long at, xp_long& length) {
    std::array<std::byte, kMarkerBytes> marker;
    bytes_.seek(at);
    if (bytes_.read(marker.data(), marker.size()) != marker.size()) return false;
    if (reversed_) std::reverse(marker.begin(), marker.end());
    std::int32_t value = 0;
    std::memcpy(&value, marker.data(), sizeof value);
    length = value < 0 ? -static_cast<xp_long>(value) : value;
    return true;
}

/// Opens the record whose leading marker is at the current position; its trailing marker must hold the same length.
bool SourceBytes::open_record() {
    const xp_long start = bytes_.position();
    xp_long leading = 0;
    xp_long trailing = 0;
    if (!read_marker(start, leading)) return false;
    record_end_ = start + kMarkerBytes + leading;
    if (record_end_ > bytes_.length() - kMarkerBytes) return false;
    if (!read_marker(record_end_, trailing) || trailing != leading) return false;
    bytes_.seek(start + kMarkerBytes);
    return true;
}

std::size_t SourceBytes::read(std::byte* to, std::size_t size) {
    if (!in_records_) return bytes_.read(to, size);
    std::size_t got = 0;
    while (got < size) {
        const auto left = static_cast<std::size_t>(record_end_ - bytes_.position());
        const std::size_t part = bytes_.read(to + got, std::min(left, size - got));
        got += part;
        if (got == size || (left > 0 && part == 0)) break;
        if (bytes_.position() < record_end_) continue;
        bytes_.seek(record_end_ + kMarkerBytes);
        if (!open_record()) break;
    }
    return got;
}

xp_long SourceBytes::skip(xp_long bytes) {
    if (!in_records_) {
        const xp_long at = bytes_.position();
        bytes_.seek(far_sum(at, bytes));
        return std::clamp<xp_long>(bytes_.length() - at, 0, bytes);
    }
    for (xp_long passed = 0;;) {
        const xp_long part = std::min(bytes - passed, record_end_ - bytes_.position());
        bytes_.seek(bytes_.position() + part);
        passed += part;
        if (passed == bytes) return passed;
        bytes_.seek(record_end_ + kMarkerBytes);
        if (!open_record()) {
            bytes_.seek(bytes_.length());
            record_end_ = bytes_.length();
            return passed;
        }
    }
}

xp_long SourceBytes::end_position() const {
    if (!unformatted_) return bytes_.position();
    return far_sum(in_records_ ? record_end_ : bytes_.position(), kMarkerBytes);
}

}  // namespace zam::ldrf
