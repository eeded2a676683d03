// Which outputs of frames need not be made again.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "session/network/network.h"
#include "session/run/origins.h"

namespace zam::session {

/// The outputs of an event of frames beside the files that they come from.
class CurrentFrames {
public:
    /// Everything is borrowed. @param origins  of what is current; null: everything is made
    CurrentFrames(const ForEvent& event, const std::string& directory, Origins* origins);

    /// The outputs that have to be made of a step, which is not before the latest one.
    std::vector<Output> to_make(int step);
    /// Whether an animation is current, whatever its frames are.
    bool has_film(const Output& output) const { return films_.contains(output.file); }
    /// Lets the origins be those after the last step.
    void end();

private:
    bool go_to(int step, Origins& origins);
    std::set<std::string> find_films(Origins origins);

    const ForEvent& event_;
    const std::string& directory_;
    Origins* origins_;
    bool remembers_ = false;       // what comes of a step depends on those before
    int next_ = 0;                 // step to be told
    std::set<std::string> films_;  // animations that are current
};

}  // namespace zam::session
