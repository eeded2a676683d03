// How the values of a component are distributed, over all its time steps.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "session/values/field_value.h"

namespace zam::session {

/// A histogram of how far values lie from an ordinary one. Its bins are as wide as floats are precise to thirteen bits
/// of their fraction: neither a few values far from all others nor a large offset does harm to it. Takes 32 MB.
class Distribution {
public:
    Distribution() : counts_(kBins) {}

    /// Counts further values in one pass.
    /// @return an empty text, or why the values could not be had
    std::string add(const NumberArray& values, const std::optional<NumberArray>& null_value);

    /// Number of values counted: those that are finite and not null.
    xp_long count() const { return count_; }
    /// Number of values that were not.
    xp_long left_out() const { return left_out_; }
    double smallest() const { return smallest_; }
    double largest() const { return largest_; }

    /// The value below which that share of all values lies, linear within a bin; 0 if there is none.
    double percentile(double share) const { return percentile(share, kBins); }
    /// Two percentiles between which most values lie; of values almost all of which are the same, those of the others.
    /// The ends differ unless all values are equal.
    std::array<double, 2> typical_range(double low_share, double high_share) const;

    static constexpr std::size_t kLevels = 256;
    /// How many values each of 256 equal steps from `low` to `high` has, values beyond counting for the ends.
    std::array<xp_long, kLevels> levels(double low, double high) const;

private:
    static constexpr int kBits = 22;
    static constexpr std::size_t kBins = std::size_t{1} << kBits;

    /// As above, leaving out the values of a bin.
    double percentile(double share, std::size_t without) const;
    std::size_t bin_of(double value) const;
    double edge(std::size_t bin) const;
    std::size_t fullest() const;

    std::optional<double> ordinary_;  // one of the first values
    std::vector<xp_long> counts_;
    std::size_t first_ = kBins, last_ = 0;  // bins that have values
    xp_long count_ = 0, left_out_ = 0;
    double smallest_ = 0, largest_ = 0;
};

}  // namespace zam::session
