// The text of a profile file, apart from where it is kept. The libraries for such files that distributions have either
// only read them, or write all of a file anew in a form of their own; here whatever is not set must stay byte for byte.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zam::platform {

/// How the bytes of a file stand for its text.
enum class ProfileEncoding {
    bytes,         // as they are
    utf16_little,  // units of 16 bits after a byte order mark, as some editors on Windows save texts
    utf16_big
};
ProfileEncoding profile_encoding(std::string_view bytes);

/// A file's text; UTF-16 becomes UTF-8 unit by unit, halves of pairs too, so that it can be written back as it was.
std::string decode_profile(std::string_view bytes, ProfileEncoding encoding);

/// The bytes for a text; `nullopt` if it has a character that decode_profile() would not have made.
std::optional<std::string> encode_profile(std::string_view text, ProfileEncoding encoding);

/// A value without one pair of quotes round it.
std::string_view unquoted(std::string_view value);

/// The value of a key, without blanks and quotes round it and up to a zero byte; a view into `text`. `nullopt`
/// if the key is missing, or its first line has no "=".
std::optional<std::string_view> find_profile_value(std::string_view text, std::string_view section,
                                                   std::string_view key);

/// The text with the key set: in its line, else in a line after the last of the section that is not blank, else in a
/// new section at the end. The section without a name is what stands before the first one. Lines end as
/// the text's first line does, LF where there is none.
std::string set_profile_value(std::string_view text, std::string_view section, std::string_view key,
                              std::string_view value);

/// Whether a section, key or value can be found again once it was set.
bool can_keep_profile_texts(std::string_view section, std::string_view key, std::string_view value);

}  // namespace zam::platform
