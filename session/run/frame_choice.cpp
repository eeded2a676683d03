#include "session/run/frame_choice.h"

#include <utility>

namespace zam::session {

std::optional<int> EveryNth::next(int event, int steps) {
    if (std::exchange(event_, event) != event) next_ = part_;
    if (next_ >= steps) return std::nullopt;
    return static_cast<int>(std::exchange(next_, next_ + parts_));
}

}  // namespace zam::session
