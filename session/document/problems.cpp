#include "session/document/problems.h"

#include <algorithm>

namespace zam::session {
namespace {

constexpr std::size_t kMaxLines = 1000;

}  // namespace

std::string to_text(const Place& place) {
    std::string text = place.source;
    if (place.line > 0) text += ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
    if (!place.path.empty()) text += ": " + place.path;
    return text;
}

void Problems::add(const Place& place, std::string_view text) {
    if (++count_ <= kMaxLines) lines_.push_back(to_text(place).append(": ").append(text));
}

void Problems::note(std::string_view path, std::string_view text) {
    const std::string line = std::string(path).append(": ").append(text);
    const bool known = std::find(notes_.begin(), notes_.end(), line) != notes_.end();
    if (!known && notes_.size() < kMaxLines) notes_.push_back(line);
}

std::string Problems::text() const {
    std::string text;
    for (const auto& line : lines_) text.append(text.empty() ? "" : "\n").append(line.c_str());  // up to a zero in it
    if (count_ > kMaxLines) text += "\nand " + std::to_string(count_ - kMaxLines) + " more problems";
    return text;
}

void Problems::print(std::FILE* stream) const {
    if (any()) std::fprintf(stream, "%s\n", text().c_str());
}

}  // namespace zam::session
