// Lines of a voxel text file: read in blocks, cut at the length of a line buffer, reduced to their contents.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

#include "contract/types.h"

namespace zam::voxel {

/// Characters that a line may have, its line end included; the rest of a longer line is skipped.
constexpr std::size_t kMaxLine = 1023;

/// Gives the lines of a file one after another. The file is borrowed, and nobody else may move its position meanwhile.
class LineSource {
public:
    /// @param length  bytes of the file to read at most, so that reading ends even if the file grows meanwhile
    /// @throws std::bad_alloc
    LineSource(std::FILE* file, xp_long length);

    /// The next line with its line end, cut at kMaxLine and at a NUL; `nullopt` at the end of the file.
    /// Valid until the next call.
    std::optional<std::string_view> next() {
        if (const char* line_end = find_line_end(at_)) return line_up_to(line_end + 1);
        return next_across_blocks();
    }

    /// What of the next lines is at hand, up to what a line has within its first_columns() whatever its tabs.
    std::string_view at_hand() const { return {at_, std::min(static_cast<std::size_t>(end_ - at_), kMaxLine / 2)}; }
    /// Passes over as much of it.
    void skip(std::size_t size) { at_ += size; }

    /// Goes back to the first line. @return false for what cannot be rewound, such as a pipe
    bool rewind();

private:
    const char* find_line_end(const char* from) const;
    std::string_view line_up_to(const char* line_end);
    std::optional<std::string_view> next_across_blocks();
    bool refill(std::size_t kept);

    std::FILE* file_;
    xp_long length_;
    xp_long left_ = 0;  // bytes of the file not yet in the buffer
    std::vector<char> buffer_;
    const char* at_;
    const char* end_;
    bool buffer_has_nul_ = false;
};

/// The part of a line that begins within kMaxLine columns. A tab takes one or two, so that what follows stands at an
/// even one.
std::string_view first_columns(std::string_view line);

constexpr bool is_trailing_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// Whether contents() has anything.
inline bool has_contents(std::string_view line) { return !std::ranges::all_of(line, is_trailing_blank); }

/// What fields are taken from: a line without trailing tabs, line ends and blanks and without leading blanks, and of
/// that the first_columns(). Tabs count as blanks.
/// @return empty for a line without contents
inline std::string_view contents(std::string_view line) {
    while (!line.empty() && is_trailing_blank(line.back())) line.remove_suffix(1);
    while (!line.empty() && line.front() == ' ') line.remove_prefix(1);
    return line.size() <= kMaxLine / 2 ? line : first_columns(line);
}

}  // namespace zam::voxel
