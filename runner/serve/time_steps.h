// Where a network has its time steps, and which one it shows.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "runner/serve/edited_network.h"

namespace zam::runner {

struct TimeSteps {
    std::string target;  // parameter that has the step: "MODULE.PARAM"
    /// Whether the parameter is a reading module's, which begins with its first step whatever it was given; else it is
    /// a field with a data file, and the step is a member of its value.
    bool of_reader = false;
    int count = 0, now = 0;

    /// The value of the parameter that shows a step, from 0.
    /// @param written  the value that it has
    std::string value_for(int step, const std::string& written) const;
};

/// Looks for time steps. Each data file is opened once to count its steps.
class StepFinder {
public:
    /// The time steps of a data file that a parameter has, or of a module that reads a file and has run; the first that
    /// are more than one. `nullopt` if there are none.
    std::optional<TimeSteps> find(EditedNetwork& network);

private:
    std::optional<TimeSteps> of_field(const std::string& target, const std::string& written);
    int count_steps(const std::string& file, const std::string& variable);

    std::map<std::pair<std::string, std::string>, int> counts_;  // by file and variable
};

}  // namespace zam::runner
