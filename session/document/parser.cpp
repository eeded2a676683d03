// The JSON parser knows values but not where they stand: the positions follow from walking the text along with its
// events.
#include "session/document/parser.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "session/document/special_numbers.h"

namespace zam::session {
namespace {

constexpr std::size_t kMaxNesting = 64;
constexpr std::size_t kMaxNodes = 4'000'000;  // some 500 MB; packed numbers do not count
constexpr std::size_t kMaxMessage = 200;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The parser's message without what a place says already, cut to one line of printable characters.
std::string tidy_message(std::string_view message) {
    message.remove_prefix(std::min(message.find("] ") + 2, message.size()));
    if (message.starts_with("parse error at ")) message.remove_prefix(message.find(": ") + 2);
    std::string tidy(message.substr(0, kMaxMessage));
    std::replace_if(
        tidy.begin(), tidy.end(), [](unsigned char c) { return c < 0x20 || c >= 0x7F; }, '?');
    return message.size() > kMaxMessage ? tidy + "..." : tidy;
}

class Builder final : public nlohmann::json_sax<nlohmann::json> {
public:
    Builder(const Document& document, Node& root, std::string_view text, Problems& problems)
        : document_(document), root_(root), text_(text), problems_(problems) {
        if (text.starts_with(kByteOrderMark)) cursor_ = kByteOrderMark.size();
    }

    bool null() override { return scalar(nullptr); }
    bool boolean(bool value) override { return scalar(value); }
    bool number_integer(number_integer_t value) override { return number(std::int64_t{value}); }
    bool number_unsigned(number_unsigned_t value) override {
        constexpr auto kMaxInteger = static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max());
        if (value > kMaxInteger) return number(static_cast<double>(value));
        return number(static_cast<std::int64_t>(value));
    }
    bool number_float(number_float_t value, const string_t& /*text*/) override { return number(value); }
    bool string(string_t& value) override;
    bool binary(binary_t& /*value*/) override { return false; }
    bool start_object(std::size_t /*elements*/) override { return open(Object{}); }
    bool start_array(std::size_t /*elements*/) override { return open(Numbers{}); }
    bool end_object() override;
    bool end_array() override { return close(); }
    bool key(string_t& value) override;
    bool parse_error(std::size_t position, const std::string& token, const nlohmann::json::exception& error) override;

private:
    std::size_t token_start() const;
    /// The offset after a token without quotes.
    std::size_t end_of_word(std::size_t start) const {
        return std::min(text_.find_first_of(" \t\r\n,:]}/", start), text_.size());
    }
    std::size_t end_of_string(std::size_t start) const;
    template <class T>
    bool scalar(T value) {
        const std::size_t start = token_start();
        cursor_ = end_of_word(start);
        return add(start, std::move(value)) != nullptr;
    }
    bool number(Number value);
    template <class T>
    bool open(T container);
    bool close();
    template <class T>
    Node* add(std::size_t offset, T value);
    bool refuse(std::size_t offset, const std::string& why);
    Elements& unpacked(Node& array);

