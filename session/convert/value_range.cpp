#include "session/convert/value_range.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "session/convert/value_kernels.h"

namespace zam::session {
namespace {

/// Smallest and largest of the values so far.
template <class T>
class Limits {
public:
    void take(const std::byte* values, xp_long count, const NullTest<T>& is_null) {
        Limits block;
        if (!is_null.any()) block.take_all(values, count);
        if (is_null.any() || !block.is_finite()) {
            block = {};
            block.take_finite(values, count, is_null);
        }
        low_ = std::min(low_, block.low_);
        high_ = std::max(high_, block.high_);
    }
    T smallest() const { return low_; }
    T largest() const { return high_; }

private:
    /// Four runs, which do not wait for one another. Comparisons leave out what is not a number.
    void take_all(const std::byte* values, xp_long count) {
        T low0 = low_, low1 = low_, low2 = low_, low3 = low_;
        T high0 = high_, high1 = high_, high2 = high_, high3 = high_;
        const auto take = [&](xp_long i, T& low, T& high) {
            const T value = load<T>(values, i);
            low = value < low ? value : low;
            high = value > high ? value : high;
        };
        xp_long i = 0;
        for (; i + 4 <= count; i += 4) {
            take(i, low0, high0);
            take(i + 1, low1, high1);
            take(i + 2, low2, high2);
            take(i + 3, low3, high3);
        }
        for (; i < count; ++i) take(i, low0, high0);
        low_ = std::min({low0, low1, low2, low3});
        high_ = std::max({high0, high1, high2, high3});
    }

    void take_finite(const std::byte* values, xp_long count, const NullTest<T>& is_null) {
        for (xp_long i = 0; i < count; ++i) {
            const T value = load<T>(values, i);
            if (is_null(value) || !std::isfinite(static_cast<double>(value))) continue;
            low_ = std::min(low_, value);
            high_ = std::max(high_, value);
        }
    }

    bool is_finite() const {
        return std::isfinite(static_cast<double>(low_)) && std::isfinite(static_cast<double>(high_));
    }

    T low_ = std::numeric_limits<T>::max();
    T high_ = std::numeric_limits<T>::lowest();
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
