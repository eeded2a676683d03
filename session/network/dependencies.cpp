#include "session/network/dependencies.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <utility>

namespace zam::session {

void Dependencies::set(std::size_t module, const std::string& parameter, std::vector<std::size_t> upstream) {
    to_itself_[module].erase(parameter);
    if (std::erase(upstream, module) > 0) to_itself_[module].insert(parameter);
    upstream_[module][parameter] = std::move(upstream);
}

std::vector<std::size_t> Dependencies::upstream(std::size_t module, std::string_view except) const {
    std::vector<std::size_t> all;
    for (const auto& [parameter, referred] : upstream_[module]) {
        if (parameter != except) all.insert(all.end(), referred.begin(), referred.end());
    }
    return all;
}

std::vector<std::size_t> Dependencies::upstream_of(std::size_t module, const std::string& parameter) const {
    const auto found = upstream_[module].find(parameter);
    return found == upstream_[module].end() ? std::vector<std::size_t>() : found->second;
}

std::vector<bool> Dependencies::with_all_upstream(std::vector<std::size_t> modules) const {
    return closure(upstream_.size(), std::move(modules), [&](std::size_t module) { return upstream(module); });
}

bool Dependencies::refers_to_itself(std::size_t module) const { return !to_itself_[module].empty(); }

std::vector<std::size_t> Dependencies::order() const {
    const std::size_t count = upstream_.size();
    std::vector<std::vector<std::size_t>> downstream(count);
    std::vector<std::size_t> waiting_for(count, 0);
    for (std::size_t module = 0; module < count; ++module) {
        for (const auto& [parameter, referred] : upstream_[module]) {
            waiting_for[module] += referred.size();
            for (const std::size_t other : referred) downstream[other].push_back(module);
        }
    }
    std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>> ready;
    for (std::size_t module = 0; module < count; ++module) {
        if (waiting_for[module] == 0) ready.push(module);
    }
    std::vector<std::size_t> order;
    while (!ready.empty()) {
        order.push_back(ready.top());
        ready.pop();
        for (const std::size_t next : downstream[order.back()]) {
            if (--waiting_for[next] == 0) ready.push(next);
        }
    }
    return order;
}

std::vector<std::size_t> Dependencies::circle() const {
    std::vector<bool> ordered(upstream_.size(), false);
    for (const std::size_t module : order()) ordered[module] = true;
    const auto first = std::find(ordered.begin(), ordered.end(), false);
    if (first == ordered.end()) return {};

    // every module left out refers to another one left out: following these leads into a circle
    const auto left_out_upstream = [&](std::size_t module) {
        for (const auto& [parameter, referred] : upstream_[module]) {
            const auto found = std::find_if(referred.begin(), referred.end(), [&](auto m) { return !ordered[m]; });
            if (found != referred.end()) return *found;
        }
        return module;
    };
    std::vector<std::size_t> walk;
    std::vector<bool> walked(upstream_.size(), false);
    auto module = static_cast<std::size_t>(first - ordered.begin());
    while (!walked[module]) {
        walked[module] = true;
        walk.push_back(module);
        module = left_out_upstream(module);
    }
    return {std::find(walk.begin(), walk.end(), module), walk.end()};
}

}  // namespace zam::session
