// Round numbers along a range, as legends and axes show them.
#pragma once

#include <string>
#include <vector>

namespace zam::session {

struct Tick {
    double value;
    std::string text;  // as people write it: "−0.25", "101320", "2×10⁻³⁰"
};

/// The multiples of 1, 2 or 5 times a power of ten that lie within a range, the step as small as their number allows. A
/// range too narrow to have such steps in double precision has its middle alone.
/// @param low, high  finite, low <= high
/// @param at_most    how many, from 2 on
std::vector<Tick> round_ticks(double low, double high, int at_most);

}  // namespace zam::session
