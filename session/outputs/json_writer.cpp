#include "session/outputs/json_writer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "base/element_types.h"
#include "session/document/special_numbers.h"

namespace zam::session {
namespace {

constexpr std::size_t kFlushAt = std::size_t{1} << 16;

template <class T>
void append_real(std::string& text, T value) {
    if (!std::isfinite(value)) {
        text.append("\"").append(special_text(value)).append("\"");
        return;
    }
    std::array<char, 32> digits{};
    char* const end = digits.data() + digits.size();
    auto written = std::to_chars(digits.data(), end, value);
    // Of all floats, only this one's shortest text is rounded to its neighbour by readers that go through double.
    if (std::fabs(value) == T(7.038531e-26F)) {
        written = std::to_chars(digits.data(), end, static_cast<double>(value));
    }
    text.append(digits.data(), written.ptr);
}

}  // namespace

std::string json_text(std::string_view text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void append_number(std::string& text, int type, const void* value) {
    with_type(type, [&](auto element) {
        std::memcpy(&element, value, sizeof element);
        if constexpr (std::is_floating_point_v<decltype(element)>) {
            append_real(text, element);
        } else {
            std::array<char, 24> digits{};
            text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), element).ptr);
        }
    });
}

void JsonWriter::separate() {
    if (after_key_) {
        after_key_ = false;
        return;
    }
    if (filled_.empty()) return;
    if (filled_.back()) file_.write(",");
    filled_.back() = true;
    file_.write("\n" + std::string(filled_.size() * 2, ' '));
}

void JsonWriter::begin(char bracket) {
    separate();
    file_.write(&bracket, 1);
    filled_.push_back(false);
}

void JsonWriter::end(char bracket) {
    const bool filled = filled_.back();
    filled_.pop_back();
    if (filled) file_.write("\n" + std::string(filled_.size() * 2, ' '));
    file_.write(&bracket, 1);
    if (filled_.empty()) file_.write("\n");
}

void JsonWriter::key(std::string_view name) {
    separate();
    file_.write(json_text(name) + ": ");
    after_key_ = true;
}

void JsonWriter::item(std::string_view text) {
    separate();
    file_.write(text);
    if (filled_.empty()) file_.write("\n");
}

void JsonWriter::text(std::string_view value) { item(json_text(value)); }

void JsonWriter::number(int type, const void* value) {
    std::string text;
    append_number(text, type, value);
    item(text);
}

void JsonWriter::numbers(int type, const void* values, xp_long count) {
    const auto* bytes = static_cast<const std::byte*>(values);
    const std::size_t size = type_size(type);
    separate();
    std::string text = "[";
    for (xp_long i = 0; i < count; ++i) {
        if (i > 0) text += ", ";
        append_number(text, type, bytes + static_cast<std::size_t>(i) * size);
        if (text.size() < kFlushAt) continue;
        file_.write(text);
        text.clear();
    }
    file_.write(text + "]");
    if (filled_.empty()) file_.write("\n");
}

}  // namespace zam::session
