// Values of documents as JSON again.
#pragma once

#include <string>

#include "session/document/document.h"

namespace zam::session {

/// A value as JSON on one line, without comments. Numbers have the shortest text that gives the same value back.
std::string json_of(const Node& node);

}  // namespace zam::session
