#include "runner/serve/time_steps.h"

#include <algorithm>
#include <cstdint>
#include <exception>

#include "session/view/view_source.h"

namespace zam::runner {
namespace {

/// What an object holds; 0 if that is no number, or nothing yet.
int whole_number(Network& network, const std::string& reference) {
    try {
        const Value value = network.get(reference);
        const auto* number = value.get<std::int64_t>();
        return number ? static_cast<int>(*number) : 0;
    } catch (const Error&) {
        return 0;
    }
}

/// The steps of a module that reads a file, which counts them from 1.
std::optional<TimeSteps> steps_of_reader(Network& network, const std::string& module) {
    const int count = whole_number(network, module + ".nsteps");
    if (count < 2) return std::nullopt;
    const std::string target = module + ".stepno";
    return TimeSteps{target, true, count, std::max(whole_number(network, target) - 1, 0)};
}

}  // namespace

std::string TimeSteps::value_for(int step, const std::string& written) const {
    if (of_reader) return std::to_string(step + 1);
    Json field = Json::parse(written);
    field["step"] = step;
    return dump(field);
}

std::optional<TimeSteps> StepFinder::find(EditedNetwork& network) {
    for (const auto& [module, definition] : network.modules()) {
        if (definition->find("stepno") && definition->find("nsteps")) {
            if (auto steps = steps_of_reader(network.network(), module)) return steps;
            continue;
        }
        for (const auto& parameter : definition->parameters) {
            if (parameter.kind != "field") continue;
            const std::string target = module + "." + parameter.name;
            if (auto steps = of_field(target, network.written(target))) return steps;
        }
    }
    return std::nullopt;
}

std::optional<TimeSteps> StepFinder::of_field(const std::string& target, const std::string& written) {
    const Json field = Json::parse(written, nullptr, false);
    if (!field.is_object() || !field.value("data_file", Json()).is_string()) return std::nullopt;
    const Json variable = field.value("variable", Json());
    const Json now = field.value("step", Json(0));
    try {
        const int count =
            count_steps(field["data_file"].get<std::string>(), variable.is_string() ? variable.get<std::string>() : "");
        if (count < 2) return std::nullopt;
        return TimeSteps{target, false, count, now.is_number_integer() ? now.get<int>() : 0};
    } catch (const std::exception&) {  // what is wrong with the file, the run reports
        return std::nullopt;
    }
}

int StepFinder::count_steps(const std::string& file, const std::string& variable) {
    const auto known = counts_.find({file, variable});
    if (known != counts_.end()) return known->second;
    session::WantedData wanted;
    wanted.variable = variable;
    const int count = session::open_data_source(file, file, wanted)->steps();
    counts_[{file, variable}] = count;
    return count;
}

}  // namespace zam::runner
