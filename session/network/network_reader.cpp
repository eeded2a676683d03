#include "session/network/network_reader.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <utility>

#include "base/file_path.h"
#include "session/document/suggestion.h"
#include "session/network/frames.h"
#include "session/network/multiple_objects.h"
#include "session/network/network_check.h"

namespace zam::session {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kMaxTimerUnits = 86'400'000;     // a day of milliseconds
constexpr std::size_t kMaxKept = std::size_t{1} << 24;  // values in changed members: each change keeps a copy
constexpr std::size_t kMaxWork = std::size_t{1} << 30;  // values that frames copy

class NetworkReader {
public:
    NetworkReader(Network& network, const Definitions& definitions) : network_(network), definitions_(definitions) {}

    void read_modules(const Cursor& cursor);
    /// Makes the modules of objects that stand for several. @pre  the modules are read, and changed by the options
    /// @param named  parts of documents that may name modules
    void copy_modules(std::span<const Node* const> named);
    /// Events and outputs. @pre  the modules are made
    void read_rest(const Cursor& cursor);
    /// A value for "MODULE.PARAM", or for a member of one: "MODULE.PARAM.MEMBER". What the cursor is at is borrowed as
    /// long as the reader lives.
    std::optional<Assignment> read_assignment(const Cursor& cursor, std::string_view target);
    std::optional<Output> read_output(const Cursor& cursor, const std::string& file);
    std::optional<Event> read_event(const Cursor& cursor);

private:
    void read_module(const Cursor& cursor, const std::string& name);
    void read_events(const Cursor& cursor);
    std::optional<std::size_t> module_number(const Cursor& cursor);
    std::optional<SetEvent> read_set(const Cursor& cursor);
    std::optional<RunEvent> read_run(const Cursor& cursor);
    std::optional<CallEvent> read_call(const Cursor& cursor);
    std::optional<WriteEvent> read_write(const Cursor& cursor);
    std::optional<JoystickEvent> read_joystick(const Cursor& cursor);
    std::optional<AdvanceEvent> read_advance(const Cursor& cursor);
    std::optional<UnlinkEvent> read_unlink(const Cursor& cursor);
    std::optional<ForEvent> read_for(const Cursor& cursor);
    bool read_track_of(const Cursor& list, std::string_view target, ForEvent& event);
    bool check_sweep(const Cursor& cursor, const Sweep& sweep, const ForEvent& event);

    struct Target {
        std::size_t module;
        const Parameter* parameter;
        std::vector<std::string> path;  // of a member; empty: the whole parameter
    };
    std::optional<Target> read_target(const Cursor& cursor, std::string_view target);
    const Node* written(const Target& target) const;
    const Node* keep(Node node);
    std::optional<const Node*> single_objects(const Cursor& cursor, const Target& target);
    void written_as(std::size_t before, std::size_t module);
    void remove(const std::vector<bool>& removed);

    Network& network_;
    const Definitions& definitions_;
    // the latest value of each parameter as it was written, for changes of its members
    std::map<std::pair<std::size_t, const Parameter*>, const Node*> written_;
    std::deque<Node> made_;  // those that were changed
    std::size_t kept_ = 0;   // values in them
    bool modules_made_ = false;
    std::vector<MultipleObject> multiples_;
};

void NetworkReader::read_modules(const Cursor& cursor) {
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
}

void NetworkReader::read_rest(const Cursor& cursor) {
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
        if (entry) instance.definition = definitions_.by_any_name(*entry);
        if (entry && !instance.definition)
            use->problem("there is no module entry " + *entry + definitions_.nearest_to(*entry));
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
            params->key_problem(member, network_.instances.back().definition->no_parameter(member.key));
        }
    }
}

/// Whether values of a kind are written as objects.
bool has_members(Kind kind) { return is_group(kind) || kind == Kind::field || kind == Kind::array; }

