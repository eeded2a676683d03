#include "session/network/network_reader.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <span>

#include "session/network/network_check.h"

namespace zam::session {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kMaxTimerUnits = 86'400'000;  // a day of milliseconds
constexpr std::size_t kMaxModules = 10'000;

class NetworkReader {
public:
    NetworkReader(Network& network, const Definitions& definitions) : network_(network), definitions_(definitions) {}

    void read(const Cursor& cursor);
    std::optional<Assignment> read_assignment(const Cursor& cursor, std::string_view target);
    std::optional<Output> read_output(const Cursor& cursor, const std::string& file);

private:
    void read_module(const Cursor& cursor, const std::string& name);
    void read_events(const Cursor& cursor);
    std::optional<Event> read_event(const Cursor& cursor);
    std::optional<std::size_t> module_number(const Cursor& cursor);
    std::optional<SetEvent> read_set(const Cursor& cursor);
    std::optional<RunEvent> read_run(const Cursor& cursor);
    std::optional<CallEvent> read_call(const Cursor& cursor);
    std::optional<WriteEvent> read_write(const Cursor& cursor);
    std::optional<JoystickEvent> read_joystick(const Cursor& cursor);
    std::optional<AdvanceEvent> read_advance(const Cursor& cursor);
    std::optional<UnlinkEvent> read_unlink(const Cursor& cursor);

    Network& network_;
    const Definitions& definitions_;
};

void NetworkReader::read(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"modules", "events", "write"};
    if (!cursor.object()) return;
    cursor.expect_keys(kKeys);
    const auto modules = cursor.find("modules");
    if (!modules) cursor.problem("\"modules\" is missing");
    if (const auto* members = modules ? modules->object() : nullptr) {
        for (const auto& member : *members) {
            if (member.key.empty() || member.key.find_first_of(".[]") != std::string::npos) {
                modules->key_problem(member, "names of modules are not empty and hold no dots or brackets");
            } else if (network_.instances.size() >= kMaxModules) {
                return modules->key_problem(member, "a network has at most 10000 modules");
            } else {
                read_module(modules->at(member), member.key);
            }
        }
    }
    if (const auto events = cursor.find("events")) read_events(*events);
    if (const auto write = cursor.find("write")) {
        if (auto outputs = read_write(*write)) network_.outputs = std::move(outputs->outputs);
    }
}

void NetworkReader::read_module(const Cursor& cursor, const std::string& name) {
    constexpr std::string_view kKeys[] = {"use", "params"};
    Instance instance{.name = name, .definition = nullptr, .place = cursor.place(), .given = {}};
    if (cursor.object()) {
        cursor.expect_keys(kKeys);
        const auto use = cursor.find("use");
        const auto entry = use ? use->text() : std::nullopt;
        if (!use) cursor.problem("\"use\" is missing");
        if (entry) instance.definition = definitions_.by_entry(*entry);
        if (entry && !instance.definition) use->problem("there is no module entry " + *entry);
    }
    network_.add(std::move(instance));
    const auto params = cursor.find("params");
    const auto* members = params ? params->object() : nullptr;
    if (!members || !network_.instances.back().definition) return;
    for (const auto& member : *members) {
        if (network_.instances.back().definition->find_parameter(member.key)) {
            auto assignment = read_assignment(params->at(member), name + "." + member.key);
            if (assignment) network_.instances.back().given.push_back(std::move(*assignment));
        } else {
            params->key_problem(member,
                                network_.instances.back().definition->entry + " has no parameter " + member.key);
        }
    }
}

