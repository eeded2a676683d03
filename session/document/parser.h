// JSON texts as trees of nodes.
#pragma once

#include <string_view>

#include "session/document/document.h"

namespace zam::session {

/// Parses the text of a document into its root. Duplicate keys are problems of their own, after which the first counts.
/// @return false after a problem that leaves no document: syntax, nesting deeper than 64, too many values
/// @param comments  whether comments, // and /* */, may stand between tokens
bool parse_json(const Document& document, std::string_view text, bool comments, Node& root, Problems& problems);

/// The first key of a JSON object, of which only the beginning may be there, other than its "$schema"; empty if there
/// is none.
std::string first_key(std::string_view start);

}  // namespace zam::session