    const Document& document_;
    Node& root_;
    std::string_view text_;
    Problems& problems_;
    std::size_t cursor_ = 0;   // after the last token
    std::size_t nodes_ = 0;    // made so far
    std::vector<Node*> open_;  // containers from the root inward
};

/// The offset of the next token, which follows separators and comments.
std::size_t Builder::token_start() const {
    std::size_t start = text_.find_first_not_of(" \t\r\n,:", cursor_);
    while (start < text_.size() && text_[start] == '/') {  // the parser refuses what begins so and is no comment
        const bool block = text_.substr(start + 1).starts_with('*');
        const std::size_t end = block ? text_.find("*/", start + 2) : text_.find_first_of("\r\n", start);
        if (end == std::string_view::npos) return text_.size();
        start = text_.find_first_not_of(" \t\r\n,:", end + (block ? 2 : 1));
    }
    return std::min(start, text_.size());
}

/// The offset after the closing quote of the string that begins at `start`.
std::size_t Builder::end_of_string(std::size_t start) const {
    std::size_t end = start + 1;
    while (end < text_.size() && text_[end] != '"') end += text_[end] == '\\' ? 2 : 1;
    return std::min(end + 1, text_.size());
}

bool Builder::number(Number value) {
    auto* numbers = open_.empty() ? nullptr : std::get_if<Numbers>(&open_.back()->value);
    if (!numbers) return scalar(value);
    cursor_ = end_of_word(token_start());
    numbers->push_back(value);
    return true;
}

bool Builder::string(string_t& value) {
    const std::size_t start = token_start();
    cursor_ = end_of_string(start);
    const auto special = special_number(value);
    auto* numbers = open_.empty() ? nullptr : std::get_if<Numbers>(&open_.back()->value);
    if (!numbers || !special) return add(start, std::move(value)) != nullptr;
    numbers->push_back(*special);
    return true;
}

bool Builder::key(string_t& value) {
    const std::size_t start = token_start();
    cursor_ = end_of_string(start);
    std::get<Object>(open_.back()->value).push_back({std::move(value), start, {}});
    return true;
}

/// The array with one node per element, once it turns out to hold more than numbers. Packed numbers did not keep their
/// places: they take the array's.
Elements& Builder::unpacked(Node& array) {
    if (auto* elements = std::get_if<Elements>(&array.value)) return *elements;
    Elements elements;
    for (const auto& number : std::get<Numbers>(array.value)) {
        const auto* real = std::get_if<double>(&number);
        if (real && !std::isfinite(*real)) {
            elements.push_back({array.offset, std::string(special_text(*real))});
        } else {
            elements.push_back({array.offset, number});
        }
    }
    return array.value.emplace<Elements>(std::move(elements));
}

/// Null if the document has become too large.
template <class T>
Node* Builder::add(std::size_t offset, T value) {
    Node* container = open_.empty() ? nullptr : open_.back();
    const auto* packed = container ? std::get_if<Numbers>(&container->value) : nullptr;
    nodes_ += 1 + (packed ? packed->size() : 0);  // packed numbers are about to become nodes
    if (nodes_ > kMaxNodes) {
        refuse(offset, "the document has more than 4000000 values");
        return nullptr;
    }
    Node node{offset, std::move(value)};
    if (!container) return &(root_ = std::move(node));
    if (auto* object = std::get_if<Object>(&container->value)) return &(object->back().node = std::move(node));
    return &unpacked(*container).emplace_back(std::move(node));
}

bool Builder::refuse(std::size_t offset, const std::string& why) {
    problems_.add(document_.place(offset, ""), why);
    return false;
}

template <class T>
bool Builder::open(T container) {
    const std::size_t start = token_start();
    if (open_.size() >= kMaxNesting) {
        return refuse(start, "nested deeper than " + std::to_string(kMaxNesting) + " objects and arrays");
    }
    cursor_ = start + 1;
    Node* node = add(start, std::move(container));
    if (!node) return false;
    open_.push_back(node);  // it stays where it is until it closes: only the innermost container grows
    return true;
}

bool Builder::close() {
    cursor_ = token_start() + 1;
    open_.pop_back();
    return true;
}

bool Builder::end_object() {
    std::vector<const Member*> members;
    for (const auto& member : std::get<Object>(open_.back()->value)) members.push_back(&member);
    std::stable_sort(members.begin(), members.end(), [](auto* a, auto* b) { return a->key < b->key; });
    for (std::size_t i = 1; i < members.size(); ++i) {
        if (members[i]->key != members[i - 1]->key) continue;
        refuse(members[i]->key_offset, "\"" + members[i]->key + "\" is given twice");
    }
    return close();
}

bool Builder::parse_error(std::size_t position, const std::string& /*token*/, const nlohmann::json::exception& error) {
    return refuse(std::min(position > 0 ? position - 1 : 0, text_.size()), tidy_message(error.what()));
}

}  // namespace

bool parse_json(const Document& document, std::string_view text, bool comments, Node& root, Problems& problems) {
    Builder builder(document, root, text, problems);
    return nlohmann::json::sax_parse(text.begin(), text.end(), &builder, nlohmann::json::input_format_t::json, true,
                                     comments);
}

std::string first_key(std::string_view start) {
    using Json = nlohmann::json;
    std::string first;
    const auto take_key = [&](int depth, Json::parse_event_t event, const Json& value) {
        if (event == Json::parse_event_t::key && depth == 1 && first.empty() && value != "$schema") first = value;
        return true;
    };
    [[maybe_unused]] const Json rest = Json::parse(start.begin(), start.end(), take_key, false, true);
    return first;
}

}  // namespace zam::session
