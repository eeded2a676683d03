#include "session/document/suggestion.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace zam::session {
namespace {

constexpr std::size_t kMaxName = 64;      // longer texts are no names that were mistyped
constexpr std::size_t kMinBeginning = 3;  // letters that are enough to stand for a name

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Number of letters to change, leave out, add, or exchange with their neighbours, each letter in one such step at most
/// (optimal string alignment). Capitals count as small letters.
std::size_t distance(std::string_view a, std::string_view b) {
    using Row = std::array<std::size_t, kMaxName + 1>;
    Row before_last{};
    Row last{};
    Row row{};
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        before_last = last;
        last = row;
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const bool same = lower(a[i - 1]) == lower(b[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            const bool exchanged =
                i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1]);
            if (exchanged) row[j] = std::min(row[j], before_last[j - 2] + 1);
        }
    }
    return row[b.size()];
}

}  // namespace

std::string did_you_mean(std::string_view unknown, std::span<const std::string_view> known) {
    if (unknown.empty() || unknown.size() > kMaxName) return {};
    std::string_view nearest;
    std::size_t least = std::max<std::size_t>(1, unknown.size() / 3) + 1;
    for (const auto name : known) {
        if (name.size() > kMaxName) continue;
        if (const std::size_t far = distance(unknown, name); far < least && far < name.size()) {
            least = far;
            nearest = name;
        }
    }
    if (nearest.empty() && unknown.size() >= kMinBeginning) {
        const auto found =
            std::find_if(known.begin(), known.end(), [&](auto name) { return name.starts_with(unknown); });
        if (found != known.end()) nearest = *found;
    }
    return nearest.empty() ? std::string() : "; did you mean \"" + std::string(nearest) + "\"?";
}

std::string list_known(std::string text, std::string_view unknown, std::span<const std::string_view> known) {
    for (const auto name : known) text.append(" ").append(name);
    return text + did_you_mean(unknown, known);
}

}  // namespace zam::session
