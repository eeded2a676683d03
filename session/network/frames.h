// Parameters that go through lists of values, frame by frame.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "session/network/network.h"

namespace zam::session {

/// A copy of a value of a document in which the member that `path` names (its keys, outermost first) is another, made
/// with what is missing on the way. Its parts all stand where `member` stands.
/// @param base  null: there is none yet
/// @return `nullopt` if something on the way is no object
std::optional<Node> with_member(const Node* base, const std::vector<std::string>& path, const Node& member);

/// Number of values within a value, and itself.
std::size_t value_count(const Node& node);

/// "render.xform.rotate" after the parameter: the names of ".rotate"; `nullopt` if it is no way along members, or a
/// very long one.
std::optional<std::vector<std::string>> member_path(std::string_view rest);

/// Reads the list that a parameter, or one of its members, goes through in `steps` frames. Numbers, alone or within
/// values of the same form, are joined linearly; values that cannot be joined are one per frame.
/// @return `nullopt` after a problem
std::optional<Track> read_track(const Cursor& list, std::vector<std::string> path, const Parameter& parameter,
                                int steps);

/// What a sweep gives its parameter at a step of an event.
Node node_at(const Sweep& sweep, const ForEvent& event, int step);

/// The values of all parameters at a step. What cannot be read any more is a problem, and left out.
std::vector<Assignment> assignments_at(const ForEvent& event, int step, Problems& problems);

/// Whether a file name has one "%d", with a width like "%04d" or without.
bool is_numbered(std::string_view file);
/// The name with the number in its place.
std::string numbered(std::string_view file, int number);

}  // namespace zam::session
