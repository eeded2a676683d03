// Which rank runs which modules of a network, and which modules all ranks run together.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/ranks.h"
#include "session/network/dependencies.h"
#include "session/network/network.h"

namespace zam::session {

/// Whether several processes share a network by its frames, each of which is one process' work.
bool hands_out_frames(const Network& network);

/// The work of a network on several ranks, as one of them sees it. Joint modules are run by all ranks, in step; of a
/// list that they share out, a rank runs what makes its share. Rank 0 also runs whatever no joint module needs. Where
/// each frame is one rank's work, and where there is one process, everything is run here and nothing jointly.
class Division {
public:
    /// @param network  borrowed
    /// @param ranks    borrowed; null: this process works alone
    Division(const Network& network, const Ranks* ranks);

    /// Whether the ranks share the modules of this network.
    bool at_work() const { return at_work_; }
    bool runs_here(std::size_t module) const { return !at_work_ || (module < here_.size() && here_[module]); }
    bool is_joint(std::size_t module) const { return at_work_ && module < joint_.size() && joint_[module]; }

    /// Keeps in mind what a parameter was given, as far as the division depends on it.
    void give(const Assignment& assignment);
    /// Forgets what a parameter was given.
    void forget(std::size_t module, const std::string& parameter);
    /// Divides the modules anew, after changes.
    /// @return lists that are shared out of which this rank needs other elements than before
    std::vector<Assignment> divide(const Dependencies& dependencies);

    /// What this rank gives a parameter of a list that is shared out: references to nothing in the place of what other
    /// ranks draw. `nullopt`: all of the value.
    std::optional<Value> share_of_value(const Assignment& assignment) const;

private:
    using Given = std::map<std::pair<std::size_t, std::string>, Assignment>;  // by module and parameter

    const Parameter* shared_parameter(std::size_t module) const;
    const ValueList* list_given(std::size_t module, const std::string& parameter) const;
    const ValueList* shared_list(std::size_t module) const;
    void find_outputs();
    void find_output(const Output& output);
    void find_joint(const Dependencies& dependencies);
    bool needs_element(std::size_t module, const ValueList& list, std::size_t element) const;
    std::vector<bool> needed_elements(std::size_t module) const;
    bool is_for_legend(std::size_t module, const ValueList& list, std::size_t element) const;
    std::vector<std::size_t> upstream_here(std::size_t module, const Dependencies& dependencies) const;
    std::vector<std::size_t> first_needed(const Dependencies& dependencies) const;

    const Network& network_;
    const Ranks* ranks_;
    bool at_work_;
    Given given_;                  // lists that are shared out, and what colours them
    std::set<std::size_t> shown_;  // modules that outputs name
    std::set<std::size_t> whole_;  // joint modules of which rank 0 needs the whole list
    bool with_legends_ = false;    // some outputs say what colours mean
    std::vector<bool> joint_, here_;
    std::map<std::size_t, std::vector<bool>> elements_;  // by joint module: those of its list that are needed here
};

}  // namespace zam::session
