#include "platform/posix/profile_text.h"

#include <algorithm>

#include "platform/ascii.h"

namespace zam::platform {
namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // some editors begin files with it

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return text.substr(text.size());
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool same_name(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

bool is_section_line(std::string_view line) { return line.starts_with('['); }

/// Whether a line, trimmed, is the head of a section. Behind the bracket anything may stand.
bool begins_section(std::string_view line, std::string_view section) {
    if (!is_section_line(line)) return false;
    const auto begin = line.find_first_not_of(kBlanks, 1);
    if (begin == std::string_view::npos || line.size() - begin < section.size()) return false;
    const auto behind = line.find_first_not_of(kBlanks, begin + section.size());
    return same_name(line.substr(begin, section.size()), section) && behind != std::string_view::npos &&
           line[behind] == ']';
}

/// Whether a line, trimmed, sets `key`.
bool sets_key(std::string_view line, std::string_view key) {
    if (line.starts_with(';')) return false;
    const auto equals = line.find('=');
    return equals != std::string_view::npos && same_name(trimmed(line.substr(0, equals)), key);
}

/// Goes through the lines of a text.
class Lines {
public:
    explicit Lines(std::string_view text) : text_(text) {
        if (text_.starts_with(kByteOrderMark)) next_ = kByteOrderMark.size();
    }
    /// Takes the next line; false at the end.
    bool next() {
        if (next_ >= text_.size()) return false;
        begin_ = next_;
        const auto end = text_.find('\n', begin_);
        next_ = end == std::string_view::npos ? text_.size() : end + 1;
        return true;
    }
    std::size_t begin() const { return begin_; }
    /// Where the next line begins.
    std::size_t end() const { return next_; }
    std::string_view line() const {
        auto line = text_.substr(begin_, next_ - begin_);
        if (line.ends_with('\n')) line.remove_suffix(1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        return line;
    }

private:
    std::string_view text_;
    std::size_t begin_ = 0, next_ = 0;
};

/// Where a key stands, or would.
struct Spot {
    bool section = false;                  // there is one
    std::optional<std::string_view> line;  // that sets the key, without its end
    std::size_t section_end = 0;           // behind its last line that is not blank
};

Spot find_spot(std::string_view text, std::string_view section, std::string_view key) {
    Spot spot;
    Lines lines(text);
    while (lines.next()) {
        const auto line = trimmed(lines.line());
        if (!spot.section) {
            spot.section = begins_section(line, section);
        } else if (is_section_line(line)) {
            break;
        } else if (sets_key(line, key)) {
            spot.line = lines.line();
            break;
        }
        if (spot.section && !line.empty()) spot.section_end = lines.end();
    }
    return spot;
}

std::string_view line_end(std::string_view text) {
    const auto first = text.find('\n');
    return first != std::string_view::npos && first > 0 && text[first - 1] == '\r' ? "\r\n" : "\n";
}

/// The value in a line that sets a key, blanks cut; where it is empty, the view still says where it would stand.
std::string_view value_in(std::string_view line) { return trimmed(line.substr(line.find('=') + 1)); }

bool has_control(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; });
}

}  // namespace

std::optional<std::string_view> find_profile_value(std::string_view text, std::string_view section,
                                                   std::string_view key) {
    const Spot spot = find_spot(text, trimmed(section), trimmed(key));
    if (!spot.line) return std::nullopt;
    std::string_view value = value_in(*spot.line);
    value = trimmed(value.substr(0, value.find('\0')));
    const bool quoted = value.size() >= 2 && (value.front() == '"' || value.front() == '\'');
    if (quoted && value.back() == value.front()) value = value.substr(1, value.size() - 2);
    return value;
}

std::string set_profile_value(std::string_view text, std::string_view section, std::string_view key,
                              std::string_view value) {
    section = trimmed(section);
    key = trimmed(key);
    const Spot spot = find_spot(text, section, key);
    std::string result(text);
    if (spot.line) {
        const std::string_view old = value_in(*spot.line);
        return result.replace(static_cast<std::size_t>(old.data() - text.data()), old.size(), value);
    }
    const std::string end(line_end(text));
    std::string added;
    const std::size_t place = spot.section ? spot.section_end : text.size();
    if (place > 0 && text[place - 1] != '\n') added = end;
    if (!spot.section) added.append("[").append(section).append("]").append(end);
    added.append(key).append("=").append(value).append(end);
    return result.insert(place, added);
}

bool can_keep_profile_texts(std::string_view section, std::string_view key, std::string_view value) {
    if (has_control(section) || has_control(key) || has_control(value)) return false;
    const auto name = trimmed(key);
    return !name.starts_with('[') && !name.starts_with(';') && name.find('=') == std::string_view::npos;
}

}  // namespace zam::platform
