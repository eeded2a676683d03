// Definitions as their files have them.
#pragma once

#include <nlohmann/json.hpp>

#include "session/network/definitions.h"

namespace zam::runner {

/// A definition as written.
nlohmann::ordered_json definition_file(const session::Definition& definition);

}  // namespace zam::runner
