#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "contract/om.h"
#include "embedded/host.h"
#include "embedded/view/view.h"
#include "session/api/state.h"
#include "session/api/values.h"
#include "session/network/network_check.h"
#include "session/network/network_reader.h"
#include "session/objects/run_error.h"
#include "session/outputs/json_writer.h"
#include "session/outputs/outputs.h"
#include "session/run/division.h"
#include "session/run/join.h"
#include "session/run/ranks_in_use.h"

namespace zam {

using session::json_text;

// --- What happens ---

template <class Call>
void Network::State::call_back(Call&& call) noexcept {
    try {
        call();
    } catch (...) {
        if (!thrown) thrown = std::current_exception();
    }
}

void Network::State::tell(Report report) {
    if (report.text.ends_with('\n')) report.text.pop_back();
    reports.push_back(report);
    if (callbacks.report) call_back([&] { callbacks.report(reports.back()); });
}

void Network::State::record(const host::Record& record) {
    if (record.what == host::Record::What::report) {
        const bool warning = session::is_warning(record);
        return tell({warning ? Report::Severity::Warning : Report::Severity::Error, record.module, record.text});
    }
    if (!ask({record.module, session::percent_of_call(record), record.text})) cancelled = true;
}

void Network::State::error(std::string_view text) { module_error("", text); }

void Network::State::module_error(std::string_view module, std::string_view text) {
    tell({Report::Severity::Error, std::string(module), std::string(text)});
}

void Network::State::note(std::string_view text) { tell({Report::Severity::Note, "", std::string(text)}); }

void Network::State::not_written(std::string_view file, std::string_view failed_module) {
    const std::string name(file);
    tell({Report::Severity::Error, "", name + ": not written: " + std::string(failed_module) + " failed", name});
}

void Network::State::call_ended() {
    if (callbacks.call_ended) call_back(callbacks.call_ended);
}

void Network::State::wrote(std::string_view output) {
    if (callbacks.written) call_back([&] { callbacks.written(output); });
}

bool Network::State::run_begins(std::string_view module) {
    if (!ask({module, 0, {}, true})) cancelled = true;
    return goes_on();
}

bool Network::State::ask(const Progress& progress) {
    bool go_on = true;
    if (callbacks.progress) call_back([&] { go_on = callbacks.progress(progress); });
    return go_on;
}

void Network::State::begin_run() {
    run.emplace(network, *session->library, *this, log);
    if (options.strict) run->be_strict();
    frames.reset();
    Ranks* const ranks = session::ranks_in_use();
    if (options.part)
        frames = std::make_unique<session::EveryNth>(options.part->number, options.part->count);
    else if (ranks && session::hands_out_frames(network))
        frames = std::make_unique<session::TakenFrames>(*ranks);
    if (frames) run->share_frames(*frames);
    if (options.resume) run->resume();
}

void Network::State::build() {
    const bool first = !run;
    if (first) begin_run();
    for (const auto& text : std::exchange(notes, {})) note(text);
    const std::size_t told = reports.size();
    if (std::exchange(checked, network.instances.size()) < network.instances.size() && !run->has_entries()) {
        checked = 0;
        throw Reported(Outcome{{reports.begin() + static_cast<std::ptrdiff_t>(told), reports.end()}}.errors());
    }
    run->build();
    if (first) host::fail_allocation(options.fail_allocation);
}

void Network::State::end() {
    if (run) run->end();
    run.reset();
    checked = 0;
    if (!log.good()) error("the log could not be written whole");
    log = {};
}

namespace {

/// Does something with a network. What it reports is its outcome.
template <class Body>
Outcome hearing(Network::State& state, Body&& body) {
    const Turn turn(*state.session);
    heard(state, body);
    return {std::exchange(state.reports, {})};
}

/// As above, with its modules in the host.
template <class Body>
Outcome perform(Network::State& state, Body&& body) {
    return hearing(state, [&] {
        state.build();
        body();
    });
}

/// Changes a network and takes that back where its parts do not fit each other then.
template <class Change, class Undo>
void changed(session::Network& network, Change&& change, Undo&& undo) {
    session::Problems problems;
    change();
    check_network(network, problems, false);
    if (problems.any()) undo();
    throw_problems(problems);
}

/// Gives a parameter what a text says.
void assign(Network::State& state, const std::string& target, const WrittenValue& written) {
    session::Problems problems;
    session::Environment environment{problems, {}, written.arrays()};
    session::Document document(target, written.text());
    if (!document.parse(problems)) throw_problems(problems);
    const auto value = session::Document::from_option(target, written.text());  // whose places have no lines
    auto read = read_assignment(state.network, *value, target, state.session->definitions, environment);
    throw_problems(problems);
    const session::Assignment assignment = std::move(*read);
    auto& given = state.network.instances[assignment.module].given;
    std::optional<session::Assignment> before;
    changed(
        state.network, [&] { before = state.network.give(assignment); },
        [&] { before ? static_cast<void>(state.network.give(std::move(*before))) : given.pop_back(); });
    state.written.set(target, written.text(), !written.arrays().empty());
    if (state.run && assignment.module < state.checked) state.run->give(std::vector{assignment});
}

/// A parameter of a module by "MODULE.PARAM". @throws Error with the nearest name
std::pair<std::size_t, const session::Parameter*> find_parameter(const session::Network& network,
                                                                 const std::string& target) {
    const auto [module, name, rest] = session::split_reference(target);
    const auto number = network.find(module);
    if (!number) throw Error(network.no_module(module));
    const auto& definition = *network.instances[*number].definition;
    const auto* parameter = definition.find_parameter(name);
    if (!parameter) throw Error(definition.no_parameter(name));
    if (!rest.empty()) throw Error(target + ": values are given to whole parameters, as MODULE.PARAM");
    return {*number, parameter};
}

/// An event as the network's file would have it.
session::Event read_event(Network::State& state, const std::string& text, const std::string& directory) {
    session::Problems problems;
    session::Environment environment{problems, directory};
    const auto document = session::Document::from_option("event", text);
    auto event = session::read_event(state.network, *document, state.session->definitions, environment);
    throw_problems(problems);
    auto& events = state.network.events;
    events.push_back(std::move(*event));
    changed(
        state.network, [] {}, [&] { events.pop_back(); });
    session::Event read = std::move(events.back());
    events.pop_back();
    return read;
}

/// An output of a network as its file would have it.
session::Output read_output(Network::State& state, const std::string& file, const std::string& text) {
    session::Problems problems;
    session::Environment environment{problems, {}};
    const auto document = session::Document::from_option(file, text);
    auto output = session::read_output(state.network, *document, file, state.session->definitions, environment);
    throw_problems(problems);
    auto& outputs = state.network.outputs;
    changed(
        state.network, [&] { outputs.push_back(*output); }, [&] { outputs.pop_back(); });
    outputs.pop_back();
    return std::move(*output);
}

/// What a reference names at this moment. @throws Error with the nearest name
OMobj_id find_object(Network::State& state, const std::string& reference) {
    read_output(state, "object.json", json_text(reference));
    const OMobj_id found = host::find(host::root(), reference);
    OMobj_id object = OMnull_obj();
    if (OMvalid_obj(found) == 1) OMget_obj_val(found, &object);
    if (OMvalid_obj(object) != 1) throw Error(reference + " leads to nothing");
    return object;
}

/// Reads something of a network. What is reported comes with the next outcome.
template <class Read>
auto reading(Network::State& state, Read&& read) {
    return guarded([&] {
        const Turn turn(*state.session);
        state.build();
        return read();
    });
}

/// @throws Error if what several processes are to write cannot be divided so
void check_part(const RunOptions& options, const session::Network& network) {
    const auto& part = options.part;
    if (part && session::ranks_in_use()) throw Error("ranks take frames one by one, not in parts");
    if (part && (part->count < 1 || part->number < 0 || part->number >= part->count))
        throw Error("parts are numbered from 0 to their count less 1");
    const auto is_standard_output = [](const auto& output) { return output.file == session::kStandardOutput; };
    for (const auto& event : network.events) {
        const auto* frames = std::get_if<session::ForEvent>(&event.what);
        if (!frames || (!part && !session::ranks_in_use() && !options.resume)) continue;
        if (std::any_of(frames->outputs.begin(), frames->outputs.end(), is_standard_output))
            throw Error("the standard output takes no frames in parts, nor of a run that can be resumed");
    }
}

session::Output picture_output(Network::State& state, const std::string& reference, const ImageOptions& options) {
    session::Output output = read_output(state, "picture.png", json_text(reference));
    output.legend = options.legend;
    output.axes = options.axes;
    output.alpha = options.alpha;
    output.background = options.background;
    if (options.first_row_is_lowest) {
        output.origin = *options.first_row_is_lowest ? session::ImageOrigin::lower : session::ImageOrigin::upper;
    }
    return output;
}

template <class Use>
void use_picture(Network::State& state, const std::string& reference, const ImageOptions& options, Use use) {
    reading(state, [&] {
        std::vector<std::string> notes;
        session::use_picture(picture_output(state, reference, options), state.network, notes, use);
        for (const auto& note : notes) state.note(note);
    });
}

}  // namespace

// --- Networks ---

Network::Network(std::shared_ptr<State> state) : state_(std::move(state)) {}
Network::Network(Network&& other) noexcept = default;

Network& Network::operator=(Network&& other) noexcept {
    std::swap(state_, other.state_);
    return *this;
}

Network::~Network() {
    if (!state_) return;
    state_->dropped = true;
    ++state_->session->dropped;
    state_->session->tidy();
}

void Network::listen(Callbacks callbacks) {
    const Turn turn(*state_->session);
    state_->callbacks = std::move(callbacks);
}

void Network::add(const std::string& name, const std::string& module) {
    const Turn turn(*state_->session);
    guarded([&] {
        if (state_->network.find(name)) throw Error("there is a module " + name + " already");
        session::Problems problems;
        session::Environment environment{problems, {}};
        const auto document = session::Document::from_option(
            "add", "{\"modules\":{" + json_text(name) + ":{\"use\":" + json_text(module) + "}}}");
        auto read = read_network(*document, state_->session->definitions, {}, environment);
        throw_problems(problems);
        state_->network.add(std::move(read.instances.front()));
        state_->written.add(name, module);
    });
}

void Network::set(const std::string& target, const Value& value) {
    const Turn turn(*state_->session);
    guarded([&] { assign(*state_, target, WrittenValue(value)); });
}

void Network::reset(const std::string& target) {
    const Turn turn(*state_->session);
    guarded([&] {
        const auto [module, parameter] = find_parameter(state_->network, target);
        auto& given = state_->network.instances[module].given;
        const auto of_it = [parameter = parameter](const auto& assignment) {
            return assignment.parameter == parameter;
        };
        if (std::erase_if(given, of_it) == 0) return;
        state_->written.take_back(target);
        if (state_->run && module < state_->checked) state_->run->take_back(module, *parameter);
    });
}

void Network::connect(const std::string& target, const std::string& source, const std::string& convert) {
    const std::string conversion = convert.empty() ? "" : ",\"convert\":" + convert + "\n";
    set(target, Json{"{\"ref\":" + json_text(source) + conversion + "}"});
}

void Network::prepare(const RunOptions& options) {
    const Turn turn(*state_->session);
    if (state_->run) throw Error("how a network is run is said before its modules are made");
    if (options.fail_allocation < 0) throw Error("allocations are counted from 1");
    check_part(options, state_->network);
    state_->log = {};
    if (!options.log.empty() && !state_->log.open(options.log)) throw Error("cannot write the log " + options.log);
    state_->options = options;
}

Outcome Network::run() {
    return perform(*state_, [&] { state_->run->run_changed(); });
}

Outcome Network::play(const std::string& directory) {
    return perform(*state_, [&] { state_->run->play_events(directory); });
}

Outcome Network::play_event(const Json& event, const std::string& directory) {
    return perform(*state_, [&] { state_->run->play(read_event(*state_, event.text, directory), directory); });
}

Outcome Network::loop(double seconds) {
    constexpr double kMaxSeconds = 1.0e7;
    if (!(seconds >= 0.0 && seconds <= kMaxSeconds)) throw Error("a loop takes 0 to 10,000,000 seconds");
    return perform(*state_, [&] { state_->run->loop(seconds); });
}

Outcome Network::write(const std::string& directory) {
    return perform(*state_, [&] { state_->run->write(state_->network.outputs, directory); });
}

Outcome Network::write(const std::string& file, const Json& output) {
    return perform(*state_, [&] { state_->run->write({read_output(*state_, file, output.text)}, {}); });
}

Outcome Network::join(const std::string& directory, bool keep_frames) {
    return hearing(*state_, [&] { session::join(state_->network, directory, keep_frames, *state_); });
}

Outcome Network::end() {
    return hearing(*state_, [&] { state_->end(); });
}

void Network::cancel() noexcept { state_->cancelled = true; }

Value Network::get(const std::string& reference) {
    return reading(*state_, [&] {
        const OMobj_id object = find_object(*state_, reference);
        Value value = read_object(object);
        const auto holder = session::holder_of(object, state_->network);
        auto* field = std::get_if<Field>(&value.form);
        if (field && holder.parameter) {
            field->first_row_is_lowest = holder.parameter->origin == session::ImageOrigin::lower;
        }
        return value;
    });
}

namespace {

template <class T>
T of_kind(Value value, const std::string& reference, const char* kind) {
    if (auto* held = std::get_if<T>(&value.form)) return std::move(*held);
    throw Error(reference + " holds no " + kind);
}

}  // namespace

Field Network::field(const std::string& reference) { return of_kind<Field>(get(reference), reference, "field"); }

Array Network::array(const std::string& reference) { return of_kind<Array>(get(reference), reference, "array"); }

double Network::number(const std::string& reference) {
    Value value = get(reference);
    if (const auto* whole = value.get<std::int64_t>()) return static_cast<double>(*whole);
    return of_kind<double>(std::move(value), reference, "number");
}

std::string Network::text(const std::string& reference) {
    return of_kind<std::string>(get(reference), reference, "text");
}

std::string Network::json(const std::string& reference) {
    return reading(*state_, [&] {
        std::string text;
        session::OutputFile file(text);
        write_json(find_object(*state_, reference), file);
        return text;
    });
}

Image Network::image(const std::string& reference, const ImageOptions& options) {
    Image image;
    use_picture(*state_, reference, options, [&](const session::Picture& picture) {
        image.width = picture.width();
        image.height = picture.height();
        image.channels = picture.has_alpha() ? 4 : 3;
        std::vector<std::uint8_t> row;
        for (std::uint32_t y = 0; y < picture.height(); ++y) {
            picture.row(y, row);
            image.pixels.insert(image.pixels.end(), row.begin(), row.end());
        }
    });
    return image;
}

std::string Network::png(const std::string& reference, const ImageOptions& options) {
    std::string bytes;
    use_picture(*state_, reference, options, [&](const session::Picture& picture) { bytes = encode_png(picture); });
    return bytes;
}

std::string Network::encode(const std::string& file, const Json& output) {
    return reading(*state_, [&] {
        std::vector<std::string> notes;
        std::string bytes = session::encode_output(read_output(*state_, file, output.text), state_->network, notes);
        for (const auto& note : notes) state_->note(note);
        return bytes;
    });
}

std::string Network::text() const {
    const Turn turn(*state_->session);
    return guarded([&] { return state_->written.text(); });
}

std::string Network::written(const std::string& target) const {
    const Turn turn(*state_->session);
    return guarded([&] {
        find_parameter(state_->network, target);
        return state_->written.value(target);
    });
}

std::string Network::fitted_transform(const std::string& module) {
    return reading(*state_, [&]() -> std::string {
        const auto number = state_->network.find(module);
        if (!number || state_->network.instances[*number].definition->entry != host::view::kEntry) return {};
        const auto fit = host::view::fit(host::find(host::root(), module));
        if (!fit) return {};
        return nlohmann::ordered_json{{"scale", fit->scale}, {"translate", fit->translate}}.dump();
    });
}

std::vector<ModuleState> Network::states() const {
    const Turn turn(*state_->session);
    const auto standings = state_->run ? state_->run->standings() : std::vector<session::Standing>();
    std::vector<ModuleState> states;
    for (const auto& instance : state_->network.instances) {
        ModuleState& state = states.emplace_back();
        state.name = instance.name;
        if (states.size() > standings.size()) continue;  // it has not been made yet
        const session::Standing& standing = standings[states.size() - 1];
        state.state = static_cast<ModuleState::State>(standing.state);
        state.milliseconds = standing.milliseconds;
    }
    return states;
}

std::vector<std::pair<std::string, std::string>> Network::modules() const {
    const Turn turn(*state_->session);
    std::vector<std::pair<std::string, std::string>> modules;
    for (const auto& instance : state_->network.instances)
        modules.emplace_back(instance.name, instance.definition->module);
    return modules;
}

}  // namespace zam
