// Fields of a line of text, and the numbers in them.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace zam::voxel {

/// The number that a field begins with, as atof reads it in the "C" locale, whatever the program's locale is: white
/// space, a sign, decimal digits with a point and an exponent, "inf" or "nan". What follows is ignored; 0 where there
/// is no number. There are no hexadecimal numbers: "0x10" is 0. Read as double and then narrowed to float.
float to_number(std::string_view field);

/// Takes a normalised line apart. Runs of blanks count as one separator; a comma always separates, and fields between
/// commas may be empty, but what is empty after the last comma is no field.
class Fields {
public:
    Fields(std::string_view line, char separator) : rest_(line), separator_(separator) {}

    /// The next field, `nullopt` at the end of the line.
    std::optional<std::string_view> next();

private:
    std::string_view rest_;
    char separator_;  // ',' or ' '
};

/// Whether nothing, or nothing but blanks, stands in a field.
bool is_missing(std::string_view field);

/// Comma when the line has one, else blank.
char separator_of(std::string_view line);

int count_fields(std::string_view line, char separator);

/// Reads the numbers of an ordinary line: all there, separated by blanks, tabs or the comma, without signs in front but
/// "-", and no "#" in the line. Gives what to_number() gives for the fields of the normalised line, only sooner.
/// @param line     as it stands in the file, at most kMaxLine characters
/// @param numbers  filled; undefined if the line is not ordinary
/// @return whether the line is ordinary
bool read_ordinary_line(std::string_view line, char separator, std::span<float> numbers);

}  // namespace zam::voxel
