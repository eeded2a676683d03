// What is wrong with the files and options that a user gave, each with its place.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace zam::session {

/// Where something stands: a file with line and column, or an option of the command line.
struct Place {
    std::string source;
    std::size_t line = 0;    // from 1; 0: the source has no lines
    std::size_t column = 0;  // bytes, from 1
    std::string path;        // way from the root of the document: "modules.reader.params.filename"
};

/// "FILE:LINE:COLUMN: PATH", as far as known.
std::string to_text(const Place& place);

/// The problems found so far, in the order in which they were found.
class Problems {
public:
    void add(const Place& place, std::string_view text);

    /// What is worth knowing, but no problem. @param path  way from the root of the document
    void note(std::string_view path, std::string_view text);

    bool any() const { return count_ > 0; }
    std::size_t count() const { return count_; }
    /// One text per problem; the first thousand, which is more than anyone reads.
    const std::vector<std::string>& lines() const { return lines_; }
    /// One text per note, none twice: "modules.render.params.in: TEXT".
    const std::vector<std::string>& notes() const { return notes_; }
    /// One line per problem, and how many were left out; no line end at the end.
    std::string text() const;
    /// Prints that, if there are any.
    void print(std::FILE* stream) const;

private:
    std::vector<std::string> lines_, notes_;
    std::size_t count_ = 0;
};

}  // namespace zam::session
