// Fields of a line of text, and the numbers in them.
#pragma once

#include <charconv>
#include <cstddef>
#include <span>
#include <string_view>
#include <system_error>

#include "modules/support/common_decimal.h"

namespace zam::voxel {

/// What read_decimal() makes of a field, narrowed to float.
float to_number(std::string_view field);

/// Takes the contents of a line apart. Runs of blanks and tabs count as one separator; a comma always separates, and
/// fields between commas may be empty, but what is empty after the last comma is no field.
/// @tparam kSeparator  ',' or ' '
template <char kSeparator>
class Fields {
public:
    explicit Fields(std::string_view line) : at_(line.data()), end_(line.data() + line.size()) {}

    enum class Next { number, missing, end };

    /// Moves past the next field and stores what to_number() makes of it in `number`, which stays as it is at the end
    /// of the line and for a field that is empty or blank.
    Next next(float& number) {
        if (kSeparator == ' ') skip_blanks();
        if (at_ == end_) return Next::end;
        if (kSeparator == ',') skip_blanks();
        const bool missing = at_ == end_ || *at_ == kSeparator;
        if (!missing) number = read_number();
        if (at_ != end_) ++at_;
        return missing ? Next::missing : Next::number;
    }

    /// Whether the line is at its end and all its fields were numbers to their last character.
    bool only_numbers() const { return only_numbers_ && at_ == end_; }

private:
    static bool is_blank(char c) { return c == ' ' || c == '\t'; }
    bool at_field_end() const { return at_ == end_ || (kSeparator == ' ' ? is_blank(*at_) : *at_ == kSeparator); }
    void skip_blanks() {
        while (at_ != end_ && is_blank(*at_)) ++at_;
    }
    /// Moves to the end of the field. Most are numbers that end there; none goes beyond it, as no number has a blank or
    /// a comma in it.
    float read_number() {
        const char* const begin = at_;
        double value = 0.0;
        const auto [end, error] = std::from_chars(begin, end_, value);
        at_ = end;
        if (error == std::errc{} && at_field_end()) return static_cast<float>(value);
        only_numbers_ = false;
        while (!at_field_end()) ++at_;
        return to_number({begin, static_cast<std::size_t>(at_ - begin)});
    }

    const char* at_;
    const char* end_;
    bool only_numbers_ = true;
};

/// Reads a line as most are: as many numbers of the common kind, perhaps with a plus sign, as `row` has places, between
/// them the separator and blanks, after them only blanks and the line end.
/// @param text  from the line's first character on to anywhere after it
/// @return length of the line with its line end; 0 for any other line, for which `row` is of no use
template <char kSeparator>
std::size_t read_common_line(std::string_view text, std::span<float> row) {
    const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
    const char* at = text.data();
    const char* const last = at + text.size();
    for (float& number : row) {
        if (kSeparator == ',' && &number != row.data()) {
            if (at == last || *at != ',') return 0;
            ++at;
        }
        const char* const end_before = at;
        while (at != last && is_blank(*at)) ++at;
        if (kSeparator == ' ' && &number != row.data() && at == end_before) return 0;
        if (at != last && *at == '+') {
            ++at;
            if (at != last && *at == '-') return 0;
        }
        at = read_common_decimal(at, last, number);
        if (at == nullptr) return 0;
    }
    while (at != last && (is_blank(*at) || *at == '\r')) ++at;
    return at != last && *at == '\n' ? static_cast<std::size_t>(at + 1 - text.data()) : 0;
}

/// Comma if the line has one, else blank.
char separator_of(std::string_view line);

int count_fields(std::string_view line, char separator);

}  // namespace zam::voxel
