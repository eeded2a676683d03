// Cases as text files: a line "NAME> text" begins a case, further lines of it begin with a mark; # begins a comment.
// The test that reads a file says what its marks mean. \n, \r, \t, \f, \0, \xFF and \\ stand for characters; a line
// that ends in \c has no line end.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace zam::test {

struct TextCase {
    std::string name;
    std::string form;                                 // as in "NAME(form)> text"
    std::vector<std::pair<char, std::string>> lines;  // mark and text with its line end

    /// The lines of a mark, without their ends.
    std::vector<std::string> list(char mark) const {
        std::vector<std::string> found;
        for (const auto& [its_mark, line] : lines) {
            if (its_mark == mark) found.push_back(line.substr(0, line.size() - (line.ends_with('\n') ? 1 : 0)));
        }
        return found;
    }
    /// The lines of a mark as one text.
    std::string text(char mark) const {
        std::string all;
        for (const auto& [its_mark, line] : lines) {
            if (its_mark == mark) all += line;
        }
        return all;
    }

    friend void PrintTo(const TextCase& one, std::ostream* out) { *out << one.name; }
};

inline std::string unescape(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            plain += text[i];
            continue;
        }
        const char mark = text.at(++i);
        if (mark == 'c') break;
        if (mark == 'x') {
            plain += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else if (const auto known = std::string_view("fnrt0").find(mark); known != std::string_view::npos) {
            plain += "\f\n\r\t\0"[known];
        } else {
            plain += mark;
        }
    }
    return plain;
}

/// @param marks  the characters that may begin a line of a case
/// @throws std::runtime_error  for a file that is not there or has no case
inline std::vector<TextCase> load_text_cases(const std::string& file, std::string_view marks) {
    std::vector<TextCase> cases;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        const std::size_t mark = line.find_first_of(marks);
        if (mark > 0) {
            const std::string head = line.substr(0, mark);
            const std::size_t form = std::min(head.find('('), head.size());
            cases.push_back(
                {head.substr(0, form), form < head.size() ? head.substr(form + 1, mark - form - 2) : "", {}});
        }
        const std::string text = unescape(std::string_view(line).substr(std::min(mark + 2, line.size())));
        cases.back().lines.emplace_back(line[mark], text + (line.ends_with("\\c") ? "" : "\n"));
    }
    if (cases.empty()) throw std::runtime_error("no cases in " + file);
    return cases;
}

/// The numbers of a text, between blanks, "inf" and "nan" among them.
template <class T = double>
std::vector<T> numbers_in(const std::string& text) {
    std::vector<T> numbers;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        if constexpr (std::is_same_v<T, float>)
            numbers.push_back(std::strtof(word.c_str(), nullptr));
        else
            numbers.push_back(static_cast<T>(std::strtod(word.c_str(), nullptr)));
    }
    return numbers;
}

/// A table, which is a case whose lines come in pairs: > a text, = what becomes of it.
/// @throws std::runtime_error  if the file has no such table
inline std::vector<std::pair<std::string, std::string>> load_rows(const std::string& file, std::string_view table) {
    for (const auto& one : load_text_cases(file, ">=")) {
        const auto texts = one.list('>'), results = one.list('=');
        if (one.name != table || texts.size() != results.size()) continue;
        std::vector<std::pair<std::string, std::string>> rows;
        for (std::size_t row = 0; row < texts.size(); ++row) rows.emplace_back(texts[row], results[row]);
        return rows;
    }
    throw std::runtime_error("no such table in " + file);
}

}  // namespace zam::test