/// A value for "MODULE.PARAM".
std::optional<Assignment> NetworkReader::read_assignment(const Cursor& cursor, std::string_view target) {
    const auto [module, parameter_name, rest] = split_reference(target);
    const auto number = network_.find(module);
    if (!number || !rest.empty()) {
        cursor.problem(rest.empty() ? "there is no module " + std::string(module)
                                    : "values are given to whole parameters, as MODULE.PARAM");
        return std::nullopt;
    }
    const auto* definition = network_.instances[*number].definition;
    if (!definition) return std::nullopt;  // the module's own problem
    const auto* parameter = definition->find_parameter(parameter_name);
    if (!parameter) {
        cursor.problem(definition->entry + " has no parameter " + std::string(parameter_name));
        return std::nullopt;
    }
    auto value = read_value(cursor, parameter->shape);
    if (!value) return std::nullopt;
    return Assignment{*number, parameter, std::move(*value), cursor.place()};
}

// --- Events ---

void NetworkReader::read_events(const Cursor& cursor) {
    if (!cursor.is_array() || (cursor.get<Numbers>() && cursor.array_size() > 0)) {
        return cursor.expected("an array of events");
    }
    for (std::size_t i = 0; i < cursor.array_size(); ++i) {
        if (auto event = read_event(cursor.at(i))) network_.events.push_back(std::move(*event));
    }
}

std::optional<Event> NetworkReader::read_event(const Cursor& cursor) {
    const auto* members = cursor.object();
    if (members && members->size() != 1) cursor.problem("an event is an object with one key");
    if (!members || members->size() != 1) return std::nullopt;
    const Cursor place = cursor.at(members->front());
    const auto as_event = [&](auto what) {
        return what ? std::optional(Event{std::move(*what), cursor.place()}) : std::nullopt;
    };
    const std::string& key = members->front().key;
    if (key == "set") return as_event(read_set(place));
    if (key == "run") return as_event(read_run(place));
    if (key == "call") return as_event(read_call(place));
    if (key == "write") return as_event(read_write(place));
    if (key == "joystick") return as_event(read_joystick(place));
    if (key == "advance") return as_event(read_advance(place));
    if (key == "unlink") return as_event(read_unlink(place));
    cursor.key_problem(members->front(), "unknown event; there are set run call write joystick advance unlink");
    return std::nullopt;
}

std::optional<std::size_t> NetworkReader::module_number(const Cursor& cursor) {
    const auto name = cursor.text();
    if (!name) return std::nullopt;
    const auto number = network_.find(*name);
    if (number) return number;
    cursor.problem("there is no module " + *name);
    return std::nullopt;
}

std::optional<SetEvent> NetworkReader::read_set(const Cursor& cursor) {
    const auto* members = cursor.object();
    if (!members) return std::nullopt;
    SetEvent event;
    for (const auto& member : *members) {
        auto assignment = read_assignment(cursor.at(member), member.key);
        if (assignment) event.assignments.push_back(std::move(*assignment));
    }
    return event;
}

std::optional<RunEvent> NetworkReader::read_run(const Cursor& cursor) {
    RunEvent event;
    const std::size_t count = cursor.get<Elements>() ? cursor.array_size() : 1;
    for (std::size_t i = 0; i < count; ++i) {
        const auto number = module_number(cursor.get<Elements>() ? cursor.at(i) : cursor);
        if (!number) return std::nullopt;
        event.modules.push_back(*number);
    }
    return event;
}

std::optional<CallEvent> NetworkReader::read_call(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"module", "entry"};
    if (!cursor.object()) return std::nullopt;
    cursor.expect_keys(kKeys);
    const auto module_place = cursor.find("module");
    const auto entry_place = cursor.find("entry");
    if (!module_place || !entry_place) {
        cursor.problem("a call names a \"module\" and an \"entry\"");
        return std::nullopt;
    }
    const auto module = module_number(*module_place);
    const auto entry = entry_place->text();
    const auto* definition = module ? network_.instances[*module].definition : nullptr;
    if (entry && definition && definition->is_class) {
        const auto* method = definition->find_method(*entry);
        if (!method) entry_place->problem(definition->entry + " has no method " + *entry);
        return method ? std::optional(CallEvent{*module, method->name}) : std::nullopt;
    }
    if (entry && !definitions_.has_entry(*entry)) {
        entry_place->problem("there is no entry " + *entry);
        return std::nullopt;
    }
    return module && entry ? std::optional(CallEvent{*module, *entry}) : std::nullopt;
}

