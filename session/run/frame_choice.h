// Which frames a process plays, where several share them.
#pragma once

#include <cstdint>
#include <optional>

#include "base/ranks.h"

namespace zam::session {

/// Which frames of a network's `for` events this process plays, where several share them.
class FrameChoice {
public:
    virtual ~FrameChoice() = default;
    /// The next frame of an event that is for this process, after those that it was given before; `nullopt`: no more.
    /// @param event  number of the `for` event, from 0, in order
    virtual std::optional<int> next(int event, int steps) = 0;
    /// Whether this process also writes what belongs to no frame, and so plays the rest.
    virtual bool writes_rest() const = 0;
    /// Ends an event, of which next() has given all frames; where other processes can be heard of, when they have
    /// played theirs too.
    /// @param failed  the first frame that has failed here; `nullopt`: none
    /// @return the first one that has failed anywhere, where this process is to tell of it
    virtual std::optional<int> end(std::optional<int> failed) = 0;
    /// Whether animations are put together here when an event has ended.
    virtual bool joins_frames() const = 0;
};

/// Every frame whose number is `part` modulo `parts`. Part 0 plays the rest.
class EveryNth final : public FrameChoice {
public:
    EveryNth(int part, int parts) : part_(part), parts_(parts) {}

    std::optional<int> next(int event, int steps) override;
    bool writes_rest() const override { return part_ == 0; }
    std::optional<int> end(std::optional<int> /*failed*/) override { return std::nullopt; }
    bool joins_frames() const override { return false; }

private:
    int part_, parts_;
    int event_ = -1;  // of the latest frame
    std::int64_t next_ = 0;
};

/// Frames that ranks take one by one, as soon as they are free. Beginning and end of an event are joint.
class TakenFrames final : public FrameChoice {
public:
    /// @param ranks  borrowed
    explicit TakenFrames(Ranks& ranks) : ranks_(ranks) {}

    std::optional<int> next(int event, int steps) override;
    bool writes_rest() const override { return ranks_.rank() == 0; }
    std::optional<int> end(std::optional<int> failed) override;
    bool joins_frames() const override { return writes_rest(); }

private:
    Ranks& ranks_;
    int event_ = -1;  // of the latest frame
};

}  // namespace zam::session
