#include "modules/zam/readers/voxel_lines.h"

#include <algorithm>
#include <cstring>

#include "platform/large_file.h"

namespace zam::voxel {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 18;  // much more than a line

}  // namespace

LineSource::LineSource(std::FILE* file, xp_long length) : file_(file), length_(length), buffer_(kBlockBytes) {
    at_ = end_ = buffer_.data();
    left_ = length;
}

bool LineSource::rewind() {
    at_ = end_ = buffer_.data();
    left_ = length_;
    return platform::seek(file_, 0, SEEK_SET) == 0;
}

const char* LineSource::find_line_end(const char* from) const {
    return static_cast<const char*>(std::memchr(from, '\n', static_cast<std::size_t>(end_ - from)));
}

std::string_view LineSource::line_up_to(const char* line_end) {
    const std::string_view line(at_, std::min(static_cast<std::size_t>(line_end - at_), kMaxLine));
    at_ = line_end;
    return buffer_has_nul_ ? line.substr(0, line.find('\0')) : line;
}

/// Moves the first `kept` bytes of what is left to the front and reads on after them; false at the end of the file.
bool LineSource::refill(std::size_t kept) {
    std::memmove(buffer_.data(), at_, kept);
    const auto room = static_cast<xp_long>(buffer_.size() - kept);
    const std::size_t got =
        std::fread(buffer_.data() + kept, 1, static_cast<std::size_t>(std::min(room, left_)), file_);
    left_ = got == 0 ? 0 : left_ - static_cast<xp_long>(got);
    at_ = buffer_.data();
    end_ = at_ + kept + got;
    buffer_has_nul_ = std::memchr(at_, '\0', kept + got) != nullptr;
    return got > 0;
}

/// The line that begins in this block and ends in another one or with the file. Only the beginning of a long one is
/// kept.
std::optional<std::string_view> LineSource::next_across_blocks() {
    for (;;) {
        const auto kept = std::min(static_cast<std::size_t>(end_ - at_), kMaxLine);
        const bool more = refill(kept);
        if (const char* line_end = find_line_end(at_ + kept)) return line_up_to(line_end + 1);
        if (!more) return at_ == end_ ? std::nullopt : std::optional(line_up_to(end_));
    }
}

std::string_view first_columns(std::string_view line) {
    std::size_t column = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (column >= kMaxLine) return line.substr(0, i);
        column += line[i] == '\t' && column % 2 == 0 ? 2 : 1;
    }
    return line;
}

}  // namespace zam::voxel
