// Numbers in text files: words between white space, read in blocks.
#pragma once

#include "modules/zam/ld_rdfld/byte_source.h"

namespace zam::ldrf {

/// Longest word that can be a number; words that are skipped may be of any length.
constexpr std::ptrdiff_t kMaxNumberLength = 1024;

/// Reads one number from the start of a text: optional sign, decimal digits, fraction, exponent with E or Fortran's D;
/// "nan" and "inf" for reals. Integers may be written as reals and are truncated; beyond the range of an int they are
/// refused, and what is narrower than an int takes the low bytes.
/// @return the place after the number; null if there is none
template <class T>
const char* parse_number(const char* first, const char* last, T& value);

/// Walks over the words of a file from where `bytes` stands; nothing else may read it meanwhile.
class AsciiCursor {
public:
    explicit AsciiCursor(FileBytes& bytes) : bytes_(bytes) { take_window(); }

    /// Skip whole lines or words. @return how many there were, fewer if the file ends
    xp_long skip_lines(xp_long count);
    xp_long skip_words(xp_long count);

    /// Reads the next word as a number; false if there is none or it is not a number, which ends the walk. Form feeds
    /// count as blanks.
    template <class T>
    bool read(T& value);

    /// Reads as many words, each into the next place of `to`, places being `spacing` values apart.
    /// @return how many there were before one that read() refuses
    template <class T>
    xp_long read_run(xp_long count, std::byte* to, xp_long spacing);

    /// Position in the file after the last word.
    xp_long position() const { return bytes_.position() + static_cast<xp_long>(at_ - bytes_.window().data()); }

private:
    void take_window();
    bool refill();
    bool skip_blanks();

    FileBytes& bytes_;
    const char* at_ = nullptr;
    const char* end_ = nullptr;
    bool at_end_of_file_ = false;
};

}  // namespace zam::ldrf
