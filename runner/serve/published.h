// What pages can have at any time without waiting for the network: the latest state, and the shown output as it was
// drawn last.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "runner/serve/json_text.h"
#include "runner/serve/shown_output.h"

namespace zam::runner {

/// On any thread.
class Published {
public:
    Text state() const;
    /// The bytes of a .png file, the newest if there is none of that version; null if there is none at all.
    Text picture(const std::string& output, std::uint64_t version) const;
    /// The shown output as an .svg file; null if it is none.
    Text drawing(const std::string& output) const;
    /// What the shown image has at a pixel of the picture in full.
    Json value(const std::string& output, double x, double y) const;
    /// Size and place of an output's picture as members of the state; empty if it is not the shown one.
    Json layout(const std::string& output) const;

    void set_state(Text state);
    /// Takes an output that was drawn. The picture before it can be fetched as long as it is the newest but one.
    /// @param milliseconds  from the change to the picture
    /// @return  the event that tells of it
    Json show(ShownOutput shown, double milliseconds);
    /// Nothing is shown.
    void clear();

private:
    bool shows(const std::string& output) const { return shown_ && shown_->name == output; }

    mutable std::mutex mutex_;  // guards all below
    Text state_;
    std::optional<ShownOutput> shown_;
    std::optional<std::pair<std::uint64_t, Text>> older_picture_;  // and its version
};

}  // namespace zam::runner
