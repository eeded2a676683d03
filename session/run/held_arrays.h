// Large arrays that every rank needs, held once on each machine.
#pragma once

#include <cstddef>
#include <vector>

#include "base/ranks.h"
#include "session/network/network.h"

namespace zam::session {

/// What differs between the ranks.
struct DifferentArrays {
    std::size_t assignment;  // its number
    std::size_t bytes;       // that its large arrays have here
};

/// Joint: lets one rank of each machine make the large arrays of values that come from files, in memory that the ranks
/// of the machine share. What cannot be held so stays as it is, and each rank reads it for itself.
/// @param assignments  the same parameters at all ranks; their values get the arrays
/// @return the assignments whose arrays are not as large at all ranks; they stay as they are
std::vector<DifferentArrays> hold_arrays_once(std::vector<Assignment>& assignments, Ranks& ranks);

}  // namespace zam::session
