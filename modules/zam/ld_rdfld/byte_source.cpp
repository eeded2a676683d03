#include "modules/zam/ld_rdfld/byte_source.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

#include "modules/zam/ld_rdfld/byte_order.h"
#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 16;
constexpr xp_long kMarkerBytes = 4;

}  // namespace

PlainBytes::PlainBytes(std::FILE* file, xp_long start) : file_(file), filled_to_(start) { seek(start); }

void PlainBytes::seek(xp_long position) {
    buffer_at_ = buffer_end_ = 0;
    filled_to_ = position;
    // a position that cannot be reached reads as the end of the file
    if (position < 0 || platform::seek(file_, position, SEEK_SET) != 0) platform::seek(file_, 0, SEEK_END);
}

std::size_t PlainBytes::read(std::byte* to, std::size_t size) {
    std::size_t got = std::min(size, buffer_end_ - buffer_at_);
    if (got > 0) std::memcpy(to, buffer_.data() + buffer_at_, got);
    buffer_at_ += got;
    if (got == size) return got;

    const std::size_t missing = size - got;
    if (missing >= kBufferBytes) {
        const std::size_t direct = std::fread(to + got, 1, missing, file_);
        filled_to_ += static_cast<xp_long>(direct);
        return got + direct;
    }
    buffer_.resize(kBufferBytes);
    buffer_end_ = std::fread(buffer_.data(), 1, kBufferBytes, file_);
    filled_to_ += static_cast<xp_long>(buffer_end_);
    buffer_at_ = std::min(missing, buffer_end_);
    std::memcpy(to + got, buffer_.data(), buffer_at_);
    return got + buffer_at_;
}

void PlainBytes::skip(xp_long bytes) {
    if (bytes <= static_cast<xp_long>(buffer_end_ - buffer_at_)) {
        buffer_at_ += static_cast<std::size_t>(bytes);
        return;
    }
    const xp_long at = position();
    seek(bytes > std::numeric_limits<xp_long>::max() - at ? -1 : at + bytes);
}

RecordBytes::RecordBytes(std::FILE* file, xp_long start, xp_long file_length)
    : bytes_(file, start), file_length_(file_length) {
    for (const bool reversed : {false, true}) {
        reversed_ = reversed;
        in_records_ = true;
        bytes_.seek(start);
        if (open_record()) return;
    }
    in_records_ = false;
    bytes_.seek(start + kMarkerBytes);
}

bool RecordBytes::read_marker(xp_long at, bool reversed, xp_long& length) {
    std::array<std::byte, kMarkerBytes> marker;
    bytes_.seek(at);
    if (bytes_.read(marker.data(), marker.size()) != marker.size()) return false;
    if (reversed) std::reverse(marker.begin(), marker.end());
    std::int32_t value = 0;
    std::memcpy(&value, marker.data(), sizeof value);
    length = value < 0 ? -static_cast<xp_long>(value) : value;
    return true;
}

/// Opens the record whose leading marker is at the current position; its trailing marker must hold the same length.
bool RecordBytes::open_record() {
    const xp_long start = bytes_.position();
    xp_long leading = 0;
    xp_long trailing = 0;
    if (!read_marker(start, reversed_, leading)) return false;
    record_end_ = start + kMarkerBytes + leading;
    if (record_end_ > file_length_ - kMarkerBytes) return false;
    if (!read_marker(record_end_, reversed_, trailing) || trailing != leading) return false;
    bytes_.seek(start + kMarkerBytes);
    return true;
}

std::size_t RecordBytes::read(std::byte* to, std::size_t size) {
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

void RecordBytes::skip(xp_long bytes) {
    if (!in_records_) return bytes_.skip(bytes);
    while (bytes > 0) {
        const xp_long part = std::min(bytes, record_end_ - bytes_.position());
        bytes_.skip(part);
        bytes -= part;
        if (bytes == 0) return;
        bytes_.seek(record_end_ + kMarkerBytes);
        if (!open_record()) {
            bytes_.seek(file_length_);
            record_end_ = file_length_;
            return;
        }
    }
}

xp_long RecordBytes::end_position() { return (in_records_ ? record_end_ : bytes_.position()) + kMarkerBytes; }

}  // namespace zam::ldrf
