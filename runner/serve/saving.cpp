#include "runner/serve/saving.h"

#include <utility>

#include "session/network/network.h"
#include "session/objects/run_error.h"
#include "session/outputs/output_file.h"
#include "session/view/network_text.h"

namespace zam::runner {
namespace {

/// Lets a network give a parameter its value by its first event.
void begin_with(Json& network, const std::string& target) {
    const auto [module, parameter, rest] = session::split_reference(target);
    Json& params = network["modules"][std::string(module)]["params"];
    const auto value = params.find(std::string(parameter));
    if (value == params.end()) return;
    Json events = Json::array({{{"set", {{target, *value}}}}});
    params.erase(value);
    for (const auto& event : network.value("events", Json::array())) events.push_back(event);
    network["events"] = std::move(events);
}

void move_to_end(Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end()) return;
    Json value = std::move(*found);
    object.erase(name);
    object[name] = std::move(value);
}

}  // namespace

Json network_to_save(const EditedNetwork& network, const Recording& recording, const std::optional<TimeSteps>& steps,
                     bool events) {
    Json saved = Json::parse(network.network().text());
    if (recording.has_events())
        saved = recording.as_network(saved, network);
    else if (!events)
        saved.erase("events");
    if (steps && steps->of_reader) begin_with(saved, steps->target);
    move_to_end(saved, "write");  // after the events
    return saved;
}

std::optional<std::filesystem::path> place_to_save(const Folder& folder, const std::filesystem::path& base,
                                                   const std::string& name, bool confirmed) {
    const auto path = folder.find(name);
    if (!path || path->parent_path() != base || path->extension() != ".json")
        throw Error("a network is saved as a .json file in " + base.string() + ", where its file names start");
    std::error_code error;
    const bool exists = std::filesystem::exists(*path, error);
    if (error || (exists && !std::filesystem::is_regular_file(*path, error))) throw Error(name + " cannot be written");
    return exists && !confirmed ? std::nullopt : path;
}

void write_network(const Json& network, const std::filesystem::path& file, const std::string& name) {
    try {
        session::OutputFile output(file.parent_path().string(), file.filename().string());
        output.write(session::network_text(network) + "\n");
        output.commit();
    } catch (const session::RunError& wrong) {
        throw Error(name + ": " + wrong.what());
    }
}

}  // namespace zam::runner
