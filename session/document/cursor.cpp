#include "session/document/cursor.h"

#include <algorithm>
#include <cmath>

#include "contract/file.h"
#include "session/document/special_numbers.h"
#include "session/document/suggestion.h"

namespace zam::session {
namespace {

/// What a value is, with its article.
std::string_view describe(const Node& node) {
    constexpr std::string_view kNames[] = {"null",     "true or false",      "a number", "a text",
                                           "an array", "an array of values", "an object"};
    return kNames[node.value.index()];
}

std::string join(const std::string& path, std::string_view key) {
    return path.empty() ? std::string(key) : path + "." + std::string(key);
}

}  // namespace

std::string Cursor::input_file(const std::string& name) const {
    const std::string& directory = environment_->directory;
    const bool as_it_is =
        directory.empty() || name.empty() || name.front() == '$' || FILEis_path_absolute(name.c_str()) == 1;
    const std::string between = !as_it_is && directory.back() != '/' ? "/" : "";
    return environment_->files.emplace_back(as_it_is ? name : directory + between + name);
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
        if (path_.empty() && member.key == "$schema") continue;  // tells editors how such files look
        key_problem(member, list_known("unknown key; known here:", member.key, known));
    }
}

}  // namespace zam::session
