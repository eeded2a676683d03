#include "runner/serve/workbench.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "runner/file_kinds.h"
#include "runner/serve/saving.h"
#include "runner/serve/state_parts.h"
#include "session/view/view_source.h"

namespace zam::runner {
namespace {

using namespace std::chrono_literals;
constexpr auto kRest = 300ms;        // after which what is dragged is taken to rest
constexpr auto kStatePause = 200ms;  // between states while something is dragged
constexpr auto kProgressPause = 50ms;
constexpr auto kGlance = 20ms;            // between looks at whether something is due
constexpr std::size_t kMaxReports = 100;  // of a module
constexpr std::int64_t kSteps = -1;       // the gesture of going through time

/// Whether a value refers to another object, so that the graph may be another one.
bool may_refer(const std::string& value) { return value.empty() || value.find("\"ref\"") != std::string::npos; }

double milliseconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/// The output that a network shows at first: one that can be drawn, if there is one.
std::string first_shown(const std::vector<OutputEntry>& outputs) {
    const auto is_drawn = [](const OutputEntry& entry) { return entry.kind != OutputEntry::Kind::other; };
    const auto first = std::find_if(outputs.begin(), outputs.end(), is_drawn);
    if (first != outputs.end()) return first->file;
    return outputs.empty() ? "" : outputs.front().file;
}

/// The modules that poll joysticks.
Json polling_modules(const EditedNetwork& network) {
    Json names = Json::array();
    for (const auto& [name, definition] : network.modules()) {
        if (definition->name == "QELjoyCapture") names.push_back(name);
    }
    return names;
}

}  // namespace

Workbench::Workbench(const std::string& directory, const std::string& file) : folder_(directory) {
    std::filesystem::current_path(folder_.path());
    opened_.emplace(Opened{.network = {session_, session_.network()}, .base = folder_.path()});
    try {
        if (!file.empty()) open_now(file);
    } catch (const Error&) {  // it is among the problems
    }
    tell_state(true);
    worker_.start([this] { return own_work(); });
}

Workbench::~Workbench() {
    worker_.stop();
    streams_.end();
    opened_.reset();  // its modules may report while they end
}

const OutputEntry* Workbench::Opened::shown_entry() const {
    const auto found =
        std::find_if(outputs.begin(), outputs.end(), [&](const OutputEntry& one) { return one.file == shown; });
    return found == outputs.end() ? nullptr : &*found;
}

/// What the thread does when nothing is asked: the run that is needed, and what has become due.
std::optional<std::chrono::milliseconds> Workbench::own_work() {
    const auto now = Clock::now();
    const bool rests = dragging_ && now - latest_change_ >= kRest;
    const bool state_is_due = state_waits_ && now - state_told_ >= kStatePause;
    if (!needs_run_ && !rests && !state_is_due)
        return dragging_ || state_waits_ ? std::optional(kGlance) : std::nullopt;
    if (rests) let_go();
    try {
        needs_run_ ? run() : tell_state(true);
    } catch (const std::exception& error) {  // memory is exhausted, most likely
        needs_run_ = false;
        streams_.publish("progress", shared_text(dump({{"module", ""}, {"percent", 0}, {"text", error.what()}})));
    }
    return 0ms;
}

// --- What is opened ---

std::int64_t Workbench::open(const std::string& file) {
    return worker_.ask_and_cancel([this, file] { return open_and_tell(file); });
}

std::int64_t Workbench::open_and_tell(const std::string& file) {
    try {
        open_now(file);
    } catch (const Error&) {
        tell_state(true);
        throw;
    }
    ++change_;
    tell_state(true);
    return change_;
}

void Workbench::open_now(const std::string& name) {
    const auto file = folder_.find(name);
    std::error_code error;
    if (!file || !std::filesystem::is_regular_file(*file, error)) {
        problems_ = Json::array({{{"place", name}, {"text", "there is no such file here"}}});
        throw Error(name + ": there is no such file here");
    }
    try {
        load(*file);
        problems_ = Json::array();
    } catch (const Error& wrong) {
        std::filesystem::current_path(opened_->base);
        problems_ = problem_list(wrong.what());
        throw;
    }
}

/// Opens a network, or the view of a data file.
void Workbench::load(const std::filesystem::path& file) {
    std::filesystem::current_path(file.parent_path());
    const std::string name = file.filename().string();
    const auto start = session::read_file_start(name);
    if (!start) throw Error("cannot open " + name);
    if (session::is_network(start->bytes) || !find_file_kind(*start)) return begin(session_.load(name), file);
    View view = session_.view(name);
    begin(std::move(view.network), file);
    for (const auto& note : view.notes) reports_[""].push_back({Report::Severity::Note, "", note});
    opened_->unsaved = true;
}

/// Puts a network in the place of what was open.
void Workbench::begin(Network network, const std::filesystem::path& file) {
    const Json text = Json::parse(network.text());
    auto outputs = outputs_of(text);
    const std::string shown = first_shown(outputs);
    opened_.emplace(Opened{.network = {session_, std::move(network)},
                           .base = file.parent_path(),
                           .file = folder_.name_of(file),
                           .events = text.value("events", Json::array()).size(),
                           .outputs = std::move(outputs),
                           .shown = shown});
    published_.clear();
    reports_.clear();
    graph_is_stale_ = true;
    dragging_ = false;
    needs_run_ = true;
    listen();
}

void Workbench::listen() {
    const auto hear_report = [this](const Report& report) {
        auto& of_module = reports_[report.module];
        if (of_module.size() < kMaxReports) of_module.push_back(report);
    };
    const auto hear_progress = [this](const Progress& progress) {
        tell_progress(progress);
        return true;
    };
    network().listen({.report = hear_report, .progress = hear_progress});
}

// --- Changes ---

std::int64_t Workbench::change(const WrittenValues& values, bool dragging, std::int64_t gesture) {
    return worker_.ask_and_cancel([this, values, dragging, gesture] { return change_now(values, dragging, gesture); });
}

std::int64_t Workbench::change_now(const WrittenValues& values, bool dragging, std::int64_t gesture) {
    check_files(values);
    const auto& scaled = opened_->network.scaled();
    if (scaled && (values.contains(scaled->width) || values.contains(scaled->height))) restore_size();
    give(values, gesture);
    const auto refers = [](const auto& value) { return may_refer(value.second); };
    if (!dragging && std::any_of(values.begin(), values.end(), refers)) graph_is_stale_ = true;
    return changed(dragging);
}

/// Values may name files below the directory alone. @throws Error
void Workbench::check_files(const WrittenValues& values) const {
    for (const auto& [target, value] : values) {
        if (!value.empty() && !folder_.has_files_of(Json::parse(value), opened_->base))
            throw Error(target + ": only files below " + folder_.path().string() + " are read");
    }
}

/// Gives parameters values, so that it can be undone. @throws Error
void Workbench::give(const WrittenValues& values, std::int64_t gesture) {
    const WrittenValues before = opened_->network.written(values);
    opened_->network.give(values);
    opened_->history.note(before, values, gesture);
    opened_->recording.note_change(values, opened_->network);
}

/// What follows each change.
std::int64_t Workbench::changed(bool dragging) {
    dragging_ = dragging;
    latest_change_ = Clock::now();
    needs_run_ = true;
    opened_->unsaved = true;
    ++change_;
    tell_state(!dragging);
    return change_;
}

std::int64_t Workbench::undo() {
    return worker_.ask_and_cancel([this] { return return_to(opened_->history.undo()); });
}

std::int64_t Workbench::redo() {
    return worker_.ask_and_cancel([this] { return return_to(opened_->history.redo()); });
}

/// @param values  of the history; `nullopt`: it has none
std::int64_t Workbench::return_to(const std::optional<WrittenValues>& values) {
    if (!values) return change_;
    restore_size();
    opened_->network.give(*values);
    opened_->recording.note_change(*values, opened_->network);
    graph_is_stale_ = true;
    return changed(false);
}

std::int64_t Workbench::step(int step) {
    return worker_.ask_and_cancel([this, step] { return step_now(step); });
}

std::int64_t Workbench::step_now(int step) {
    auto& steps = opened_->steps;
    if (!steps || step >= steps->count) throw Error("there is no such step");
    give({{steps->target, steps->value_for(step, opened_->network.written(steps->target))}}, kSteps);
    steps->now = step;
    return changed(true);
}

std::int64_t Workbench::show(const std::string& output) {
    return worker_.ask([this, output] { return show_now(output); });  // deliberate: another output needs the same run
}

std::int64_t Workbench::show_now(const std::string& output) {
    const auto& outputs = opened_->outputs;
    const auto is_asked = [&](const OutputEntry& entry) { return entry.file == output; };
    if (std::none_of(outputs.begin(), outputs.end(), is_asked)) throw Error("there is no output " + output);
    if (std::exchange(opened_->shown, output) == output) return change_;
    restore_size();
    opened_->preview = {};
    needs_run_ = true;
    ++change_;
    tell_state(true);
    return change_;
}

std::int64_t Workbench::rest() {
    return worker_.ask([this] {
        if (dragging_) let_go();
        return change_;
    });
}

/// Dragging has ended: a picture in full is wanted, and the whole state.
void Workbench::let_go() {
    dragging_ = false;
    needs_run_ = needs_run_ || opened_->network.scaled();
    state_waits_ = true;
}

// --- Joysticks ---

std::int64_t Workbench::joystick(const Json& state) {
    return worker_.ask([this, state] {
        try {
            move_joystick(state);
        } catch (const Cancelled&) {  // the rest of it comes with the next run
        }
        needs_run_ = true;
        return change_;
    });
}

void Workbench::move_joystick(const Json& state) {
    constexpr std::int64_t kMaxMilliseconds = 1000;  // of the host's timer, which has stood still
    const auto before = std::exchange(joystick_moved_, Clock::now());
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(joystick_moved_ - before).count();
    play({{"joystick", state}});
    // those that poll have found none so far, and look for one when they run
    if (opened_->plugged_in.insert(state.value("id", 0)).second) {
        const Json polling = polling_modules(opened_->network);
        if (!polling.empty()) play({{"run", polling}});
    }
    play({{"advance", std::clamp<std::int64_t>(passed, 1, kMaxMilliseconds)}});
}

void Workbench::play(Json event) {
    network().play_event({dump(event)});
    opened_->recording.note_event(std::move(event));
}

// --- What is kept ---

std::int64_t Workbench::record(bool on) {
    return worker_.ask([this, on] {
        if (on) {
            restore_size();
            opened_->recording = Recording(network().text());
        } else {
            opened_->recording.end();
        }
        tell_state(true);
        return change_;
    });
}

bool Workbench::save(const std::string& file, bool confirmed, bool events) {
    return worker_.ask_and_cancel([this, file, confirmed, events] { return save_now(file, confirmed, events); });
}

bool Workbench::save_now(const std::string& file, bool confirmed, bool events) {
    const auto path = place_to_save(folder_, opened_->base, file, confirmed);
    if (!path) return false;
    restore_size();
    write_network(network_to_save(opened_->network, opened_->recording, opened_->steps, events), *path, file);
    opened_->file = folder_.name_of(*path);
    opened_->unsaved = false;
    tell_state(true);
    return true;
}

// --- Runs ---

void Workbench::run() {
    dragging_ ? scale() : restore_size();
    needs_run_ = false;
    const auto start = Clock::now();
    auto reports = run_network();
    running_module_.clear();
    if (!reports) {
        needs_run_ = true;
        return;
    }
    reports_[""] = std::move(*reports);
    run_milliseconds_ = milliseconds_since(start);
    draw(start);
    if (!dragging_) opened_->steps = opened_->step_finder.find(opened_->network);
    tell_state(!dragging_);
}

/// Runs what changes affect.
/// @return  what is reported of no module; `nullopt` if the run was cancelled
std::optional<std::vector<Report>> Workbench::run_network() {
    running_module_.clear();
    std::optional<Worker::Cancellable> cancellable;
    if (!opened_->network.scaled()) cancellable.emplace(worker_, [&running = network()] { running.cancel(); });
    std::vector<Report> of_none;
    try {
        const Outcome outcome = network().run();
        const auto is_of_none = [](const Report& report) { return report.module.empty(); };
        std::copy_if(outcome.reports.begin(), outcome.reports.end(), std::back_inserter(of_none), is_of_none);
    } catch (const Cancelled&) {
        return std::nullopt;
    } catch (const Error& error) {
        of_none.push_back({Report::Severity::Error, "", error.what()});
    }
    return of_none;
}

/// Draws the shown output, and tells that it is there.
/// @param start  of the run before
void Workbench::draw(Clock::time_point start) {
    const auto* entry = opened_->shown_entry();
    if (!entry || entry->kind == OutputEntry::Kind::other) return;
    const auto run_ended = Clock::now();
    const auto& scaled = opened_->network.scaled();
    try {
        ShownOutput shown = runner::draw(network(), *entry, !scaled);
        shown.version = ++version_;
        if (scaled) shown.full_size = scaled->size;
        opened_->recording.note_frame(*entry);
        learn(*entry, shown, milliseconds_since(run_ended));
        streams_.publish("picture", shared_text(dump(published_.show(std::move(shown), milliseconds_since(start)))));
    } catch (const Error& error) {
        reports_[""].push_back({Report::Severity::Error, "", error.what()});
    }
}

/// Learns from the latest run how large a preview may be.
/// @param drawing  milliseconds
void Workbench::learn(const OutputEntry& entry, const ShownOutput& shown, double drawing) {
    const bool scaled = opened_->network.scaled().has_value();
    if (!scaled) {
        if (entry.image.empty()) return;
        const auto own = opened_->network.own_size(entry.module());
        if (!own || own->size != shown.size) return;
    }
    for (const auto& state : network().states()) {
        if (state.name != entry.module()) continue;
        // in full a run may have read files, which it does not when something is dragged
        const double others = scaled ? std::max(run_milliseconds_ - state.milliseconds, 0.0) : 0.0;
        opened_->preview.measured(shown.size, others, state.milliseconds + drawing);
    }
}

/// Gives the picture a size that can be drawn while something is dragged.
void Workbench::scale() {
    const auto* entry = opened_->shown_entry();
    if (!entry || entry->image.empty()) return;
    const auto own = opened_->network.own_size(entry->module());
    if (!own) return;
    const Size size = opened_->preview.choose(own->size);
    if (size == own->size) return restore_size();
    opened_->network.scale(*own, size);
}

/// Gives the picture the network's own size again.
void Workbench::restore_size() {
    if (opened_->network.restore_size()) needs_run_ = true;
}

Json Workbench::histogram(const std::string& reference) {
    return worker_.ask([this, reference] { return count_values(network().field(reference)); });
}

// --- What pages are told ---

void Workbench::tell_progress(const Progress& progress) {
    const auto now = Clock::now();
    const bool begins = std::exchange(running_module_, std::string(progress.module)) != progress.module;
    if (begins) reports_.erase(running_module_);
    if (now - progress_told_ < kProgressPause) return;
    progress_told_ = now;
    const Json event{{"module", running_module_}, {"percent", progress.percent}, {"text", std::string(progress.text)}};
    streams_.publish("progress", shared_text(dump(event)));
}

/// Tells how all stands, while something is dragged not each time.
void Workbench::tell_state(bool now) {
    state_waits_ = !now && Clock::now() - state_told_ < kStatePause;
    if (state_waits_) return;
    state_told_ = Clock::now();
    const Text text = shared_text(dump(state_json()));
    published_.set_state(text);
    streams_.publish("state", text);
}

Json Workbench::state_json() {
    static const Json presets = presets_json();
    Json modules = modules_json();
    Json outputs = outputs_json();
    lay_out_graph();
    const Opened& open = *opened_;
    return {{"version", version_},
            {"change", change_},
            {"file", open.file},
            {"directory", folder_.path().string()},
            {"base", folder_.name_of(open.base)},
            {"changed", open.unsaved},
            {"undo", open.history.can_undo()},
            {"redo", open.history.can_redo()},
            {"recording", open.recording.is_on()},
            {"problems", problems_},
            {"reports", reports_json(reports_[""])},
            {"running", running_module_},
            {"memory", resident_bytes()},
            {"milliseconds", run_milliseconds_},
            {"events", open.events},
            {"outputs", std::move(outputs)},
            {"shown", open.shown},
            {"steps", steps_json(open.steps)},
            {"graph", graph_},
            {"modules", std::move(modules)},
            {"presets", presets}};
}

Json Workbench::modules_json() {
    Json modules = Json::array();
    for (const auto& state : network().states())
        modules.push_back(module_json(opened_->network, state, reports_[state.name]));
    return modules;
}

Json Workbench::outputs_json() const {
    Json outputs = Json::array();
    for (const auto& entry : opened_->outputs) {
        outputs.push_back(output_json(entry));
        outputs.back().update(published_.layout(entry.file));
    }
    return outputs;
}

/// Lays out the graph again after changes that may have made it another one.
void Workbench::lay_out_graph() {
    if (!graph_is_stale_ || dragging_) return;
    restore_size();
    graph_is_stale_ = false;
    graph_ = graph_svg(network().text(), graph_);
}

}  // namespace zam::runner
