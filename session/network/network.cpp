#include "session/network/network.h"

#include <algorithm>

#include "session/document/suggestion.h"

namespace zam::session {
namespace {

constexpr std::string_view kEndings[] = {"png", "json", "raw", "vti", "vtr", "vts", "vtu", "svg", "webp"};

}  // namespace

std::string_view file_ending(std::string_view file) {
    const auto dot = file.find_last_of("./\\");
    return dot == std::string_view::npos || file[dot] != '.' ? "" : file.substr(dot + 1);
}

std::optional<OutputKind> output_kind(std::string_view file) {
    const auto* const found = std::find(std::begin(kEndings), std::end(kEndings), file_ending(file));
    if (found == std::end(kEndings)) return std::nullopt;
    return static_cast<OutputKind>(found - std::begin(kEndings));
}

std::string_view ending_of(OutputKind kind) { return kEndings[static_cast<std::size_t>(kind)]; }

void Network::add(Instance instance) {
    numbers_.emplace(instance.name, instances.size());
    instances.push_back(std::move(instance));
}

void Network::drop_last() {
    numbers_.erase(instances.back().name);
    instances.pop_back();
}

std::vector<std::size_t> Network::remove(const std::vector<bool>& removed) {
    std::vector<std::size_t> numbers;
    numbers_.clear();
    std::vector<Instance> all = std::exchange(instances, {});
    for (std::size_t before = 0; before < all.size(); ++before) {
        numbers.push_back(instances.size());
        if (before < removed.size() && removed[before]) continue;
        for (auto& assignment : all[before].given) assignment.module = instances.size();
        add(std::move(all[before]));
    }
    return numbers;
}

std::optional<Assignment> Network::give(Assignment assignment) {
    auto& given = instances[assignment.module].given;
    const auto found = std::find_if(given.begin(), given.end(),
                                    [&](const auto& one) { return one.parameter == assignment.parameter; });
    if (found != given.end()) return std::exchange(*found, std::move(assignment));
    given.push_back(std::move(assignment));
    return std::nullopt;
}

std::optional<std::size_t> Network::find(std::string_view module) const {
    const auto found = numbers_.find(module);
    return found == numbers_.end() ? std::nullopt : std::optional(found->second);
}

std::string Network::no_module(std::string_view name) const {
    return "there is no module " + std::string(name) +
           did_you_mean(name, numbers_, [](const auto& one) -> std::string_view { return one.first; });
}

ReferenceParts split_reference(std::string_view reference) {
    const auto dot = std::min(reference.find('.'), reference.size());
    const auto behind = reference.substr(std::min(dot + 1, reference.size()));
    const auto end = std::min(behind.find_first_of(".["), behind.size());
    return {reference.substr(0, dot), behind.substr(0, end), behind.substr(end)};
}

std::vector<std::size_t> referred_modules(const Network& network, const Value& value) {
    std::vector<std::size_t> modules;
    for (const auto* reference : references_in(value)) {
        if (const auto number = network.find(split_reference(reference->target).module)) modules.push_back(*number);
    }
    return modules;
}

}  // namespace zam::session
