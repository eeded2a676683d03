// Numbers in text files: words between white space, read in blocks.
#pragma once

#include <cstdio>
#include <string_view>
#include <vector>

#include "contract/types.h"

namespace zam::ldrf {

/// Longest word that can be a number; words that are passed over may be of any length.
constexpr std::size_t kMaxNumberLength = 1024;

/// Reads one number from the start of a text: optional sign, decimal digits, fraction, exponent with E or Fortran's D;
/// "nan" and "inf" for reals. Integers may be written as reals and are truncated; beyond the range of an int they are
/// refused, and what is narrower than an int takes the low bytes.
/// @return behind the number, or null when there is none
template <class T>
const char* parse_number(const char* first, const char* last, T& value);

/// Walks over the words of a file from a position on. The file is only borrowed, and moved by no one else meanwhile.
class AsciiCursor {
public:
    AsciiCursor(std::FILE* file, xp_long start);

    /// Pass over whole lines or words; false when the file ends first.
    bool skip_lines(xp_long count);
    bool skip_words(xp_long count);

    /// Reads the next word as a number; false when there is none or it is not a number. Form feeds count as blanks.
    template <class T>
    bool read(T& value);

    /// Position in the file behind the last word.
    xp_long position() const { return filled_to_ - static_cast<xp_long>(end_ - at_); }

private:
    bool refill();
    bool skip_blanks();

    std::FILE* file_;
    xp_long filled_to_;  // position in the file after the buffer
    std::vector<char> buffer_;
    const char* at_;
    const char* end_;
    bool at_end_of_file_ = false;
};

}  // namespace zam::ldrf