/// What "MODULE.PARAM" or "MODULE.PARAM.MEMBER" names.
std::optional<NetworkReader::Target> NetworkReader::read_target(const Cursor& cursor, std::string_view target) {
    const auto [module, parameter_name, rest] = split_reference(target);
    const auto number = network_.find(module);
    auto path = member_path(rest);
    if (!number || !path) {
        cursor.problem(path ? network_.no_module(module)
                            : "values are given to parameters and members, as MODULE.PARAM or MODULE.PARAM.MEMBER");
        return std::nullopt;
    }
    const auto* definition = network_.instances[*number].definition;
    if (!definition) return std::nullopt;  // the module's own problem
    const auto* parameter = definition->find_parameter(parameter_name);
    if (!parameter) {
        cursor.problem(definition->no_parameter(parameter_name));
        return std::nullopt;
    }
    if (!path->empty() && !has_members(parameter->shape.kind)) {
        cursor.problem("values of kind " + std::string(kind_name(parameter->shape.kind)) + " have no members");
        return std::nullopt;
    }
    return Target{*number, parameter, std::move(*path)};
}

/// The latest value that was written for a parameter; null if there is none.
const Node* NetworkReader::written(const Target& target) const {
    const auto found = written_.find({target.module, target.parameter});
    return found == written_.end() ? nullptr : found->second;
}

const Node* NetworkReader::keep(Node node) { return &made_.emplace_back(std::move(node)); }

std::optional<Assignment> NetworkReader::read_assignment(const Cursor& cursor, std::string_view text) {
    const auto target = read_target(cursor, text);
    if (!target) return std::nullopt;
    const Node* node = &cursor.node();
    if (!target->path.empty()) {
        auto changed = with_member(written(*target), target->path, *node);
        if (!changed) {
            cursor.problem("the network's value is no object, and has no members");
            return std::nullopt;
        }
        kept_ += value_count(*changed);
        if (kept_ > kMaxKept) {
            cursor.problem("members of large values change too often");
            return std::nullopt;
        }
        node = keep(std::move(*changed));
    }
    const auto single = single_objects(cursor.with(*node), *target);
    if (!single) return std::nullopt;
    node = *single;
    written_[{target->module, target->parameter}] = node;
    auto& files = cursor.environment().files;
    files.clear();
    auto value = read_value(cursor.with(*node), target->parameter->shape);
    if (!value) return std::nullopt;
    return Assignment{target->module, target->parameter, std::move(*value), cursor.place(), std::exchange(files, {})};
}

// --- Objects that stand for several ---

/// A value in which every object stands for itself; those that stand for several are kept for copy_modules(). `nullopt`
/// after a problem.
std::optional<const Node*> NetworkReader::single_objects(const Cursor& cursor, const Target& target) {
    if (target.parameter->shape.kind != Kind::fields) return &cursor.node();
    std::erase_if(multiples_, [&](const MultipleObject& one) {
        return one.module == target.module && one.parameter == target.parameter;
    });
    const auto found = multiple_objects(cursor, target.module, target.parameter);
    if (found.empty()) return &cursor.node();
    constexpr std::string_view kKeys[] = {"for", "ref", "convert", "distribute"};
    for (const auto& one : found) {
        one.cursor.expect_keys(kKeys);
        const auto distribute = one.cursor.find("distribute");
        if (distribute && distribute->boolean().value_or(false)) network_.distributed = true;
        if (!one.cursor.find("ref")) one.cursor.problem("\"ref\" is missing: what the objects are");
        if (modules_made_) one.cursor.problem("only the modules of a network have objects with a \"for\"");
        if (modules_made_ || !one.cursor.find("ref")) return std::nullopt;
    }
    multiples_.insert(multiples_.end(), found.begin(), found.end());
    return keep(with_single_references(cursor.node()));
}

/// Lets changes of a copy's members begin with what was written for the module.
void NetworkReader::written_as(std::size_t before, std::size_t module) {
    const auto* definition = network_.instances[before].definition;
    if (!definition) return;  // the module's own problem
    for (const auto& parameter : definition->parameters) {
        if (const Node* node = written({before, &parameter, {}})) written_[{module, &parameter}] = node;
    }
}

