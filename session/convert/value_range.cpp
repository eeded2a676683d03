#include "session/convert/value_range.h"

#include <algorithm>
#include <limits>

#include "session/convert/value_kernels.h"

namespace zam::session {
namespace {

/// Several running limits, which do not wait for one another.
template <class T>
class Limits {
public:
    void take(const std::byte* values, xp_long count, const NullTest<T>& is_null) {
        if (is_null.any()) {
            for (xp_long i = 0; i < count; ++i) {
                const T value = load<T>(values, i);
                if (!is_null(value)) take(value, 0);
            }
            return;
        }
        xp_long i = 0;
        for (; i + kLanes <= count; i += kLanes) {
            for (xp_long lane = 0; lane < kLanes; ++lane) take(load<T>(values, i + lane), lane);
        }
        for (; i < count; ++i) take(load<T>(values, i), 0);
    }
    T smallest() const { return *std::min_element(low_, low_ + kLanes); }
    T largest() const { return *std::max_element(high_, high_ + kLanes); }

private:
    static constexpr xp_long kLanes = 8;

    /// Comparisons leave out what is not a number; infinities leave no trace either.
    void take(T value, xp_long lane) {
        if constexpr (std::is_floating_point_v<T>) {
            const bool finite = std::abs(value) <= std::numeric_limits<T>::max();
            low_[lane] = finite && value < low_[lane] ? value : low_[lane];
            high_[lane] = finite && value > high_[lane] ? value : high_[lane];
        } else {
            low_[lane] = std::min(low_[lane], value);
            high_[lane] = std::max(high_[lane], value);
        }
    }

    T low_[kLanes], high_[kLanes];

public:
    Limits() {
        std::fill(low_, low_ + kLanes, std::numeric_limits<T>::max());
        std::fill(high_, high_ + kLanes, std::numeric_limits<T>::lowest());
    }
};

}  // namespace

std::string ValueRange::find(std::array<double, 2>& range) const {
    if (!found_ && !steps_.empty()) {
        std::string error = with_type(steps_.front().type, [&](auto zero) -> std::string {
            using T = decltype(zero);
            const NullTest<T> is_null(null_value_);
            Limits<T> limits;
            for (const auto& step : steps_) {
                std::string problem =
                    for_each_block(step, 0, step.count, 1, [&](xp_long, const std::byte* block, xp_long count) {
                        limits.take(block, count, is_null);
                        return std::string();
                    });
                if (!problem.empty()) return problem;
            }
            const bool any = limits.smallest() <= limits.largest();
            found_ = {any ? static_cast<double>(limits.smallest()) : 0.0,
                      any ? static_cast<double>(limits.largest()) : 0.0};
            return {};
        });
        if (!error.empty()) return error;
    }
    range = found_.value_or(std::array<double, 2>{});
    return {};
}

}  // namespace zam::session