std::optional<JoystickEvent> NetworkReader::read_joystick(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"id", "x", "y", "z", "r", "u", "v", "pov", "buttons"};
    constexpr std::size_t kButtons = 7;
    if (!cursor.object()) return std::nullopt;
    cursor.expect_keys(kKeys);
    JoystickEvent event;
    bool failed = false;
    if (const auto id = cursor.find("id")) {
        const auto number = id->integer(1, 2);
        failed = !number;
        event.id = static_cast<int>(number.value_or(1));
    }
    for (std::size_t i = 0; i < event.state.size(); ++i) {
        const auto place = cursor.find(kKeys[i + 1]);
        if (!place) continue;
        const auto limit = i == kButtons ? std::numeric_limits<std::uint32_t>::max() : std::uint32_t{65535};
        const auto value = place->integer(0, limit);
        failed = failed || !value;
        if (value) event.state[i] = static_cast<std::uint32_t>(*value);
    }
    return failed ? std::nullopt : std::optional(event);
}

std::optional<AdvanceEvent> NetworkReader::read_advance(const Cursor& cursor) {
    const auto units = cursor.integer(0, kMaxTimerUnits);
    return units ? std::optional(AdvanceEvent{*units}) : std::nullopt;
}

std::optional<UnlinkEvent> NetworkReader::read_unlink(const Cursor& cursor) {
    const auto target = cursor.text();
    if (!target) return std::nullopt;
    const auto [module, parameter, rest] = split_reference(*target);
    const auto number = network_.find(module);
    if (!number) {
        cursor.problem("there is no module " + std::string(module));
        return std::nullopt;
    }
    const auto* definition = network_.instances[*number].definition;
    if (!definition) return std::nullopt;
    if (!rest.empty() || !definition->find_parameter(parameter)) {
        cursor.problem(definition->entry + " has no parameter " + std::string(parameter) + std::string(rest));
        return std::nullopt;
    }
    return UnlinkEvent{*number, std::string(parameter)};
}

// --- Outputs ---

std::optional<WriteEvent> NetworkReader::read_write(const Cursor& cursor) {
    const auto* members = cursor.object();
    if (!members) return std::nullopt;
    WriteEvent event;
    for (const auto& member : *members) {
        if (auto output = read_output(cursor.at(member), member.key)) event.outputs.push_back(std::move(*output));
    }
    return event;
}

/// Red, green and blue from 0 to 1.
std::optional<std::array<double, 3>> read_color(const Cursor& cursor) {
    const auto array = read_exactly(cursor, DTYPE_DOUBLE, 3);
    if (!array) return std::nullopt;
    std::array<double, 3> color{};
    std::string error = copy_values(*array, color.data());
    const bool in_range = std::all_of(color.begin(), color.end(), [](double c) { return c >= 0.0 && c <= 1.0; });
    if (error.empty() && !in_range) error = "a colour is [red, green, blue], each from 0 to 1";
    if (!error.empty()) cursor.problem(error);
    return error.empty() ? std::optional(color) : std::nullopt;
}

std::optional<Reference> read_reference(const Cursor& cursor, std::string_view key) {
    const auto place = cursor.find(key);
    const auto target = place ? place->text() : std::nullopt;
    return target ? std::optional(Reference{*target, place->place()}) : std::nullopt;
}

