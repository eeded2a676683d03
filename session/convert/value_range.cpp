#include "session/convert/value_range.h"

#include "session/convert/lane_kernels.h"
#include "session/convert/value_kernels.h"

namespace zam::session {

std::string ValueRange::find(std::array<double, 2>& range) const {
    if (!found_) {
        ValueLimits limits;
        for (const auto& step : steps_) {
            std::string error =
                for_each_block(step, 0, step.count, 1, [&](xp_long, const std::byte* block, xp_long count) {
                    widen_limits(step.type, block, count, null_address(null_value_), limits);
                    return std::string();
                });
            if (!error.empty()) return error;
        }
        found_ = std::array<double, 2>{};
        if (limits.smallest <= limits.largest) found_ = {limits.smallest, limits.largest};
    }
    range = *found_;
    return {};
}

}  // namespace zam::session
