// JSON documents that remember where everything stands, and cursors that walk them and report problems by place.
//
// Arrays of numbers, which may be most of a file, are kept packed: 16 bytes a number.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "runner/problems.h"

namespace zam::runner {

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
    Place place(std::size_t offset, std::string path) const;

    /// Parses the text. Duplicate keys are problems of their own, after which the first of them counts.
    /// @return false after a problem that leaves no document: syntax, nesting deeper than 64, too many values
    bool parse(Problems& problems);

private:
    std::string name_;  // file, or option of the command line
    std::string text_;
    std::vector<std::size_t> lines_before_block_;  // line ends before each block of the text; empty: without lines
    Node root_;
};

/// Reads and parses a JSON file in UTF-8 of at most 256 MiB.
/// @return null when there is no document; then a problem says why
std::unique_ptr<const Document> load_document(const std::string& file, Problems& problems);

/// What reading a document needs beside it.
struct Environment {
    Problems& problems;
    std::string directory;  // relative file names start here; empty: the current directory
};

/// The name of an input file: relative names are taken relative to `directory`.
std::string input_file(const std::string& directory, const std::string& name);

/// One value of a document with its way from the root.
class Cursor {
public:
    Cursor(const Document& document, Environment& environment)
        : document_(&document), node_(&document.root()), environment_(&environment) {}

    const Node& node() const { return *node_; }
    Environment& environment() const { return *environment_; }
    const std::string& path() const { return path_; }
    Place place() const { return document_->place(node_->offset, path_); }
    void problem(std::string_view text) const { environment_->problems.add(place(), text); }

    Cursor at(const Member& member) const;
    Cursor at(std::size_t index) const;  // element of an array of Elements
    std::optional<Cursor> find(std::string_view key) const;
    /// A problem with a member's key rather than its value.
    void key_problem(const Member& member, std::string_view text) const;

    template <class T>
    const T* get() const {
        return std::get_if<T>(&node_->value);
    }
    bool is_null() const { return get<std::nullptr_t>() != nullptr; }
    bool is_array() const { return get<Numbers>() || get<Elements>(); }
    /// Number of elements of an array of either form.
    std::size_t array_size() const;

    // Typed reading: nothing after a problem "... is expected, not ...".
    const Object* object() const;
    std::optional<std::string> text() const;
    std::optional<bool> boolean() const;
    std::optional<double> real() const;
    std::optional<std::int64_t> integer(std::int64_t low, std::int64_t high) const;
    std::optional<std::vector<std::string>> texts() const;

    /// A problem for every key of an object that is not among `known`.
    void expect_keys(std::span<const std::string_view> known) const;
    /// A problem that names what stands here instead of `expected`: "a number is expected, not a text".
    void expected(std::string_view expected) const;

private:
    Cursor(const Cursor& parent, const Node& node, std::string path)
        : document_(parent.document_), node_(&node), environment_(parent.environment_), path_(std::move(path)) {}

    const Document* document_;
    const Node* node_;
    Environment* environment_;
    std::string path_;
};

}  // namespace zam::runner
