// What a value {"data_file": NAME, ...} asks of a file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contract/types.h"

namespace zam::session {

struct DataRequest {
    std::string file;
    std::vector<std::string> variables;         // empty: the only one that the file has
    std::optional<xp_long> step;                // from 0; left out: all of them
    std::optional<int> step_axis, vector_axis;  // of the file's array; negative ones count from the last, which is -1
    std::vector<double> spacing, origin;        // per axis of space, x first; empty: the file's, else index space
};

}  // namespace zam::session
