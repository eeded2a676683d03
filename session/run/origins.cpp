#include "session/run/origins.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <utility>

#include "base/file_path.h"
#include "session/outputs/output_file.h"
#include "session/run/frame_memory.h"

namespace zam::session {

namespace fs = std::filesystem;

Origins::Origins(const Network& network)
    : network_(network), dependencies_(network.instances.size()), files_(network.instances.size()) {
    for (const auto& instance : network.instances) give(instance.given);
}

void Origins::give(const std::vector<Assignment>& assignments) {
    for (const auto& assignment : assignments) give(assignment);
}

void Origins::give(const Assignment& assignment) {
    auto& files = files_[assignment.module][assignment.parameter];
    if (!is_remembered(assignment.module)) files.clear();
    files.insert(files.end(), assignment.files.begin(), assignment.files.end());
    dependencies_.set(assignment.module, assignment.parameter->name, referred_modules(network_, assignment.value));
}

bool Origins::is_remembered(std::size_t module) const {
    std::vector<bool> remembered(files_.size());
    const auto order = dependencies_.order();
    for (auto at = order.rbegin(); at != order.rend() && !remembered[module]; ++at) {
        remembered[*at] = remembered[*at] || keeps_something(*network_.instances[*at].definition);
        if (!remembered[*at]) continue;
        for (const std::size_t other : dependencies_.upstream(*at)) remembered[other] = true;
    }
    return remembered[module];
}

/// A file that is not there, or a directory that is, counts as well as it can.
Origins::Time Origins::time_of(const std::string& file) {
    const auto [known, is_new] = times_.try_emplace(file, Time::min());
    std::error_code error;
    const auto time = is_new ? fs::last_write_time(file_path(file), error) : known->second;
    if (!error) known->second = time;
    return known->second;
}

bool Origins::is_older_than(const Output& output, const std::string& path) {
    std::error_code error;
    const bool regular = output.file != kStandardOutput && fs::is_regular_file(file_path(path), error);
    const auto time = regular ? fs::last_write_time(file_path(path), error) : Time::min();
    return regular && !error && latest(output) < time;
}

Origins::Time Origins::latest(const Output& output) {
    std::vector<std::size_t> shown;
    for (const auto& reference : {std::optional(output.from), output.under, output.points}) {
        const auto module = reference ? network_.find(split_reference(reference->target).module) : std::nullopt;
        if (module) shown.push_back(*module);
    }
    const auto comes_from = dependencies_.with_all_upstream(std::move(shown));
    Time latest = network_.file.empty() ? Time::min() : time_of(network_.file);
    for (std::size_t module = 0; module < files_.size(); ++module) {
        if (!comes_from[module]) continue;
        for (const auto& [parameter, files] : files_[module]) {
            for (const auto& file : files) latest = std::max(latest, time_of(file));
        }
    }
    return latest;
}

}  // namespace zam::session
