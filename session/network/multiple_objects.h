// Elements of lists of fields that stand for several, each made by modules of its own:
// {"for": {"reader.filename": ["a.fld", "b.fld"]}, "ref": "surface.out"} with a reader and a surface for each file.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "session/network/network.h"

namespace zam::session {

struct MultipleObject {
    std::size_t module = 0;  // whose list has the element
    const Parameter* parameter = nullptr;
    std::size_t element = 0;
    Cursor cursor;  // at it
};

/// The elements of a list that stand for several.
std::vector<MultipleObject> multiple_objects(const Cursor& list, std::size_t module, const Parameter* parameter);

/// The list with single references in their places.
Node with_single_references(const Node& list);

/// What the modules that are copied have of a network's reader.
struct ReaderOfCopies {
    /// Reads what "MODULE.PARAM" or "MODULE.PARAM.MEMBER" is given. What the cursor is at is borrowed.
    std::function<std::optional<Assignment>(const Cursor&, std::string_view)> read_assignment;
    /// Keeps a value for the cursors that borrow it.
    std::function<const Node*(Node)> keep;
    /// Tells that a module, the second one, was written as another one.
    std::function<void(std::size_t, std::size_t)> written_as;
};

/// Copies the modules that make the objects, once for each value that they go through: reader[0], surface[0], reader[1]
/// and so on, and lets the lists refer to the copies.
/// @param kept  modules that stay even if only copies of them are needed
/// @return by the modules' numbers before, whether copies have taken their place: they are not needed any more
std::vector<bool> copy_modules(Network& network, const std::vector<MultipleObject>& multiples,
                               const std::vector<bool>& kept, const ReaderOfCopies& reader);

/// Marks the modules that a part of a document names, alone or with a parameter.
void mark_named(const Node& node, const Network& network, std::vector<bool>& named);

}  // namespace zam::session
