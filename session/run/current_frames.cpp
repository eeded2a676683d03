#include "session/run/current_frames.h"

#include <algorithm>

#include "session/network/frames.h"
#include "session/outputs/frame_files.h"
#include "session/outputs/output_file.h"

namespace zam::session {

CurrentFrames::CurrentFrames(const ForEvent& event, const std::string& directory, Origins* origins)
    : event_(event), directory_(directory), origins_(origins) {
    if (!origins) return;
    const auto& sweeps = event.sweeps;
    remembers_ =
        std::any_of(sweeps.begin(), sweeps.end(), [&](const auto& s) { return origins->is_remembered(s.module); });
    films_ = find_films(*origins);
    next_ = 0;
}

/// Tells what is given in a step, and where it counts in those before. @return whether all of it can be read
bool CurrentFrames::go_to(int step, Origins& origins) {
    Problems problems;
    if (!remembers_) next_ = step;
    for (; next_ <= step; ++next_) origins.give(assignments_at(event_, next_, problems));
    return !problems.any();
}

/// The animations that are newer than what any of their frames comes from.
std::set<std::string> CurrentFrames::find_films(Origins origins) {
    std::set<std::string> films;
    for (const auto& output : event_.outputs) {
        if (is_film(output)) films.insert(output.file);
    }
    for (int step = 0; step < event_.steps && !films.empty(); ++step) {
        if (!go_to(step, origins)) return {};
        for (const auto& output : event_.outputs) {
            const std::string path = output_path(directory_, output.file);
            if (films.contains(output.file) && !origins.is_older_than(output, path)) films.erase(output.file);
        }
    }
    return films;
}

std::vector<Output> CurrentFrames::to_make(int step) {
    if (!origins_ || !go_to(step, *origins_)) return event_.outputs;
    std::vector<Output> outputs;
    for (const auto& output : event_.outputs) {
        const std::string path = output_path(directory_, frame_of(output, step).file);
        if (!films_.contains(output.file) && !origins_->is_older_than(output, path)) outputs.push_back(output);
    }
    return outputs;
}

void CurrentFrames::end() {
    if (origins_) go_to(event_.steps - 1, *origins_);
}

}  // namespace zam::session
