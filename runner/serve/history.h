// What was done, for undo and redo.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

namespace zam::runner {

/// Values as network files write them; empty: none is given.
using WrittenValues = std::map<std::string, std::string>;  // by "MODULE.PARAM"

class History {
public:
    /// Notes a change. What can be redone is forgotten.
    /// @param gesture  changes of one gesture in a row are one step; 0: it is a step of its own
    void note(const WrittenValues& before, const WrittenValues& after, std::int64_t gesture);
    bool can_undo() const { return now_ > 0; }
    bool can_redo() const { return now_ < steps_.size(); }
    /// The values to give; `nullopt` if there is nothing to undo or redo.
    std::optional<WrittenValues> undo();
    std::optional<WrittenValues> redo();

private:
    struct Step {
        WrittenValues before, after;
        std::int64_t gesture = 0;
        std::size_t bytes() const;
    };
    void forget_oldest();

    std::deque<Step> steps_;
    std::size_t now_ = 0;  // steps before it are done, those from it on undone
};

}  // namespace zam::runner
