// Which frames a process plays, where several share them.
#pragma once

#include <optional>

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
};

/// Every frame whose number is `part` modulo `parts`. Part 0 plays the rest.
class EveryNth final : public FrameChoice {
public:
    EveryNth(int part, int parts) : part_(part), parts_(parts) {}

    std::optional<int> next(int event, int steps) override;
    bool writes_rest() const override { return part_ == 0; }

private:
    int part_, parts_;
    int event_ = -1;     // of the latest frame
    long long next_ = 0;
};

}  // namespace zam::session
