#include <cstddef>
#include <utility>

#include "platform/ascii.h"
#include "platform/find_files.h"

namespace zam::platform {
namespace {

/// A part of a pattern. All but the first two are what Windows makes of `*`, `?` and `.`, for the sake of programs that
/// are older than long names.
struct Token {
    enum What { character, run, run_before_last_dot, character_or_none, dot_or_end } what;
    char value;
};

std::vector<Token> parse(std::string_view pattern) {
    std::vector<Token> tokens;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        const bool ends = i + 1 == pattern.size();
        const char next = ends ? '\0' : pattern[i + 1];
        if (c == '*') {
            tokens.push_back({next == '.' ? Token::run_before_last_dot : Token::run, c});
        } else if (c == '?') {
            tokens.push_back({Token::character_or_none, c});
        } else if (c == '.' && (ends || next == '*' || next == '?')) {
            tokens.push_back({Token::dot_or_end, c});
        } else {
            tokens.push_back({Token::character, lower(c)});
        }
    }
    return tokens;
}

/// Follows all ways through the tokens at once, so that no pattern takes longer than its length times the name's
/// length.
class Matcher {
public:
    Matcher(std::vector<Token> tokens, std::string_view name)
        : tokens_(std::move(tokens)), name_(name), last_dot_(name.rfind('.')), reached_(tokens_.size() + 1) {}

    bool matches() {
        reached_[0] = true;
        for (std::size_t place = 0; place < name_.size(); ++place) {
            leave_out(place);
            take(place);
        }
        leave_out(name_.size());
        return reached_.back();
    }

private:
    bool is_run(std::size_t token) const {
        return tokens_[token].what == Token::run || tokens_[token].what == Token::run_before_last_dot;
    }

    /// Passes tokens that may stand for nothing at a place.
    void leave_out(std::size_t place) {
        const bool ended = place == name_.size();
        const bool at_dot = !ended && name_[place] == '.';
        for (std::size_t token = 0; token < tokens_.size(); ++token) {
            const auto what = tokens_[token].what;
            const bool nothing = is_run(token) || (what == Token::character_or_none && (ended || at_dot)) ||
                                 (what == Token::dot_or_end && ended);
            if (reached_[token] && nothing) reached_[token + 1] = true;
        }
    }

    bool takes(const Token& token, std::size_t place) const {
        const char c = name_[place];
        switch (token.what) {
            case Token::character: return lower(c) == token.value;
            case Token::run: return true;
            case Token::run_before_last_dot: return place != last_dot_;
            case Token::character_or_none: return c != '.';
            case Token::dot_or_end: return c == '.';
        }
        return false;
    }

    /// Moves past the character at a place; runs stay where they are.
    void take(std::size_t place) {
        std::vector<bool> moved(reached_.size());
        for (std::size_t token = 0; token < tokens_.size(); ++token) {
            if (reached_[token] && takes(tokens_[token], place)) moved[is_run(token) ? token : token + 1] = true;
        }
        reached_ = std::move(moved);
    }

    std::vector<Token> tokens_;
    std::string_view name_;
    std::size_t last_dot_;
    std::vector<bool> reached_;  // tokens that may come next; the last stands for the pattern's end
};

}  // namespace

bool matches_pattern(std::string_view name, std::string_view pattern) {
    return pattern == "*" || Matcher(parse(pattern), name).matches();
}

}  // namespace zam::platform
