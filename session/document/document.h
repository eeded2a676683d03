// JSON documents that remember where everything stands.
//
// Arrays of numbers, which may be most of a file, are kept packed: 16 bytes per number.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "session/document/problems.h"

namespace zam::session {

/// A number as written. Within arrays of numbers the texts "nan", "inf" and "-inf" are reals too.
using Number = std::variant<std::int64_t, double>;

struct Node;
struct Member;
using Numbers = std::vector<Number>;  // an array of numbers only; the empty array
using Elements = std::vector<Node>;   // any other array
using Object = std::vector<Member>;   // in the order of the file, every key once

struct Node {
    std::size_t offset = 0;  // byte of the text at which the value begins
    std::variant<std::nullptr_t, bool, Number, std::string, Numbers, Elements, Object> value;
};

struct Member {
    std::string key;
    std::size_t key_offset = 0;
    Node node;
};

class Document {
public:
    Document(std::string name, std::string text);
    /// The value of a command line option: JSON, or, when it is not JSON, the text itself.
    static std::unique_ptr<const Document> from_option(std::string name, const std::string& text);

    const Node& root() const { return root_; }
    const std::string& text() const { return text_; }
    Place place(std::size_t offset, std::string path) const;

    /// Parses the text. Duplicate keys are problems of their own, after which the first of them counts.
    /// @param comments  whether comments, // and /* */, may stand between its tokens
    /// @return false after a problem that leaves no document: syntax, nesting deeper than 64, too many values
    bool parse(Problems& problems, bool comments = true);

private:
    std::string name_;  // file, or option of the command line
    std::string text_;
    std::vector<std::size_t> lines_before_block_;  // line ends before each block of the text; empty: without lines
    Node root_;
};

/// Reads and parses a JSON file in UTF-8 of at most 256 MiB, which may have comments.
/// @return null when there is no document; then a problem says why
std::unique_ptr<const Document> load_document(const std::string& file, Problems& problems);

/// The same of a stream. @param name  what problems call it
std::unique_ptr<const Document> load_document(std::FILE* stream, const std::string& name, Problems& problems);

}  // namespace zam::session
