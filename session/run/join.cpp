#include "session/run/join.h"

#include <map>
#include <string>
#include <variant>

#include "session/objects/run_error.h"
#include "session/outputs/frame_files.h"

namespace zam::session {
namespace {

struct Film {
    const ForEvent* event;
    const Output* output;
};

/// The animations by their names; of the same name that of the last event, as in a whole run.
std::map<std::string, Film> films_of(const Network& network) {
    std::map<std::string, Film> films;
    for (const auto& event : network.events) {
        const auto* frames = std::get_if<ForEvent>(&event.what);
        if (!frames) continue;
        for (const auto& output : frames->outputs) {
            if (is_film(output)) films[output.file] = {frames, &output};
        }
    }
    return films;
}

}  // namespace

void join(const Network& network, const std::string& directory, bool keep_frames, Listener& listener) {
    const auto films = films_of(network);
    bool all = true;
    for (const auto& [file, film] : films) {
        if (is_joined(*film.output, directory)) continue;
        const std::string missing = missing_frames(*film.output, *film.event, directory);
        if (!missing.empty()) listener.error(std::string(file).append(": ").append(missing));
        all = all && missing.empty();
    }
    if (!all) return;
    for (const auto& [file, film] : films) {
        try {
            if (!is_joined(*film.output, directory)) listener.wrote(join_frames(*film.output, *film.event, directory));
            if (!keep_frames) remove_frames(*film.output, directory);
        } catch (const RunError& error) {
            listener.error(file + ": " + error.what());
        }
    }
}

}  // namespace zam::session
