// What is done while it is recorded, as events of a network.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "runner/serve/edited_network.h"
#include "runner/serve/history.h"
#include "runner/serve/json_text.h"
#include "runner/serve/shown_output.h"

namespace zam::runner {

class Recording {
public:
    /// Nothing is recorded.
    Recording() = default;
    /// @param network  its text now, when recording begins
    explicit Recording(std::string network) : network_(std::move(network)), is_on_(true) {}

    bool is_on() const { return is_on_; }
    /// Nothing more is recorded; what was stays.
    void end() { is_on_ = false; }

    // These note something if recording is on and there is room for it.

    /// Values that parameters were given; changes in a row become one event.
    void note_change(const WrittenValues& values, const EditedNetwork& network);
    /// That an output was drawn: a frame of what was changed since the latest one.
    void note_frame(const OutputEntry& shown);
    /// An event that was played.
    void note_event(Json event);

    bool has_events() const { return !events_.empty(); }
    /// The network as it was when recording began, with the events, the last of which leaves it as it is now.
    /// @param now  the file of `network` as it is now
    Json as_network(const Json& now, const EditedNetwork& network) const;

private:
    bool has_room() const;

    std::string network_;  // its text when recording began
    bool is_on_ = false;
    Json events_ = Json::array();
    int frames_ = 0;
    std::size_t bytes_ = 0;  // of the values in the events
};

}  // namespace zam::runner
