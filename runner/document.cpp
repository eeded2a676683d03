#include "runner/document.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "contract/file.h"
#include "runner/file_handle.h"
#include "runner/special_numbers.h"

namespace zam::runner {
namespace {

constexpr std::size_t kMostFileBytes = std::size_t{256} << 20;
constexpr std::size_t kReadBlock = std::size_t{1} << 16;

/// What a value is, with its article.
std::string_view describe(const Node& node) {
    constexpr std::string_view kNames[] = {"null",     "true or false",      "a number", "a text",
                                           "an array", "an array of values", "an object"};
    return kNames[node.value.index()];
}

std::string join(const std::string& path, std::string_view key) {
    return path.empty() ? std::string(key) : path + "." + std::string(key);
}

std::optional<std::string> read_file(const std::string& name, std::string& error) {
    const FileHandle file(FILEfopen(name.c_str(), "rb"));
    if (!file) {
        error = "cannot open the file";
        return std::nullopt;
    }
    std::string text;
    std::size_t got = 0;
    do {
        const std::size_t old_size = text.size();
        text.resize(old_size + kReadBlock);
        got = std::fread(text.data() + old_size, 1, kReadBlock, file.get());
        text.resize(old_size + got);
    } while (got > 0 && text.size() <= kMostFileBytes);
    if (std::ferror(file.get())) error = "cannot read the file";
    if (text.size() > kMostFileBytes)
        error = "the file is larger than 256 MiB; put large arrays into a \"values_file\"";
    return error.empty() ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace

std::unique_ptr<const Document> load_document(const std::string& file, Problems& problems) {
    std::string error;
    auto text = read_file(file, error);
    if (!text) {
        problems.add({file, 0, 0, {}}, error);
        return nullptr;
    }
    auto document = std::make_unique<Document>(file, std::move(*text));
    if (!document->parse(problems)) return nullptr;
    return document;
}

std::string input_file(const std::string& directory, const std::string& name) {
    if (directory.empty() || name.empty() || name.front() == '$' || FILEis_path_absolute(name.c_str()) == 1)
        return name;
    return directory.back() == '/' ? directory + name : directory + "/" + name;
}

Cursor Cursor::at(const Member& member) const { return {*this, member.node, join(path_, member.key)}; }

Cursor Cursor::at(std::size_t index) const {
    return {*this, std::get<Elements>(node_->value)[index], path_ + "[" + std::to_string(index) + "]"};
}

std::optional<Cursor> Cursor::find(std::string_view key) const {
    const auto* members = get<Object>();
    if (!members) return std::nullopt;
    const auto found = std::find_if(members->begin(), members->end(), [&](const auto& m) { return m.key == key; });
    return found == members->end() ? std::nullopt : std::optional(at(*found));
}

void Cursor::key_problem(const Member& member, std::string_view text) const {
    environment_->problems.add(document_->place(member.key_offset, join(path_, member.key)), text);
}

std::size_t Cursor::array_size() const {
    if (const auto* numbers = get<Numbers>()) return numbers->size();
    const auto* elements = get<Elements>();
    return elements ? elements->size() : 0;
}

void Cursor::expected(std::string_view expected) const {
    problem(std::string(expected).append(" is expected, not ").append(describe(*node_)));
}

const Object* Cursor::object() const {
    if (!get<Object>()) expected("an object");
    return get<Object>();
}

std::optional<std::string> Cursor::text() const {
    if (const auto* text = get<std::string>()) return *text;
    expected("a text");
    return std::nullopt;
}

std::optional<bool> Cursor::boolean() const {
    if (const auto* value = get<bool>()) return *value;
    expected("true or false");
    return std::nullopt;
}

std::optional<double> Cursor::real() const {
    if (const auto* number = get<Number>()) {
        return std::visit([](auto value) { return static_cast<double>(value); }, *number);
    }
    const auto* text = get<std::string>();
    if (const auto special = text ? special_number(*text) : std::nullopt) return special;
    expected("a number");
    return std::nullopt;
}

std::optional<std::int64_t> Cursor::integer(std::int64_t low, std::int64_t high) const {
    const auto* number = get<Number>();
    if (!number) {
        expected("a whole number");
        return std::nullopt;
    }
    std::optional<std::int64_t> value;
    if (const auto* whole = std::get_if<std::int64_t>(number)) {
        value = *whole;
    } else if (const double real = std::get<double>(*number); std::trunc(real) == real && std::fabs(real) < 0x1p62) {
        value = static_cast<std::int64_t>(real);  // 3.0 is as whole as 3
    } else if (std::trunc(real) != real) {
        problem("a whole number is expected, not a fraction");
        return std::nullopt;
    }
    if (value && *value >= low && *value <= high) return value;
    problem("the number is outside " + std::to_string(low) + " to " + std::to_string(high));
    return std::nullopt;
}

std::optional<std::vector<std::string>> Cursor::texts() const {
    std::vector<std::string> texts;
    if (const auto* numbers = get<Numbers>()) {
        for (const auto& number : *numbers) {
            const auto* real = std::get_if<double>(&number);
            if (!real || std::isfinite(*real)) {
                expected("an array of texts");
                return std::nullopt;
            }
            texts.push_back(special_text(*real));
        }
        return texts;
    }
    const auto* elements = get<Elements>();
    if (!elements) {
        expected("an array of texts");
        return std::nullopt;
    }
    for (std::size_t i = 0; i < elements->size(); ++i) {
        const auto* text = std::get_if<std::string>(&(*elements)[i].value);
        if (!text) {
            at(i).expected("a text");
            return std::nullopt;
        }
        texts.push_back(*text);
    }
    return texts;
}

void Cursor::expect_keys(std::span<const std::string_view> known) const {
    const auto* members = get<Object>();
    if (!members) return;
    for (const auto& member : *members) {
        if (std::find(known.begin(), known.end(), member.key) != known.end()) continue;
        std::string text = "unknown key; known here:";
        for (const auto key : known) text.append(" ").append(key);
        key_problem(member, text);
    }
}

}  // namespace zam::runner
