// The network as a file.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "runner/serve/edited_network.h"
#include "runner/serve/folder.h"
#include "runner/serve/recording.h"
#include "runner/serve/time_steps.h"

namespace zam::runner {

/// What is saved of a network: its values and what was recorded.
/// @param steps   of a reading module, which they are given by an event
/// @param events  whether the events of its file stay; those that were recorded take their place
Json network_to_save(const EditedNetwork& network, const Recording& recording, const std::optional<TimeSteps>& steps,
                     bool events);

/// Where a network may be saved.
/// @param base       the network's own directory
/// @param name       from the folder's directory
/// @param confirmed  that a file of that name may be overwritten
/// @return  `nullopt` if there is such a file and that was not confirmed
/// @throws Error  if it may not be saved there
std::optional<std::filesystem::path> place_to_save(const Folder& folder, const std::filesystem::path& base,
                                                   const std::string& name, bool confirmed);

/// @param name  for the message
/// @throws Error  if it cannot be written; a file that was there is still there then
void write_network(const Json& network, const std::filesystem::path& file, const std::string& name);

}  // namespace zam::runner
