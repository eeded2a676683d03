#include "session/view/network_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace zam::session {
namespace {

constexpr std::size_t kColumns = 118;
constexpr int kFloatDigits = 9;  // tell every float from every other

/// Replacement of bytes that are no UTF-8, which labels and file names may have, keeps the text readable.
std::string scalar_text(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

/// "A": or nothing, then the value, on one line.
std::string on_one_line(const Json& value) {
    if (!value.is_structured() || value.empty()) return scalar_text(value);
    std::string text = value.is_object() ? "{ " : "[";
    bool first = true;
    for (const auto& [key, member] : value.items()) {
        if (!first) text += ", ";
        first = false;
        if (value.is_object()) text.append(scalar_text(key)).append(": ");
        text += on_one_line(member);
    }
    return text + (value.is_object() ? " }" : "]");
}

/// @param column  where the value begins
void append(std::string& text, const Json& value, std::size_t indent, std::size_t column) {
    const std::string line = on_one_line(value);
    if (column + line.size() <= kColumns || !value.is_structured() || value.empty()) {
        text += line;
        return;
    }
    const std::string margin(indent + 2, ' ');
    text += value.is_object() ? "{" : "[";
    bool first = true;
    for (const auto& [key, member] : value.items()) {
        text.append(first ? "\n" : ",\n").append(margin);
        first = false;
        const std::string name = value.is_object() ? scalar_text(key) + ": " : "";
        text += name;
        append(text, member, indent + 2, indent + 2 + name.size());
    }
    text.append("\n").append(indent, ' ').append(value.is_object() ? "}" : "]");
}

}  // namespace

std::string network_text(const Json& value) {
    std::string text;
    append(text, value, 0, 0);
    return text;
}

double rounded(double value, double span) {
    const double size = std::fabs(value);
    if (!(size > 0.0) || !std::isfinite(size)) return value;
    const double digits = span > 0.0 ? std::ceil(std::log10(size / span)) + 4 : kFloatDigits;
    if (digits < 1.0) return 0.0;
    char text[32];
    std::snprintf(text, sizeof text, "%.*g", static_cast<int>(std::min(digits, 17.0)), value);
    return std::strtod(text, nullptr);
}

}  // namespace zam::session
