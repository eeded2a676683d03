#include "session/convert/distribution.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

#include "session/convert/value_kernels.h"

namespace zam::session {
namespace {

constexpr std::uint32_t kSign = 0x80000000U;

/// A number whose order is that of the floats.
std::uint32_t ordered(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    return (bits & kSign) != 0 ? ~bits : bits | kSign;
}
float from_ordered(std::uint32_t key) { return std::bit_cast<float>((key & kSign) != 0 ? key & ~kSign : ~key); }

/// The nearest float that is finite.
float as_float(double value) {
    constexpr double kMax = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -kMax, kMax));
}

/// The value in the middle of the first ones of a block; `nullopt` if none of them is finite.
template <class T>
std::optional<double> ordinary_value(const std::byte* block, xp_long count, const NullTest<T>& is_null) {
    constexpr xp_long kEnough = 1000;
    std::vector<double> values;
    values.reserve(kEnough);
    for (xp_long i = 0; i < count && static_cast<xp_long>(values.size()) < kEnough; ++i) {
        const T value = load<T>(block, i);
        if (!is_null(value) && std::isfinite(static_cast<double>(value))) values.push_back(static_cast<double>(value));
    }
    if (values.empty()) return std::nullopt;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Calls `use(value, times)` for each value of a block, or once for all that are equal.
template <class T, class Use>
void for_each_value(const std::byte* block, xp_long count, Use use) {
    if constexpr (sizeof(T) == 1) {
        constexpr std::size_t kTables = 4;  // equal bytes that follow each other do not wait for one another
        std::array<std::array<xp_long, 256>, kTables> times{};
        for (xp_long i = 0; i < count; ++i)
            ++times[static_cast<std::size_t>(i) % kTables][std::to_integer<std::size_t>(block[i])];
        for (std::size_t byte = 0; byte < times[0].size(); ++byte) {
            xp_long all = 0;
            for (const auto& table : times) all += table[byte];
            if (all > 0) use(static_cast<T>(byte), all);
        }
    } else {
        for (xp_long i = 0; i < count; ++i) use(load<T>(block, i), 1);
    }
}

}  // namespace

std::size_t Distribution::bin_of(double value) const {
    return ordered(as_float(value - ordinary_.value_or(0.0))) >> (32 - kBits);
}

std::string Distribution::add(const NumberArray& values, const std::optional<NumberArray>& null_value) {
    return with_type(values.type, [&](auto zero) {
        using T = decltype(zero);
        const NullTest<T> is_null(null_value);
        T low = std::numeric_limits<T>::max();
        T high = std::numeric_limits<T>::lowest();
        xp_long counted = 0;
        std::string error =
            for_each_block(values, 0, values.count, 1, [&](xp_long, const std::byte* block, xp_long count) {
                if (!ordinary_) ordinary_ = ordinary_value<T>(block, count, is_null);
                const double ordinary = ordinary_.value_or(0.0);
                for_each_value<T>(block, count, [&](T value, xp_long times) {
                    if (is_null(value) || !std::isfinite(static_cast<double>(value))) return;
                    low = std::min(low, value);
                    high = std::max(high, value);
                    counts_[ordered(as_float(static_cast<double>(value) - ordinary)) >> (32 - kBits)] += times;
                    counted += times;
                });
                left_out_ += count;
                return std::string();
            });
        left_out_ -= counted;
        if (counted == 0) return error;
        const bool first = count_ == 0;
        count_ += counted;
        smallest_ = first ? static_cast<double>(low) : std::min(smallest_, static_cast<double>(low));
        largest_ = first ? static_cast<double>(high) : std::max(largest_, static_cast<double>(high));
        first_ = bin_of(smallest_);
        last_ = bin_of(largest_);
        return error;
    });
}

/// The lower edge of a bin, within the values that there are.
double Distribution::edge(std::size_t bin) const {
    if (bin <= first_) return smallest_;
    if (bin > last_) return largest_;
    const float from_ordinary = from_ordered(static_cast<std::uint32_t>(bin) << (32 - kBits));
    return *ordinary_ + static_cast<double>(from_ordinary);
}

std::size_t Distribution::fullest() const {
    const auto begin = counts_.begin() + static_cast<std::ptrdiff_t>(first_);
    const auto end = counts_.begin() + static_cast<std::ptrdiff_t>(last_) + 1;
    return static_cast<std::size_t>(std::max_element(begin, end) - counts_.begin());
}

double Distribution::percentile(double share, std::size_t without) const {
    if (count_ == 0) return 0.0;
    const xp_long missing = without < kBins ? counts_[without] : 0;
    double wanted = share * static_cast<double>(count_ - missing);
    for (std::size_t bin = first_; bin <= last_; ++bin) {
        const auto here = bin == without ? 0.0 : static_cast<double>(counts_[bin]);
        if (here > 0.0 && wanted <= here) return std::lerp(edge(bin), edge(bin + 1), wanted / here);
        wanted -= here;
    }
    return largest_;
}

std::array<double, 2> Distribution::typical_range(double low_share, double high_share) const {
    std::array<double, 2> range{percentile(low_share), percentile(high_share)};
    if (count_ == 0 || smallest_ == largest_) return {smallest_, largest_};
    const std::size_t mode = fullest();
    if (bin_of(range[0]) == bin_of(range[1]) && counts_[mode] < count_) {
        // the value that almost all have is one end, or between the ends
        const double low = percentile(low_share, mode);
        const double high = percentile(high_share, mode);
        range = {std::min(low, edge(mode)), std::max(high, edge(mode))};
    }
    if (!(range[0] < range[1])) range = {smallest_, largest_};
    return range;
}

std::array<xp_long, Distribution::kLevels> Distribution::levels(double low, double high) const {
    std::array<xp_long, kLevels> levels{};
    for (std::size_t bin = first_; bin <= last_ && count_ > 0; ++bin) {
        if (counts_[bin] == 0) continue;
        const double middle = std::midpoint(edge(bin), edge(bin + 1));
        const double place = std::clamp((middle - low) / (high - low), 0.0, 1.0);
        levels[static_cast<std::size_t>(std::lround(place * (kLevels - 1)))] += counts_[bin];
    }
    return levels;
}

}  // namespace zam::session
