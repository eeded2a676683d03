#include "modules/zam/readers/voxel_lines.h"

#include <algorithm>
#include <cstring>

#include "platform/large_file.h"

namespace zam::voxel {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 18;  // much more than a line
constexpr std::string_view kBlankOrLineEnd = " \t\n\r";

std::string_view up_to_nul(std::string_view line) { return line.substr(0, line.find('\0')); }

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
    return line;
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
    return got > 0;
}

/// The line that begins in this block and ends in another one, or with the file. Of a long one only the beginning is
/// kept.
std::optional<std::string_view> LineSource::next_across_blocks() {
    for (;;) {
        const auto kept = std::min(static_cast<std::size_t>(end_ - at_), kMaxLine);
        const bool more = refill(kept);
        if (const char* line_end = find_line_end(at_ + kept)) return line_up_to(line_end + 1);
        if (!more) return at_ == end_ ? std::nullopt : std::optional(line_up_to(end_));
    }
}

std::string_view normalise(std::string_view line, LineBuffer& buffer) {
    line = up_to_nul(line);
    line = line.substr(0, line.find_last_not_of(kBlankOrLineEnd) + 1);
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (line.find('\t') == std::string_view::npos) return line;

    std::size_t column = 0;
    const auto put = [&](char c) {
        if (column < buffer.size()) buffer[column++] = c;
    };
    for (const char c : line) {
        if (c != '\t') {
            put(c);
        } else {
            const bool odd = column % 2 == 1;
            put(' ');
            if (!odd) put(' ');
        }
    }
    return {buffer.data(), column};
}

bool has_contents(std::string_view line) {
    // no blank, line end or NUL: an ordinary line is seen at its first character
    if (!line.empty() && line.front() > ' ') return true;
    return up_to_nul(line).find_first_not_of(kBlankOrLineEnd) != std::string_view::npos;
}

}  // namespace zam::voxel
