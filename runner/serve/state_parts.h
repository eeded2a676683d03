// Parts of what pages are told.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runner/serve/edited_network.h"
#include "runner/serve/json_text.h"
#include "runner/serve/shown_output.h"
#include "runner/serve/time_steps.h"
#include "zam/session.h"

namespace zam::runner {

/// What an error says, a line each, as places and texts.
Json problem_list(const std::string& lines);

Json reports_json(const std::vector<Report>& reports);

/// A parameter as its definition has it, with what it is given.
/// @param written  as network files write it; empty: nothing
Json parameter_json(const Parameter& parameter, const std::string& written);

/// A module with its parameters and its reports.
Json module_json(EditedNetwork& network, const ModuleState& state, const std::vector<Report>& reports);

Json output_json(const OutputEntry& entry);

/// Null if there are none.
Json steps_json(const std::optional<TimeSteps>& steps);

/// Colours of the presets: "#rrggbb" for each of 256 values, by name.
Json presets_json();

/// How often the values of component 0 occur, of its first part: 256 classes from the smallest to the largest. Of large
/// fields every n-th node counts.
/// @throws Error  if there is no such component
Json count_values(const Field& field);

/// A network laid out as a graph; modules are groups with the id "module-NAME". On one thread only.
/// @param text   of the network
/// @param otherwise  what is given if it cannot be laid out
std::string graph_svg(const std::string& text, const std::string& otherwise);

/// Memory that this process has, in bytes; 0 if the system does not tell.
std::int64_t resident_bytes();

}  // namespace zam::runner
