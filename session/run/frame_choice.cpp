#include "session/run/frame_choice.h"

#include <cmath>
#include <limits>
#include <utility>

namespace zam::session {

std::optional<int> EveryNth::next(int event, int steps) {
    if (std::exchange(event_, event) != event) next_ = part_;
    if (next_ < steps) return static_cast<int>(std::exchange(next_, next_ + parts_));
    event_ = -1;  // it may be played once more
    return std::nullopt;
}

std::optional<int> TakenFrames::next(int event, int steps) {
    if (std::exchange(event_, event) != event) ranks_.begin_list();
    const std::int64_t step = ranks_.take();
    return step < steps ? std::optional(static_cast<int>(step)) : std::nullopt;
}

std::optional<int> TakenFrames::end(std::optional<int> failed) {
    event_ = -1;  // it may be played once more
    double first = failed ? -*failed : -std::numeric_limits<double>::infinity();
    ranks_.maximum({&first, 1});
    return std::isfinite(first) && writes_rest() ? std::optional(static_cast<int>(-first)) : std::nullopt;
}

}  // namespace zam::session