void NetworkReader::remove(const std::vector<bool>& removed) {
    const auto numbers = network_.remove(removed);
    for (const auto& [key, node] : std::exchange(written_, {})) {
        const bool gone = key.first < removed.size() && removed[key.first];
        if (!gone) written_[{numbers[key.first], key.second}] = node;
    }
}

void NetworkReader::copy_modules(std::span<const Node* const> named) {
    modules_made_ = true;
    if (multiples_.empty()) return;
    std::vector<bool> kept(network_.instances.size(), false);
    for (const Node* node : named) mark_named(*node, network_, kept);
    const ReaderOfCopies reader{
        [this](const Cursor& cursor, std::string_view to) { return read_assignment(cursor, to); },
        [this](Node node) { return keep(std::move(node)); },
        [this](std::size_t before, std::size_t module) { written_as(before, module); }};
    remove(session::copy_modules(network_, std::exchange(multiples_, {}), kept, reader));
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
    if (cursor.find("for")) {
        auto frames = read_for(cursor);
        return frames ? std::optional(Event{std::move(*frames), cursor.place()}) : std::nullopt;
    }
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
    constexpr std::string_view kEvents[] = {"set", "run", "call", "write", "joystick", "advance", "unlink", "for"};
    cursor.key_problem(members->front(), list_known("unknown event; there are", key, kEvents));
    return std::nullopt;
}

std::optional<std::size_t> NetworkReader::module_number(const Cursor& cursor) {
    const auto name = cursor.text();
    if (!name) return std::nullopt;
    const auto number = network_.find(*name);
    if (number) return number;
    cursor.problem(network_.no_module(*name));
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
        if (!method) entry_place->problem(definition->no_method(*entry));
        return method ? std::optional(CallEvent{*module, method->name}) : std::nullopt;
    }
    if (entry && !definitions_.has_entry(*entry)) {
        entry_place->problem("there is no entry " + *entry + definitions_.nearest_to(*entry));
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
        cursor.problem(network_.no_module(module));
        return std::nullopt;
    }
    const auto* definition = network_.instances[*number].definition;
    if (!definition) return std::nullopt;
    if (!rest.empty() || !definition->find_parameter(parameter)) {
        cursor.problem(definition->no_parameter(std::string(parameter).append(rest)));
        return std::nullopt;
    }
    return UnlinkEvent{*number, std::string(parameter)};
}

// --- Frames ---

/// Adds the values that a parameter, or a member of one, goes through; false after a problem.
bool NetworkReader::read_track_of(const Cursor& list, std::string_view text, ForEvent& event) {
    const auto target = read_target(list, text);
    if (!target) return false;
    auto track = read_track(list, target->path, *target->parameter, event.steps);
    if (!track) return false;
    const auto same = [&](const Sweep& sweep) {
        return sweep.module == target->module && sweep.parameter == target->parameter;
    };
    auto sweep = std::find_if(event.sweeps.begin(), event.sweeps.end(), same);
    if (sweep == event.sweeps.end()) {
        Sweep made{target->module, target->parameter, {}, {}, to_text(list.place())};
        if (!target->path.empty() && written(*target)) made.base = *written(*target);
        sweep = event.sweeps.insert(sweep, std::move(made));
    } else if (target->path.empty() || sweep->tracks.front().path.empty()) {
        list.problem("the parameter and a member of it cannot both go through values");
        return false;
    }
    if (!with_member(&sweep->base, target->path, list.node())) {
        list.problem("the network's value is no object, and has no members");
        return false;
    }
    const std::size_t values = value_count(sweep->base);
    kept_ += values;
    if (kept_ > kMaxKept || values > kMaxWork / static_cast<std::size_t>(event.steps)) {
        list.problem("members of large values change too often");
        return false;
    }
    sweep->tracks.push_back(std::move(*track));
    return true;
}

