#include "session/outputs/page_text.h"

#include <array>
#include <cstdint>

namespace zam::session {
namespace {

/// Widths from the space to the tilde, in thousandths of the font's size.
constexpr std::array<std::int16_t, 95> kWidths{
    318, 401, 460, 838, 636, 950, 780, 275, 390, 390, 500, 838, 318, 361, 318, 337, 636, 636, 636,
    636, 636, 636, 636, 636, 636, 636, 337, 337, 838, 838, 838, 531, 999, 684, 686, 698, 770, 632,
    575, 775, 752, 295, 295, 656, 557, 863, 748, 787, 603, 787, 695, 635, 611, 732, 684, 989, 685,
    611, 685, 390, 337, 390, 838, 500, 500, 613, 635, 550, 635, 615, 352, 635, 634, 278, 278, 579,
    278, 974, 634, 612, 635, 635, 411, 521, 392, 634, 592, 818, 592, 592, 525, 636, 337, 636, 838};
constexpr char32_t kReplacement = 0xFFFD;
constexpr std::string_view kEllipsis = "…";

/// Takes the first character off a text; the replacement character for a byte that begins none.
char32_t take_character(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead < 0x80         ? 1
                               : lead >> 5 == 0x6  ? 2
                               : lead >> 4 == 0xE  ? 3
                               : lead >> 3 == 0x1E ? 4
                                                   : 0;
    constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};  // shorter forms hold what is below
    char32_t code = length < 2 ? lead : lead & (0x7FU >> length);
    bool valid = length > 0 && length <= text.size();
    for (std::size_t i = 1; valid && i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        valid = byte >> 6 == 2;
        code = code << 6 | (byte & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code < 0xE000;
    valid = valid && code >= kLeast[length] && code <= 0x10FFFF && !surrogate;
    text.remove_prefix(valid ? length : 1);
    return valid ? code : kReplacement;
}

double character_width(char32_t code) {
    if (code >= U' ' && code <= U'~') return kWidths[code - U' '] / 1000.0;
    const bool superscript = code == U'²' || code == U'³' || code == U'¹' || (code >= 0x2070 && code <= 0x208E);
    if (superscript) return code == U'⁻' ? 0.53 : 0.41;
    if (code == U'−' || code == U'×') return 0.84;
    if (code == U'°' || code == U'·') return 0.5;
    constexpr char32_t kGreek = 0x370;
    constexpr char32_t kIdeographs = 0x2E80;
    return code < kGreek ? 0.66 : code < kIdeographs ? 0.8 : 1.0;
}

}  // namespace

std::string drawable(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
        const std::string_view before = text;
        const char32_t code = take_character(text);
        const bool control = code < U' ' || (code >= 0x7F && code < 0xA0) || code == 0xFFFE || code == 0xFFFF;
        if (control) {
            clean += ' ';
        } else if (code == kReplacement) {
            clean += "\xEF\xBF\xBD";
        } else {
            clean += before.substr(0, before.size() - text.size());
        }
    }
    return clean;
}

double text_width(std::string_view text) {
    double width = 0;
    while (!text.empty()) width += character_width(take_character(text));
    return width;
}

std::string cut_to(std::string text, double width) {
    if (text_width(text) <= width) return text;
    const double room = width - text_width(kEllipsis);
    double taken = 0;
    std::string_view rest = text;
    std::size_t kept = 0;
    while (!rest.empty()) {
        taken += character_width(take_character(rest));
        if (taken > room) break;
        kept = text.size() - rest.size();
    }
    text.resize(kept);
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text.append(kEllipsis);
}

}  // namespace zam::session
