#include "session/data/xml_tags.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "session/data/data_error.h"

namespace zam::session {
namespace {

constexpr xp_long kBlockBytes = 1 << 16;
constexpr std::size_t kMaxTagBytes = 1 << 16;
constexpr std::string_view kBlanks = " \t\r\n";

[[noreturn]] void fail_at(xp_long byte) { throw DataError("the XML is broken at byte " + std::to_string(byte)); }

/// A character by its number, in UTF-8 up to two bytes; others become "?".
std::string character(std::string_view number) {
    const bool hexadecimal = number.starts_with('x');
    if (hexadecimal) number.remove_prefix(1);
    unsigned int code = 0;
    const auto parsed = std::from_chars(number.data(), number.data() + number.size(), code, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc() || code > 0x7FF) return "?";
    if (code < 0x80) return {static_cast<char>(code)};
    return {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
}

/// The text that an attribute's value stands for.
std::string unescaped(std::string_view value) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kNames{
        {{"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"apos", "'"}}};
    std::string text;
    for (std::size_t at = 0; at < value.size(); ++at) {
        const auto end = value[at] == '&' ? value.find(';', at) : std::string_view::npos;
        if (end == std::string_view::npos) {
            text += value[at];
            continue;
        }
        const std::string_view name = value.substr(at + 1, end - at - 1);
        const auto* const known =
            std::find_if(kNames.begin(), kNames.end(), [&](const auto& one) { return one.first == name; });
        if (name.starts_with('#')) {
            text += character(name.substr(1));
        } else {
            text += known == kNames.end() ? "?" : known->second;
        }
        at = end;
    }
    return text;
}

/// Takes apart what stands between the brackets of a tag. False if it is none.
bool parse(std::string_view text, XmlTag& tag) {
    tag.closes = text.starts_with('/') || text.ends_with('/');
    tag.opens = !text.starts_with('/');
    if (text.starts_with('/')) text.remove_prefix(1);
    if (text.ends_with('/')) text.remove_suffix(1);
    const auto take = [&](std::size_t count) {
        const std::string_view taken = text.substr(0, count);
        text.remove_prefix(taken.size());
        return taken;
    };
    const auto skip_blanks = [&] { take(std::min(text.find_first_not_of(kBlanks), text.size())); };
    tag.name = take(text.find_first_of(kBlanks));
    for (skip_blanks(); !text.empty(); skip_blanks()) {
        std::string key(take(text.find('=')));
        key.erase(key.find_last_not_of(kBlanks) + 1);
        take(1);
        skip_blanks();
        if (text.empty() || (text[0] != '"' && text[0] != '\'')) return false;
        const auto end = text.find(text[0], 1);
        if (end == std::string_view::npos) return false;
        tag.attributes.emplace_back(std::move(key), unescaped(text.substr(1, end - 1)));
        take(end + 1);
    }
    return !tag.name.empty();
}

}  // namespace

const std::string* XmlTag::find(std::string_view key) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const auto& attribute) { return attribute.first == key; });
    return found == attributes.end() ? nullptr : &found->second;
}

bool XmlTags::refill() {
    block_start_ += static_cast<xp_long>(block_.size());
    const xp_long count = std::min(bytes_->size() - block_start_, kBlockBytes);
    at_ = 0;
    block_.resize(static_cast<std::size_t>(std::max<xp_long>(count, 0)));
    if (block_.empty()) return false;
    const std::string error = bytes_->read(block_start_, count, reinterpret_cast<std::byte*>(block_.data()));
    if (!error.empty()) throw DataError(error);
    return true;
}

/// The next byte; negative at the end of the file.
int XmlTags::get() {
    if (at_ == block_.size() && !refill()) return -1;
    return static_cast<unsigned char>(block_[at_++]);
}

/// Goes to the next tag. @return whether more than white space was there before it
bool XmlTags::skip_text() {
    bool text = false;
    while (at_ < block_.size() || refill()) {
        const auto end = std::min(block_.find('<', at_), block_.size());
        text = text || block_.find_first_not_of(kBlanks, at_) < end;
        at_ = end;
        if (end < block_.size()) break;
    }
    return text;
}

void XmlTags::skip_past(std::string_view end) {
    std::string latest;
    while (latest != end) {
        const int byte = get();
        if (byte < 0) fail_at(bytes_->size());
        latest += static_cast<char>(byte);
        if (latest.size() > end.size()) latest.erase(0, 1);
    }
}

/// What stands between a tag's brackets. Those within quotes do not end it.
std::string XmlTags::rest_of_tag() {
    std::string text;
    for (char quote = '\0';;) {
        const int byte = get();
        if (byte < 0 || text.size() == kMaxTagBytes) fail_at(block_start_ + static_cast<xp_long>(at_));
        const char c = static_cast<char>(byte);
        if (c == '>' && quote == '\0') return text;
        if (c == quote) {
            quote = '\0';
        } else if (quote == '\0' && (c == '"' || c == '\'') && !text.starts_with('!')) {
            quote = c;
        }
        text += c;
        if (text == "!--") {
            skip_past("-->");
            return text;
        }
    }
}

std::optional<XmlTag> XmlTags::next() {
    XmlTag tag;
    for (;;) {
        tag.follows = skip_text() || tag.follows;
        tag.begin = block_start_ + static_cast<xp_long>(at_);
        if (get() < 0) return std::nullopt;
        const std::string text = rest_of_tag();
        tag.end = block_start_ + static_cast<xp_long>(at_);
        if (text.starts_with('!') || text.starts_with('?')) continue;
        if (!parse(text, tag)) fail_at(tag.begin);
        return tag;
    }
}

}  // namespace zam::session