void read_options(const Cursor& cursor, Output& output) {
    constexpr std::string_view kPngKeys[] = {"from", "alpha", "background"};
    constexpr std::string_view kRawKeys[] = {"from", "comp"};
    constexpr std::string_view kSvgKeys[] = {"from", "under", "points"};
    constexpr std::string_view kOtherKeys[] = {"from"};
    if (output.kind == OutputKind::png) {
        cursor.expect_keys(kPngKeys);
        if (const auto alpha = cursor.find("alpha")) output.alpha = alpha->boolean().value_or(false);
        if (const auto background = cursor.find("background")) output.background = read_color(*background);
    } else if (output.kind == OutputKind::raw) {
        cursor.expect_keys(kRawKeys);
        const auto comp = cursor.find("comp");
        if (comp) output.component = static_cast<int>(comp->integer(0, std::numeric_limits<int>::max()).value_or(0));
    } else if (output.kind == OutputKind::svg) {
        cursor.expect_keys(kSvgKeys);
        output.under = read_reference(cursor, "under");
        output.points = read_reference(cursor, "points");
    } else {
        cursor.expect_keys(kOtherKeys);
    }
}

/// What stands beside a file name: a reference, or an object with one and options.
std::optional<Output> NetworkReader::read_output(const Cursor& cursor, const std::string& file) {
    const auto kind = output_kind(file);
    if (!kind) {
        cursor.problem("files end in .png .svg .json .raw .vti .vtr .vts or .vtu, not in \"" +
                       std::string(file_ending(file)) + "\"");
        return std::nullopt;
    }
    Output output;
    output.file = file;
    output.kind = *kind;
    const bool with_options = cursor.get<Object>() != nullptr;
    const auto from = with_options ? cursor.find("from") : std::optional(cursor);
    if (!from) cursor.problem("\"from\" is missing");
    const auto target = from ? from->text() : std::nullopt;
    if (with_options) read_options(cursor, output);
    if (!target) return std::nullopt;
    output.from = {*target, from->place()};
    return output;
}

// --- Options ---

/// The two sides of an option's first "="; `nullopt`, with a problem, if there is none.
std::optional<std::pair<std::string, std::string>> split_option(const std::string& name, const std::string& option,
                                                                const std::string& form, Problems& problems) {
    const auto equals = option.find('=');
    if (equals != std::string::npos && equals > 0)
        return std::pair{option.substr(0, equals), option.substr(equals + 1)};
    problems.add({name + " " + option, 0, 0, {}}, "the form is " + name + " " + form);
    return std::nullopt;
}

void apply_set(Network& network, NetworkReader& reader, const std::string& option, Environment& environment) {
    const auto sides = split_option("--set", option, "MODULE.PARAM=VALUE", environment.problems);
    if (!sides) return;
    const auto document = Document::from_option("--set " + option, sides->second);
    auto assignment = reader.read_assignment(Cursor(*document, environment), sides->first);
    if (!assignment) return;
    auto& given = network.instances[assignment->module].given;
    std::erase_if(given, [&](const auto& other) { return other.parameter == assignment->parameter; });
    given.push_back(std::move(*assignment));
}

void apply_write(Network& network, NetworkReader& reader, const std::string& option, Environment& environment) {
    const auto sides = split_option("--write", option, "FILE=REF", environment.problems);
    if (!sides) return;
    const auto document = Document::from_option("--write " + option, sides->second);
    auto output = reader.read_output(Cursor(*document, environment), sides->first);
    if (!output) return;
    std::erase_if(network.outputs, [&](const auto& other) { return other.file == output->file; });
    network.outputs.push_back(std::move(*output));
}

}  // namespace

Network read_network(const Document& document, const Definitions& definitions, const NetworkOptions& options,
                     Environment& environment) {
    Network network;
    NetworkReader reader(network, definitions);
    reader.read(Cursor(document, environment));
    for (const auto& option : options.set) apply_set(network, reader, option, environment);
    for (const auto& option : options.write) apply_write(network, reader, option, environment);
    return network;
}

Network load_network(const std::string& file, const NetworkOptions& options, const Definitions& definitions,
                     Problems& problems) {
    const auto document = load_document(file, problems);
    if (!document) return {};
    Environment environment{problems, fs::path(file).parent_path().string()};
    Network network = read_network(*document, definitions, options, environment);
    check_network(network, problems);
    return network;
}

}  // namespace zam::session
