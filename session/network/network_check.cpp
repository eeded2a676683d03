// References lead to objects of suitable kinds and never in a circle.
#include "session/network/network_check.h"

#include <algorithm>
#include <filesystem>

#include "base/file_path.h"

namespace zam::session {
namespace {

bool is_number(Kind kind) { return kind == Kind::integer || kind == Kind::real || kind == Kind::trigger; }

/// Whether a parameter of one kind can refer to an object of another. A trigger may refer to anything: it only tells
/// its module that something changed.
bool suits(Kind parameter, Kind referred) {
    if (parameter == referred || parameter == Kind::trigger) return true;
    if (parameter == Kind::object || referred == Kind::object) return true;
    if (parameter == Kind::colors && referred == Kind::array) return true;
    return is_number(parameter) && is_number(referred);
}

/// Whether `rest` can name something in an object of a kind: ".mat" in a transform, "[2]" in an array of fields.
bool may_have_parts(Kind kind, std::string_view rest) {
    switch (kind) {
        case Kind::field: return rest.starts_with('.');
        case Kind::datamaps:
        case Kind::fields: return rest.starts_with('[');
        case Kind::transform:
        case Kind::color_table:
        case Kind::datamap: return rest.starts_with('.') && member_shape(kind, rest.substr(1)).has_value();
        case Kind::object: return true;
        default: return false;
    }
}

class Checker {
public:
    Checker(const Network& network, Problems& problems, bool with_data)
        : network_(network), problems_(problems), with_data_(with_data), dependencies_(network.instances.size()) {}

    void check();

private:
    struct Target {
        std::size_t module;
        const Parameter* parameter;
        bool whole;  // the parameter itself, not a part of it
    };
    std::optional<Target> resolve(const Reference& reference);
    std::optional<Target> target_of(std::string_view reference) const;
    bool exists_at_start(const Target& target) const;
    void check_assignment(const Assignment& assignment, bool at_start);
    void check_input_file(const Assignment& assignment);
    void check_own_circle(const Assignment& assignment);
    void check_output(const Output& output);
    void check_circle(const Place& place);
    const Assignment* given(const Target& target) const;

