// From which files the outputs of a network come, and whether they are newer.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "session/network/dependencies.h"
#include "session/network/network.h"

namespace zam::session {

/// Follows what parameters are given. An output comes from the network's own file, and from the files that the values
/// of the modules behind it name, or have named where modules remember them; what files name in turn, and what `--set`
/// changed, is not seen.
class Origins {
public:
    using Time = std::filesystem::file_time_type;

    /// @param network  borrowed
    explicit Origins(const Network& network);

    void give(const std::vector<Assignment>& assignments);
    /// Whether an output comes from files that are all older than this one, which is there.
    bool is_older_than(const Output& output, const std::string& path);
    /// Whether a module, or one that refers to it, directly or not, keeps what it was given before.
    bool is_remembered(std::size_t module) const;

private:
    Time latest(const Output& output);
    void give(const Assignment& assignment);
    Time time_of(const std::string& file);

    const Network& network_;
    Dependencies dependencies_;
    std::vector<std::map<const Parameter*, std::vector<std::string>>> files_;  // by module
    std::map<std::string, Time> times_;                                        // of files, when first asked for
};

}  // namespace zam::session
