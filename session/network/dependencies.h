// Which modules refer to which, and the order that follows from it.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zam::session {

/// Some modules and all that can be reached from them.
/// @param count  of all modules
/// @param next   gives the modules that are one step away from one
template <class Next>
std::vector<bool> closure(std::size_t count, std::vector<std::size_t> modules, Next next) {
    std::vector<bool> found(count, false);
    while (!modules.empty()) {
        const std::size_t module = modules.back();
        modules.pop_back();
        if (found[module]) continue;
        found[module] = true;
        const auto& more = next(module);
        modules.insert(modules.end(), more.begin(), more.end());
    }
    return found;
}

class Dependencies {
public:
    explicit Dependencies(std::size_t modules) : upstream_(modules), to_itself_(modules) {}

    /// Makes room for modules that have been added.
    void grow(std::size_t modules) {
        upstream_.resize(modules);
        to_itself_.resize(modules);
    }

    /// Replaces the modules that parameter `parameter` of `module` refers to. References of a module to itself are not
    /// among them.
    void set(std::size_t module, const std::string& parameter, std::vector<std::size_t> upstream);

    /// The modules that a module refers to.
    /// @param except  a parameter whose references do not count
    std::vector<std::size_t> upstream(std::size_t module, std::string_view except = {}) const;
    /// Those that one of its parameters refers to.
    std::vector<std::size_t> upstream_of(std::size_t module, const std::string& parameter) const;
    /// Some modules and all that they refer to, directly or not.
    std::vector<bool> with_all_upstream(std::vector<std::size_t> modules) const;
    /// Whether a parameter of a module refers to the module.
    bool refers_to_itself(std::size_t module) const;

    /// The modules so that each comes after those it refers to, otherwise in the order of their numbers. Modules on a
    /// circle, and those after one, are left out.
    std::vector<std::size_t> order() const;

    /// The modules of one circle of references, each referring to the next and the last to the first; empty when there
    /// is none.
    std::vector<std::size_t> circle() const;

private:
    std::vector<std::map<std::string, std::vector<std::size_t>>> upstream_;  // by module, then parameter
    std::vector<std::set<std::string>> to_itself_;                           // parameters that refer to their module
};

}  // namespace zam::session
