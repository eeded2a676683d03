#include "platform/posix/profile_text.h"

#include <algorithm>

#include "platform/ascii.h"

namespace zam::platform {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f\x1A";  // the last one once ended texts
constexpr std::string_view kLineEnds = "\r\n";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // some editors begin files with it

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return text.substr(text.size());
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view up_to_nul(std::string_view text) { return text.substr(0, text.find('\0')); }

/// Whether a name in the file, trimmed, is the one that is looked for.
bool is_name(std::string_view in_file, std::string_view name) {
    in_file = up_to_nul(in_file);
    return std::equal(in_file.begin(), in_file.end(), name.begin(), name.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

/// The name in a trimmed line that is the head of a section: up to the last bracket, after which anything may stand.
/// `nullopt` for other lines, one without that bracket among them.
std::optional<std::string_view> section_name(std::string_view line) {
    const auto end = line.rfind(']');
    if (!line.starts_with('[') || end == std::string_view::npos) return std::nullopt;
    return trimmed(line.substr(1, end - 1));
}

/// A line within a section. Its views lie in the text and say where their parts stand, also when they are empty.
struct Entry {
    std::string_view key;
    std::optional<std::string_view> value;  // `nullopt` if the line has no "="
};

Entry parse_entry(std::string_view line) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) return {trimmed(line), std::nullopt};
    return {trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))};
}

/// Where the first line begins.
std::size_t begin_of(std::string_view text) { return text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0; }

/// The line end at the front of a text, one or two characters.
std::string_view line_end_at(std::string_view text) { return text.substr(0, text.starts_with("\r\n") ? 2 : 1); }

/// Goes through the lines of a text.
class Lines {
public:
    explicit Lines(std::string_view text) : text_(text), next_(begin_of(text)) {}
    /// Takes the next line; false at the end.
    bool next() {
        if (next_ >= text_.size()) return false;
        const auto end = std::min(text_.find_first_of(kLineEnds, next_), text_.size());
        line_ = text_.substr(next_, end - next_);
        next_ = end + line_end_at(text_.substr(end)).size();
        return true;
    }
    /// Where the next line begins.
    std::size_t end() const { return next_; }
    /// Without its end.
    std::string_view line() const { return line_; }

private:
    std::string_view text_, line_;
    std::size_t next_;
};

/// Where a key stands, or would.
struct Spot {
    bool section = false;         // there is one
    std::optional<Entry> entry;   // of the key
    std::size_t section_end = 0;  // after its last line that is not blank
};

/// Lines before the first section belong to the one without a name.
Spot find_spot(std::string_view text, std::string_view section, std::string_view key) {
    Spot spot{.section = section.empty(), .entry = {}, .section_end = begin_of(text)};
    Lines lines(text);
    while (lines.next()) {
        const auto line = trimmed(lines.line());
        const auto head = section_name(line);
        if (spot.section && head) break;
        if (head) {
            spot.section = is_name(*head, section);
        } else if (spot.section && !line.empty() && !line.starts_with(';')) {
            const Entry entry = parse_entry(lines.line());
            if (is_name(entry.key, key)) {
                spot.entry = entry;
                break;
            }
        }
        if (spot.section && !line.empty()) spot.section_end = lines.end();
    }
    return spot;
}

std::string_view line_end(std::string_view text) {
    const auto first = text.find_first_of(kLineEnds);
    return first == std::string_view::npos ? "\n" : line_end_at(text.substr(first));
}

bool has_control(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; });
}

void append_utf8(std::string& text, unsigned unit) {
    const auto tail = [](unsigned bits) { return static_cast<char>(0x80U | (bits & 0x3FU)); };
    if (unit < 0x80U) {
        text += static_cast<char>(unit);
    } else if (unit < 0x800U) {
        (text += static_cast<char>(0xC0U | unit >> 6U)) += tail(unit);
    } else {
        ((text += static_cast<char>(0xE0U | unit >> 12U)) += tail(unit >> 6U)) += tail(unit);
    }
}

/// Takes one unit, as append_utf8() made it, off the front of a text; `nullopt` for other bytes.
std::optional<unsigned> take_unit(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead < 0x80U ? 1 : (lead & 0xE0U) == 0xC0U ? 2 : (lead & 0xF0U) == 0xE0U ? 3 : 0;
    if (length == 0 || length > text.size()) return std::nullopt;
    unsigned unit = length == 1 ? lead : lead & (length == 2 ? 0x1FU : 0x0FU);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80U) return std::nullopt;
        unit = unit << 6U | (byte & 0x3FU);
    }
    text.remove_prefix(length);
    return unit;
}

}  // namespace

ProfileEncoding profile_encoding(std::string_view bytes) {
    if (bytes.size() % 2 == 0 && bytes.starts_with("\xFF\xFE")) return ProfileEncoding::utf16_little;
    if (bytes.size() % 2 == 0 && bytes.starts_with("\xFE\xFF")) return ProfileEncoding::utf16_big;
    return ProfileEncoding::bytes;
}

std::string decode_profile(std::string_view bytes, ProfileEncoding encoding) {
    if (encoding == ProfileEncoding::bytes) return std::string(bytes);
    const std::size_t low = encoding == ProfileEncoding::utf16_little ? 0 : 1;
    const auto byte = [&](std::size_t at) { return static_cast<unsigned>(static_cast<unsigned char>(bytes[at])); };
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 2) append_utf8(text, byte(i + low) | byte(i + 1 - low) << 8U);
    return text;
}

std::optional<std::string> encode_profile(std::string_view text, ProfileEncoding encoding) {
    if (encoding == ProfileEncoding::bytes) return std::string(text);
    std::string bytes;
    while (!text.empty()) {
        const auto unit = take_unit(text);
        if (!unit) return std::nullopt;
        const char low = static_cast<char>(*unit & 0xFFU);
        const char high = static_cast<char>(*unit >> 8U);
        (bytes += encoding == ProfileEncoding::utf16_little ? low : high) +=
            encoding == ProfileEncoding::utf16_little ? high : low;
    }
    return bytes;
}

std::string_view unquoted(std::string_view value) {
    const bool quoted = value.size() >= 2 && (value.front() == '"' || value.front() == '\'');
    return quoted && value.back() == value.front() ? value.substr(1, value.size() - 2) : value;
}

std::optional<std::string_view> find_profile_value(std::string_view text, std::string_view section,
                                                   std::string_view key) {
    const Spot spot = find_spot(text, trimmed(section), trimmed(key));
    if (!spot.entry || !spot.entry->value) return std::nullopt;
    return unquoted(up_to_nul(*spot.entry->value));
}

std::string set_profile_value(std::string_view text, std::string_view section, std::string_view key,
                              std::string_view value) {
    section = trimmed(section);
    key = trimmed(key);
    const Spot spot = find_spot(text, section, key);
    std::string result(text);
    const auto place_of = [&](const char* at) { return static_cast<std::size_t>(at - text.data()); };
    if (spot.entry && spot.entry->value)
        return result.replace(place_of(spot.entry->value->data()), spot.entry->value->size(), value);
    if (spot.entry)
        return result.insert(place_of(spot.entry->key.data() + spot.entry->key.size()), "=" + std::string(value));
    const std::string end(line_end(text));
    std::string added;
    const std::size_t place = spot.section ? spot.section_end : text.size();
    if (place > begin_of(text) && kLineEnds.find(text[place - 1]) == std::string_view::npos) added = end;
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