/// Whether the parameter takes each value of each list as it is written.
bool NetworkReader::check_sweep(const Cursor& cursor, const Sweep& sweep, const ForEvent& event) {
    const Node first = node_at(sweep, event, 0);
    for (const auto& track : sweep.tracks) {
        for (const auto& value : track.values) {
            const auto node = with_member(track.path.empty() ? nullptr : &first, track.path, value);
            if (!node || !read_value(cursor.with(*node), sweep.parameter->shape)) return false;
        }
    }
    return true;
}

std::optional<ForEvent> NetworkReader::read_for(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"for", "steps", "loop", "write", "fps"};
    constexpr double kMinRate = 0.1;   // milliseconds of an animation are a whole number of 32 bits
    constexpr double kMaxRate = 1000;  // and so are those of a frame
    cursor.expect_keys(kKeys);
    const auto lists = cursor.find("for");
    const auto* members = lists->object();
    const auto steps_place = cursor.find("steps");
    if (!steps_place) cursor.problem("\"steps\" is missing: the number of frames");
    const auto steps = steps_place ? steps_place->integer(1, kMaxFrames) : std::nullopt;
    if (!members || !steps) return std::nullopt;
    ForEvent event;
    event.steps = static_cast<int>(*steps);
    event.directory = cursor.environment().directory;
    if (const auto loop = cursor.find("loop")) event.loop = loop->boolean().value_or(false);
    const auto fps_place = cursor.find("fps");
    const auto fps = fps_place ? fps_place->real() : event.fps;
    const bool suits = fps && *fps >= kMinRate && *fps <= kMaxRate;
    if (fps && !suits) fps_place->problem("frames per second are from 0.1 to 1000");
    bool read = suits;
    for (const auto& member : *members) read = read_track_of(lists->at(member), member.key, event) && read;
    for (const auto& sweep : event.sweeps) read = read && check_sweep(*lists, sweep, event);
    if (const auto write = cursor.find("write")) {
        auto outputs = read_write(*write);
        if (outputs) event.outputs = std::move(outputs->outputs);
        for (auto& output : event.outputs) {
            output.in_frames = true;
            if (is_numbered(output.file) || output.kind == OutputKind::webp) continue;
            write->problem(output.file +
                           ": each frame has a file of its own: the name needs one %d, as in frame_%04d.png");
        }
    }
    if (!read) return std::nullopt;
    event.fps = *fps;
    for (const auto& sweep : event.sweeps) {
        written_[{sweep.module, sweep.parameter}] = keep(node_at(sweep, event, event.steps - 1));
    }
    return event;
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
    constexpr std::string_view kPngKeys[] = {"from", "origin", "alpha", "background", "legend", "axes", "as"};
    constexpr std::string_view kRawKeys[] = {"from", "comp", "as"};
    constexpr std::string_view kSvgKeys[] = {"from", "origin", "under", "points", "legend", "axes", "as"};
    constexpr std::string_view kOtherKeys[] = {"from", "as"};
    const bool image =
        output.kind == OutputKind::png || output.kind == OutputKind::svg || output.kind == OutputKind::webp;
    if (const auto origin = image ? cursor.find("origin") : std::nullopt) output.origin = read_image_origin(*origin);
    if (const auto legend = image ? cursor.find("legend") : std::nullopt)
        output.legend = legend->boolean().value_or(false);
    if (const auto axes = image ? cursor.find("axes") : std::nullopt) output.axes = axes->boolean().value_or(false);
    if (output.kind == OutputKind::png || output.kind == OutputKind::webp) {
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

/// What an output is written as: what "as" says, else what the file name ends in. `nullopt` after a problem.
std::optional<OutputKind> read_output_kind(const Cursor& cursor, const std::string& file) {
    const auto as = cursor.find("as");
    const auto name = as ? as->text() : file;
    if (!name) return std::nullopt;
    const auto kind = output_kind(*name);
    if (kind) return kind;
    const Cursor& place = as ? *as : cursor;
    if (!as && file == "-") {
        place.problem(R"("-", the standard output, needs an "as": {"from": REF, "as": ".png"})");
    } else {
        place.problem("files end in .png .webp .svg .json .raw .vti .vtr .vts or .vtu, not in \"" +
                      std::string(file_ending(*name)) + "\"");
    }
    return std::nullopt;
}

/// What stands beside a file name: a reference, or an object with one and options.
std::optional<Output> NetworkReader::read_output(const Cursor& cursor, const std::string& file) {
    const auto kind = read_output_kind(cursor, file);
    if (!kind) return std::nullopt;
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

using Documents = std::vector<std::unique_ptr<const Document>>;

/// @param documents  keeps what the reader borrows of the option
void apply_set(Network& network, NetworkReader& reader, const std::string& option, Environment& environment,
               Documents& documents) {
    const auto sides = split_option("--set", option, "MODULE.PARAM=VALUE", environment.problems);
    if (!sides) return;
    const auto& document = *documents.emplace_back(Document::from_option("--set " + option, sides->second));
    auto assignment = reader.read_assignment(Cursor(document, environment), sides->first);
    if (!assignment) return;
    network.give(std::move(*assignment));
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

/// Makes the modules of objects that stand for several, after all has been said of modules.
void copy_modules(NetworkReader& reader, const Document& document, const NetworkOptions& options) {
    Documents written;
    std::vector<const Node*> named;
    const auto* parts = std::get_if<Object>(&document.root().value);
    for (std::size_t i = 0; parts && i < parts->size(); ++i) {
        if ((*parts)[i].key != "modules") named.push_back(&(*parts)[i].node);
    }
    for (const auto& option : options.write) {
        const auto from = option.substr(std::min(option.find('='), option.size() - 1) + 1);
        written.push_back(Document::from_option("--write", from));
        named.push_back(&written.back()->root());
    }
    reader.copy_modules(named);
}

}  // namespace

Network read_network(const Document& document, const Definitions& definitions, const NetworkOptions& options,
                     Environment& environment) {
    Network network;
    Documents documents;
    NetworkReader reader(network, definitions);
    reader.read_modules(Cursor(document, environment));
    for (const auto& option : options.set) apply_set(network, reader, option, environment, documents);
    copy_modules(reader, document, options);
    reader.read_rest(Cursor(document, environment));
    for (const auto& option : options.write) apply_write(network, reader, option, environment);
    return network;
}

std::optional<Assignment> read_assignment(Network& network, const Document& value, const std::string& target,
                                          const Definitions& definitions, Environment& environment) {
    const Cursor cursor(value, environment);
    if (!split_reference(target).rest.empty()) {  // what was written before is not at hand
        cursor.problem("values are given to whole parameters, as MODULE.PARAM");
        return std::nullopt;
    }
    return NetworkReader(network, definitions).read_assignment(cursor, target);
}

std::optional<Output> read_output(Network& network, const Document& output, const std::string& file,
                                  const Definitions& definitions, Environment& environment) {
    return NetworkReader(network, definitions).read_output(Cursor(output, environment), file);
}

std::optional<Event> read_event(Network& network, const Document& event, const Definitions& definitions,
                                Environment& environment) {
    return NetworkReader(network, definitions).read_event(Cursor(event, environment));
}

std::unique_ptr<const Document> read_network_document(const std::string& file, Problems& problems) {
    return file == "-" ? load_document(stdin, "<stdin>", problems) : load_document(file, problems);
}

Network load_network(const std::string& file, const NetworkOptions& options, const Definitions& definitions,
                     Problems& problems) {
    const auto document = read_network_document(file, problems);
    if (!document) return {};
    return network_from(*document, file_path(file).parent_path().string(), options, definitions, problems);
}

Network network_from(const Document& document, const std::string& directory, const NetworkOptions& options,
                     const Definitions& definitions, Problems& problems) {
    Environment environment{problems, directory, options.lent};
    Network network = read_network(document, definitions, options, environment);
    check_network(network, problems, !options.without_data);
    return network;
}

}  // namespace zam::session