    const Network& network_;
    Problems& problems_;
    bool with_data_;
    Dependencies dependencies_;
};

std::optional<Checker::Target> Checker::target_of(std::string_view reference) const {
    const auto [module, parameter_name, rest] = split_reference(reference);
    const auto number = network_.find(module);
    if (!number) return std::nullopt;
    const auto* definition = network_.instances[*number].definition;
    const auto* parameter = definition ? definition->find_parameter(parameter_name) : nullptr;
    if (!parameter) return std::nullopt;
    return Target{*number, parameter, rest.empty()};
}

/// What a reference leads to; `nullopt` after a problem.
std::optional<Checker::Target> Checker::resolve(const Reference& reference) {
    const auto [module, parameter_name, rest] = split_reference(reference.target);
    const auto number = network_.find(module);
    if (!number) {
        problems_.add(reference.place, network_.no_module(module));
        return std::nullopt;
    }
    const auto* definition = network_.instances[*number].definition;
    if (!definition) return std::nullopt;  // the module's own problem
    if (parameter_name.empty()) {
        problems_.add(reference.place, "a reference names a parameter, as MODULE.PARAM");
        return std::nullopt;
    }
    const auto target = target_of(reference.target);
    if (!target) {
        problems_.add(reference.place, definition->no_parameter(parameter_name));
        return std::nullopt;
    }
    const Kind kind = target->parameter->shape.kind;
    if (!rest.empty() && !may_have_parts(kind, rest)) {
        problems_.add(reference.place, std::string(module) + "." + target->parameter->name + ", of kind " +
                                           std::string(kind_name(kind)) + ", has no part " + std::string(rest));
        return std::nullopt;
    }
    return target;
}

const Assignment* Checker::given(const Target& target) const {
    const auto& given = network_.instances[target.module].given;
    const auto found =
        std::find_if(given.begin(), given.end(), [&](const auto& a) { return a.parameter == target.parameter; });
    return found == given.end() ? nullptr : &*found;
}

bool Checker::exists_at_start(const Target& target) const {
    const auto* assignment = given(target);
    if (!assignment) return target.parameter->exists_unless_told();
    return !std::holds_alternative<Absent>(assignment->value.form);
}

void Checker::check_assignment(const Assignment& assignment, bool at_start) {
    check_input_file(assignment);
    for (const auto* reference : references_in(assignment.value)) {
        const auto target = resolve(*reference);
        if (!target) continue;
        const Kind kind = target->parameter->shape.kind;
        if (at_start && !exists_at_start(*target)) {
            problems_.add(reference->place, reference->target + " does not exist: it has no value and no default");
        }
        const bool direct = std::holds_alternative<Reference>(assignment.value.form);
        if (direct && target->whole && !suits(assignment.parameter->shape.kind, kind)) {
            problems_.add(reference->place, reference->target + " is of kind " + std::string(kind_name(kind)) +
                                                ", not " + std::string(kind_name(assignment.parameter->shape.kind)));
        }
    }
    dependencies_.set(assignment.module, assignment.parameter->name, referred_modules(network_, assignment.value));
}

/// Without its input file nothing comes of a module, nor of those that refer to it.
void Checker::check_input_file(const Assignment& assignment) {
    const auto* name = std::get_if<std::string>(&assignment.value.form);
    if (!with_data_ || !name || !assignment.parameter->shape.input_file || name->empty() || name->front() == '$')
        return;
    std::error_code error;
    if (!std::filesystem::exists(file_path(*name), error)) {
        problems_.add(assignment.place, "the file " + *name + " does not exist");
    }
}

/// A module may refer to its own parameters, but not so that a parameter leads back to itself.
void Checker::check_own_circle(const Assignment& assignment) {
    const auto* at = &assignment;
    for (std::size_t steps = 0; steps <= network_.instances[assignment.module].given.size(); ++steps) {
        const auto* reference = at ? std::get_if<Reference>(&at->value.form) : nullptr;
        const auto target = reference ? target_of(reference->target) : std::nullopt;
        if (!target || target->module != assignment.module) return;
        at = given(*target);
        if (at == &assignment) return problems_.add(assignment.place, "the reference leads back to itself");
    }
}

void Checker::check_circle(const Place& place) {
    const auto circle = dependencies_.circle();
    if (circle.empty()) return;
    std::string text = "the references go in a circle:";
    for (const auto module : circle) text += " " + network_.instances[module].name + " ->";
    problems_.add(place, text + " " + network_.instances[circle.front()].name);
}

/// Outputs may name a whole module too.
void Checker::check_output(const Output& output) {
    if (!network_.find(output.from.target)) resolve(output.from);
    if (output.under) resolve(*output.under);
    if (output.points) resolve(*output.points);
}

void Checker::check() {
    for (const auto& instance : network_.instances) {
        for (const auto& assignment : instance.given) {
            check_assignment(assignment, true);
            check_own_circle(assignment);
        }
    }
    const auto circle = dependencies_.circle();
    if (!circle.empty()) check_circle(network_.instances[circle.front()].place);
    for (const auto& event : network_.events) {
        if (const auto* set = std::get_if<SetEvent>(&event.what)) {
            for (const auto& assignment : set->assignments) check_assignment(assignment, false);
            if (circle.empty()) check_circle(event.place);
        } else if (const auto* write = std::get_if<WriteEvent>(&event.what)) {
            for (const auto& output : write->outputs) check_output(output);
        } else if (const auto* frames = std::get_if<ForEvent>(&event.what)) {
            for (const auto& output : frames->outputs) check_output(output);
        }
    }
    for (const auto& output : network_.outputs) check_output(output);
}

}  // namespace

void check_network(const Network& network, Problems& problems, bool with_data) {
    Checker(network, problems, with_data).check();
}

}  // namespace zam::session
