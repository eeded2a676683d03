// Cursors that walk a document, read typed values and report problems by place.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "session/document/document.h"

namespace zam::session {

struct NumberArray;

/// What reading a document needs besides its text.
struct Environment {
    Problems& problems;
    std::string directory;                   // relative file names start here; empty: the current directory
    std::span<const NumberArray> lent = {};  // arrays at hand, which {"lent": n} stands for; of programs, not of files
    std::vector<std::string> files = {};     // receives those that the values name
};

/// One value of a document with its way from the root.
class Cursor {
public:
    Cursor(const Document& document, Environment& environment)
        : document_(&document), node_(&document.root()), environment_(&environment) {}

    const Node& node() const { return *node_; }
    Environment& environment() const { return *environment_; }
    const std::string& path() const { return path_; }
    /// The name of a file that stands here, relative to where relative names start. It is added to the environment's.
    std::string input_file(const std::string& name) const;
    Place place() const { return document_->place(node_->offset, path_); }
    void problem(std::string_view text) const { environment_->problems.add(place(), text); }
    /// What a user should know of what stands here, though nothing is wrong with it.
    void note(std::string_view text) const { environment_->problems.note(path_, text); }

    Cursor at(const Member& member) const;
    Cursor at(std::size_t index) const;  // element of an array of Elements
    std::optional<Cursor> find(std::string_view key) const;
    /// Another value at the same place. The value is borrowed.
    Cursor with(const Node& node) const { return {*this, node, path_}; }
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

    // Typed reading: `nullopt` after a problem "... is expected, not ...".
    const Object* object() const;
    std::optional<std::string> text() const;
    std::optional<bool> boolean() const;
    std::optional<double> real() const;
    std::optional<std::int64_t> integer(std::int64_t low, std::int64_t high) const;
    std::optional<std::vector<std::string>> texts() const;

    /// A problem for every key of an object that is not among `known`. A whole document may also name its "$schema".
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

}  // namespace zam::session
