// The smallest and the largest value of a component, over all its time steps.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "session/values/field_value.h"

namespace zam::session {

/// Found when it is first asked for, in one pass, unless it was given.
class ValueRange {
public:
    explicit ValueRange(const std::array<double, 2>& given) : found_(given) {}
    /// @param steps  the values of one component, of each step; all of one type
    ValueRange(std::vector<NumberArray> steps, std::optional<NumberArray> null_value)
        : steps_(std::move(steps)), null_value_(std::move(null_value)) {}

    /// Smallest and largest finite value that is not null; both 0 if there is none.
    /// @return an empty text, or why the values could not be had
    std::string find(std::array<double, 2>& range) const;

private:
    std::vector<NumberArray> steps_;
    std::optional<NumberArray> null_value_;
    mutable std::optional<std::array<double, 2>> found_;
};

}  // namespace zam::session
