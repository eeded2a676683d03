#include "runner/serve/workbench.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <utility>

#include "base/file_path.h"
#include "runner/file_kinds.h"
#include "runner/serve/state_parts.h"
#include "session/objects/run_error.h"
#include "session/outputs/output_file.h"
#include "session/view/view_source.h"

namespace zam::runner {
namespace {

using namespace std::chrono_literals;
constexpr std::size_t kMaxQueue = 64;
constexpr auto kMaxWait = 30s;       // for the thread
constexpr auto kRest = 300ms;        // after which what is dragged is taken to rest
constexpr auto kStatePause = 200ms;  // between states while something is dragged
constexpr auto kProgressPause = 50ms;
constexpr std::size_t kMaxEvents = 20'000;                   // that are recorded
constexpr std::size_t kMaxRecorded = std::size_t{64} << 20;  // bytes of their values
constexpr std::size_t kMaxReports = 100;                     // of a module
constexpr std::int64_t kSteps = -1;                          // the gesture of going through time

std::string dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Workbench::Text shared(std::string text) { return std::make_shared<const std::string>(std::move(text)); }

/// Every file that a value names.
void find_files(const Json& value, std::vector<std::string>& files) {
    for (const auto& [key, member] : value.items()) {
        const bool names_file =
            value.is_object() && (key == "data_file" || key == "values_file" || key == "field_file");
        if (names_file && member.is_string()) files.push_back(member.get<std::string>());
        if (member.is_structured()) find_files(member, files);
    }
}

/// Whether a value refers to another object, so that the graph may be another one.
bool may_refer(const std::string& value) { return value.empty() || value.find("\"ref\"") != std::string::npos; }

}  // namespace

// --- The thread ---

Workbench::Workbench(const std::string& directory, const std::string& file)
    : folder_(directory), session_(std::make_unique<Session>()), base_(folder_.path()) {
    std::filesystem::current_path(base_);
    network_.emplace(session_->network());
    try {
        if (!file.empty()) open_now(file);
    } catch (const Error&) {  // it is among the problems
    }
    tell_state(true);
    thread_ = std::thread([this] { work(); });
}

Workbench::~Workbench() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
        if (running_) running_->cancel();
    }
    wake_.notify_all();
    thread_.join();
    streams_.end();
    network_.reset();
}

/// Lets the thread do something, and waits until it has.
/// @param overtakes  a run that is under way is cancelled, unless it is about to end
template <class Body>
auto Workbench::ask(Body body, bool overtakes) {
    using Result = decltype(body());
    auto task = std::make_shared<std::packaged_task<Result()>>(std::move(body));
    auto result = task->get_future();
    {
        const std::scoped_lock lock(mutex_);
        if (stopping_ || queue_.size() >= kMaxQueue) throw Busy("zam has too much to do");
        queue_.emplace_back([task] { (*task)(); });
        if (overtakes && running_) running_->cancel();
    }
    wake_.notify_all();
    if (result.wait_for(kMaxWait) != std::future_status::ready)
        throw Busy("zam is still at work; it will be done later");
    return result.get();
}

void Workbench::work() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (!queue_.empty()) {
            const auto body = std::move(queue_.front());
            queue_.pop_front();
            lock.unlock();
            body();
            lock.lock();
            continue;
        }
        const auto now = Clock::now();
        const bool rests = dragging_ && now - latest_change_ >= kRest;
        const bool state_is_due = state_waits_ && now - state_told_ >= kStatePause;
        if (!needs_run_ && !rests && !state_is_due) {
            const auto soon = [&] { return stopping_ || !queue_.empty(); };
            dragging_ || state_waits_ ? static_cast<void>(wake_.wait_for(lock, 20ms, soon)) : wake_.wait(lock, soon);
            continue;
        }
        lock.unlock();
        if (rests) {
            dragging_ = false;
            needs_run_ = needs_run_ || scaled_.has_value();
            state_waits_ = true;
        }
        try {
            needs_run_ ? run() : tell_state(true);
        } catch (const std::exception& error) {  // memory is exhausted, most likely
            needs_run_ = false;
            streams_.publish("progress", shared(dump({{"module", ""}, {"percent", 0}, {"text", error.what()}})));
        }
        lock.lock();
    }
}

// --- What is opened ---

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
        std::filesystem::current_path(base_);
        problems_ = problem_list(wrong.what());
        throw;
    }
}

void Workbench::load(const std::filesystem::path& file) {
    std::filesystem::current_path(file.parent_path());
    const std::string name = file.filename().string();
    const auto start = session::read_file_start(name);
    if (!start) throw Error("cannot open " + name);
    const bool is_data = !session::is_network(start->bytes) && find_file_kind(*start);
    std::vector<Report> notes;
    if (is_data) {
        View view = session_->view(name);
        for (const auto& note : view.notes) notes.push_back({Report::Severity::Note, "", note});
        network_.emplace(std::move(view.network));
    } else {
        network_.emplace(session_->load(name));
    }
    base_ = file.parent_path();
    file_ = folder_.name_of(file);
    scaled_.reset();
    recording_.reset();
    steps_.reset();
    step_counts_.clear();
    history_ = {};
    preview_ = {};
    reports_ = {{"", notes}};
    used_.clear();
    plugged_in_.clear();
    for (const auto& [instance, module] : network_->modules()) used_[instance] = module;
    network_->listen({.report =
                          [this](const Report& report) {
                              auto& of_module = reports_[report.module];
                              if (of_module.size() < kMaxReports) of_module.push_back(report);
                          },
                      .progress =
                          [this](const Progress& progress) {
                              tell_progress(progress);
                              return true;
                          }});
    const Json text = Json::parse(network_->text());
    outputs_ = outputs_of(text);
    file_events_ = text.value("events", Json::array());
    const auto is_shown = [](const OutputEntry& entry) { return entry.kind != OutputEntry::Kind::other; };
    const auto first = std::find_if(outputs_.begin(), outputs_.end(), is_shown);
    shown_name_ = first != outputs_.end() ? first->file : outputs_.empty() ? "" : outputs_.front().file;
    {
        const std::scoped_lock lock(mutex_);
        shown_.reset();
        older_picture_.reset();
    }
    graph_of_.clear();
    dragging_ = false;
    unsaved_ = is_data;
    needs_run_ = true;
}

/// What an object holds; 0 if that is no number, or nothing yet.
int Workbench::whole_number(const std::string& reference) {
    try {
        const Value value = network_->get(reference);
        const auto* number = value.get<std::int64_t>();
        return number ? static_cast<int>(*number) : 0;
    } catch (const Error&) {
        return 0;
    }
}

/// Looks for time steps: of a data file that a parameter has, or of a module that reads a file.
void Workbench::find_steps() {
    steps_.reset();
    for (const auto& [instance, module] : used_) {
        const Module& definition = session_->module(module);
        if (definition.find("stepno") && definition.find("nsteps")) {
            const int count = whole_number(instance + ".nsteps");
            if (count < 2) continue;
            steps_ = Steps{instance + ".stepno", true, count, std::max(whole_number(instance + ".stepno") - 1, 0)};
            return;
        }
        for (const auto& parameter : definition.parameters) {
            const std::string target = instance + "." + parameter.name;
            if (parameter.kind != "field") continue;
            const Json value = Json::parse(written(target), nullptr, false);
            if (!value.is_object() || !value.value("data_file", Json()).is_string()) continue;
            session::WantedData wanted;
            wanted.variable = value.value("variable", Json()).is_string() ? value["variable"].get<std::string>() : "";
            try {
                const auto name = value["data_file"].get<std::string>();
                const auto known = step_counts_.find({name, wanted.variable});
                const int count = known != step_counts_.end() ? known->second
                                                              : session::open_data_source(name, name, wanted)->steps();
                step_counts_[{name, wanted.variable}] = count;
                const Json now = value.value("step", Json(0));
                if (count > 1) steps_ = Steps{target, false, count, now.is_number_integer() ? now.get<int>() : 0};
            } catch (const std::exception&) {  // what is wrong with the file, the run reports
            }
            if (steps_) return;
        }
    }
}

// --- Values ---

std::string Workbench::written(const std::string& target) const {
    if (scaled_ && target == scaled_->width) return scaled_->written_width;
    if (scaled_ && target == scaled_->height) return scaled_->written_height;
    return network_->written(target);
}

WrittenValues Workbench::written(const WrittenValues& of) const {
    WrittenValues values;
    for (const auto& [target, value] : of) values[target] = written(target);
    return values;
}

/// Null if there is none.
const Parameter* Workbench::find_parameter(const std::string& target) const {
    const auto dot = std::min(target.find('.'), target.size());
    const auto used = used_.find(target.substr(0, dot));
    return used == used_.end() ? nullptr
                               : session_->module(used->second).find(target.substr(std::min(dot + 1, target.size())));
}

/// Values may name files below the directory alone. Any text could be a name: of some, only the module knows.
/// @throws Error
void Workbench::check_files(const WrittenValues& values) const {
    for (const auto& [target, text] : values) {
        const Json value = Json::parse(text.empty() ? "null" : text);
        std::vector<std::string> files;
        if (value.is_string()) files.push_back(value.get<std::string>());
        if (value.is_structured()) find_files(value, files);
        for (std::string file : files) {
            std::replace(file.begin(), file.end(), '\\', '/');  // which modules take for the same
            if (file.starts_with('$') || !folder_.find(file, base_))
                throw Error(target + ": only files below " + folder_.path().string() + " are read");
        }
    }
}

/// Gives parameters values, all or none. @throws Error
void Workbench::give(const WrittenValues& values) {
    const WrittenValues before = written(values);
    std::vector<std::string> done;
    const auto set = [&](const std::string& target, const std::string& value) {
        value.empty() ? network_->reset(target) : network_->set(target, zam::Json{value});
    };
    try {
        for (const auto& [target, value] : values) {
            set(target, value);
            done.push_back(target);
        }
    } catch (const Error&) {
        for (auto target = done.rbegin(); target != done.rend(); ++target) set(*target, before.at(*target));
        throw;
    }
}

std::int64_t Workbench::changed() {
    latest_change_ = Clock::now();
    needs_run_ = true;
    unsaved_ = true;
    return ++change_;
}

std::int64_t Workbench::change(const WrittenValues& values, bool dragging, std::int64_t gesture) {
    const auto body = [this, values, dragging, gesture] {
        check_files(values);
        const bool of_size = scaled_ && (values.contains(scaled_->width) || values.contains(scaled_->height));
        if (of_size) restore_size();
        const WrittenValues before = written(values);
        give(values);
        history_.note(before, values, gesture);
        record_change(values);
        dragging_ = dragging;
        if (!dragging &&
            std::any_of(values.begin(), values.end(), [](const auto& one) { return may_refer(one.second); }))
            graph_of_.clear();
        const auto number = changed();
        tell_state(!dragging);
        return number;
    };
    return ask(body, true);
}

std::int64_t Workbench::undo() {
    return ask(
        [this] {
            const auto values = history_.undo();
            if (!values) return change_;
            restore_size();
            give(*values);
            record_change(*values);
            graph_of_.clear();
            dragging_ = false;
            const auto number = changed();
            tell_state(true);
            return number;
        },
        true);
}

std::int64_t Workbench::redo() {
    return ask(
        [this] {
            const auto values = history_.redo();
            if (!values) return change_;
            restore_size();
            give(*values);
            record_change(*values);
            graph_of_.clear();
            dragging_ = false;
            const auto number = changed();
            tell_state(true);
            return number;
        },
        true);
}

std::int64_t Workbench::rest() {
    return ask(
        [this] {
            if (!dragging_) return change_;
            dragging_ = false;
            needs_run_ = needs_run_ || scaled_.has_value();
            state_waits_ = true;
            return change_;
        },
        false);
}

std::int64_t Workbench::show(const std::string& output, const Size& place) {
    return ask(
        [this, output, place] {
            const bool known = std::any_of(outputs_.begin(), outputs_.end(),
                                           [&](const OutputEntry& entry) { return entry.file == output; });
            if (!known) throw Error("there is no output " + output);
            place_ = place;
            if (std::exchange(shown_name_, output) == output) return change_;
            restore_size();
            preview_ = {};
            needs_run_ = true;
            ++change_;
            tell_state(true);
            return change_;
        },
        false);  // deliberate: another output needs the same run
}

std::int64_t Workbench::step(int step) {
    return ask(
        [this, step] {
            if (!steps_ || step >= steps_->count) throw Error("there is no such step");
            const std::string& target = steps_->target;
            std::string value = std::to_string(step + 1);
            if (!steps_->of_reader) {
                Json with_step = Json::parse(written(target));
                with_step["step"] = step;
                value = dump(with_step);
            }
            const WrittenValues values{{target, value}};
            const WrittenValues before = written(values);
            give(values);
            history_.note(before, values, kSteps);
            record_change(values);
            steps_->now = step;
            dragging_ = true;
            const auto number = changed();
            tell_state(false);
            return number;
        },
        true);
}

Json Workbench::polling_modules() const {
    Json names = Json::array();
    for (const auto& [instance, module] : used_) {
        if (session_->module(module).name == "QELjoyCapture") names.push_back(instance);
    }
    return names;
}

std::int64_t Workbench::joystick(const std::string& state) {
    return ask(
        [this, state] {
            constexpr std::int64_t kMaxMilliseconds = 1000;  // of the host's timer, which has stood still
            const auto now = Clock::now();
            const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(now - advanced_).count();
            advanced_ = now;
            const auto play = [this](Json event) {
                network_->play_event({dump(event)});
                if (records()) recording_->events.push_back(std::move(event));
            };
            try {
                const Json joystick = Json::parse(state);
                play({{"joystick", joystick}});
                // those that poll have found none so far, and look for one when they run
                const Json polling = plugged_in_.insert(joystick.value("id", 0)).second ? polling_modules() : Json();
                if (!polling.empty()) play({{"run", polling}});
                play({{"advance", std::clamp<std::int64_t>(passed, 1, kMaxMilliseconds)}});
            } catch (const Cancelled&) {  // the rest of it comes with the next run
            }
            needs_run_ = true;
            return change_;
        },
        false);
}

// --- Runs ---

std::optional<Workbench::Scaled> Workbench::full_size() const {
    const auto shown = std::find_if(outputs_.begin(), outputs_.end(),
                                    [&](const OutputEntry& entry) { return entry.file == shown_name_; });
    if (shown == outputs_.end() || shown->image.empty()) return std::nullopt;
    const auto used = used_.find(shown->module());
    if (used == used_.end()) return std::nullopt;
    const auto side = [&](const char* name, std::string& target, std::string& value, int& pixels) {
        const auto* parameter = session_->module(used->second).find(name);
        if (!parameter || parameter->kind != "int") return false;
        target = used->first + "." + name;
        value = written(target);
        const Json number = value.empty() ? default_of(*parameter) : Json::parse(value);
        if (!number.is_number_integer()) return false;
        pixels = static_cast<int>(std::clamp<std::int64_t>(number.get<std::int64_t>(), 0, 32767));
        return pixels > 0;
    };
    Scaled full;
    const bool has_size = side("width", full.width, full.written_width, full.size.width) &&
                          side("height", full.height, full.written_height, full.size.height);
    return has_size ? std::optional(full) : std::nullopt;
}

/// Gives the picture a size that can be drawn while something is dragged.
void Workbench::scale() {
    auto full = full_size();
    if (!full) return;
    const Size size = preview_.choose(full->size);
    if (size == full->size) return restore_size();
    network_->set(full->width, size.width);
    network_->set(full->height, size.height);
    scaled_ = std::move(full);
}

/// Gives the picture the network's own size again.
void Workbench::restore_size() {
    if (!scaled_) return;
    const Scaled scaled = *std::exchange(scaled_, std::nullopt);
    give({{scaled.width, scaled.written_width}, {scaled.height, scaled.written_height}});
    needs_run_ = true;
}

void Workbench::tell_progress(const Progress& progress) {
    const auto now = Clock::now();
    const bool begins = std::exchange(running_module_, std::string(progress.module)) != progress.module;
    if (begins) reports_.erase(running_module_);
    if (now - progress_told_ < kProgressPause) return;
    progress_told_ = now;
    streams_.publish(
        "progress",
        shared(
            dump({{"module", running_module_}, {"percent", progress.percent}, {"text", std::string(progress.text)}})));
}

void Workbench::run() {
    if (dragging_)
        scale();
    else
        restore_size();
    needs_run_ = false;
    running_module_.clear();
    {
        const std::scoped_lock lock(mutex_);
        running_ = scaled_ ? nullptr : &*network_;
    }
    std::vector<Report> of_none;
    bool cancelled = false;
    const auto start = Clock::now();
    try {
        const Outcome outcome = network_->run();
        for (const auto& report : outcome.reports) {
            if (report.module.empty()) of_none.push_back(report);
        }
    } catch (const Cancelled&) {
        cancelled = true;
    } catch (const Error& error) {
        of_none.push_back({Report::Severity::Error, "", error.what()});
    }
    {
        const std::scoped_lock lock(mutex_);
        running_ = nullptr;
    }
    running_module_.clear();
    if (cancelled) {
        needs_run_ = true;
        return;
    }
    reports_[""] = std::move(of_none);
    run_milliseconds_ = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    draw(start);
    if (!dragging_) find_steps();
    tell_state(!dragging_);
}

/// Draws the shown output, and tells that it is there.
void Workbench::draw(Clock::time_point start) {
    const auto entry =
        std::find_if(outputs_.begin(), outputs_.end(), [&](const OutputEntry& one) { return one.file == shown_name_; });
    if (entry == outputs_.end() || entry->kind == OutputEntry::Kind::other) return;
    const auto run_ended = Clock::now();
    try {
        ShownOutput shown = runner::draw(*network_, *entry, !scaled_);
        shown.version = ++version_;
        if (scaled_) shown.full_size = scaled_->size;
        record_frame();
        const auto now = Clock::now();
        learn(*entry, shown, std::chrono::duration<double, std::milli>(now - run_ended).count());
        tell_picture(shown, std::chrono::duration<double, std::milli>(now - start).count());
    } catch (const Error& error) {
        reports_[""].push_back({Report::Severity::Error, "", error.what()});
    }
}

/// Learns from the latest run how large a preview may be.
void Workbench::learn(const OutputEntry& entry, const ShownOutput& shown, double drawing) {
    if (!scaled_) {
        const auto full = full_size();
        if (!full || full->size != shown.size) return;
    }
    for (const auto& state : network_->states()) {
        if (state.name != entry.module()) continue;
        // in full a run may have read files, which it does not when something is dragged
        const double others = scaled_ ? std::max(run_milliseconds_ - state.milliseconds, 0.0) : 0.0;
        preview_.measured(shown.size, others, state.milliseconds + drawing);
    }
}

void Workbench::tell_picture(ShownOutput& shown, double milliseconds) {
    Json event{{"output", shown.name},      {"version", shown.version},    {"full", shown.full},
               {"width", shown.size.width}, {"height", shown.size.height}, {"milliseconds", milliseconds}};
    {
        const std::scoped_lock lock(mutex_);
        if (shown_ && shown_->name == shown.name) {
            older_picture_ = {shown_->version, shown_->picture};
            if (!shown.full) {  // the latest drawing stays where it is, beneath the preview
                shown.drawing = shown_->drawing;
                shown.inside = shown_->inside;
            }
        } else {
            older_picture_.reset();
        }
        if (shown.inside) event["inside"] = *shown.inside;
        shown_ = std::move(shown);
    }
    streams_.publish("picture", shared(dump(event)));
}

// --- What is read ---

Workbench::Text Workbench::state() const {
    const std::scoped_lock lock(mutex_);
    return state_text_;
}

Workbench::Text Workbench::picture(const std::string& output, std::uint64_t version) const {
    const std::scoped_lock lock(mutex_);
    if (!shown_ || shown_->name != output) return nullptr;
    return older_picture_ && older_picture_->first == version ? older_picture_->second : shown_->picture;
}

Workbench::Text Workbench::drawing(const std::string& output) const {
    const std::scoped_lock lock(mutex_);
    return shown_ && shown_->name == output ? shown_->drawing : nullptr;
}

Json Workbench::value(const std::string& output, double x, double y) const {
    const std::scoped_lock lock(mutex_);
    constexpr double kFar = 1.0e6;
    if (!shown_ || shown_->name != output || !(std::fabs(x) < kFar) || !(std::fabs(y) < kFar)) return {{"text", ""}};
    const int column = static_cast<int>(std::floor(x));
    const int row = static_cast<int>(std::floor(y));
    return {{"text", value_at(*shown_, column, row)}, {"pixel", {column, row}}};
}

Json Workbench::histogram(const std::string& reference) {
    return ask([this, reference] { return count_values(network_->field(reference)); }, false);
}

// --- What is kept ---

std::int64_t Workbench::record(bool on) {
    return ask(
        [this, on] {
            if (on) {
                restore_size();
                recording_ = Recording{network_->text()};
            } else if (recording_) {
                recording_->on = false;
            }
            tell_state(true);
            return change_;
        },
        false);
}

/// Whether more is noted.
bool Workbench::records() const {
    return recording_ && recording_->on && recording_->events.size() < kMaxEvents && recording_->bytes < kMaxRecorded;
}

void Workbench::record_change(const WrittenValues& values) {
    if (!records()) return;
    for (const auto& [target, value] : values) recording_->bytes += target.size() + value.size();
    Json& events = recording_->events;
    if (events.empty() || !events.back().contains("set")) events.push_back({{"set", Json::object()}});
    for (const auto& [target, value] : values) {
        const auto* parameter = find_parameter(target);
        const Json set =
            value.empty() && parameter ? default_of(*parameter) : Json::parse(value.empty() ? "null" : value);
        if (!set.is_null()) events.back()["set"][target] = set;
    }
}

/// A frame for what was changed since the latest one.
void Workbench::record_frame() {
    if (!records() || recording_->events.empty()) return;
    Json& events = recording_->events;
    if (events.back().contains("write")) return;
    const auto entry =
        std::find_if(outputs_.begin(), outputs_.end(), [&](const OutputEntry& one) { return one.file == shown_name_; });
    std::string number = std::to_string(recording_->frames++);
    number.insert(0, 4 - std::min<std::size_t>(number.size(), 4), '0');
    const std::string ending = std::filesystem::path(entry->file).extension().string();
    events.push_back({{"write", {{"frame_" + number + (ending.empty() ? ".png" : ending), entry->json}}}});
}

/// The network as a file.
Json Workbench::saved_network(bool events) {
    restore_size();
    const Json now = Json::parse(network_->text());
    Json saved = now;
    if (recording_ && !recording_->events.empty()) {
        saved = Json::parse(recording_->network);
        saved["events"] = recording_->events;
        const auto otherwise = [this](const std::string& target) {
            const auto* parameter = find_parameter(target);
            return parameter ? default_of(*parameter) : Json();
        };
        if (const Json last = difference(saved, now, otherwise); !last.empty())
            saved["events"].push_back({{"set", last}});
    } else if (!events) {
        saved.erase("events");
    }
    if (steps_ && steps_->of_reader) begin_with(saved, steps_->target);
    if (const auto write = saved.find("write"); write != saved.end()) {  // after the events
        Json outputs = std::move(*write);
        saved.erase("write");
        saved["write"] = std::move(outputs);
    }
    return saved;
}

bool Workbench::save(const std::string& file, bool confirmed, bool events) {
    return ask(
        [this, file, confirmed, events] {
            const auto path = folder_.find(file);
            if (!path || path->parent_path() != base_ || path->extension() != ".json")
                throw Error("a network is saved as a .json file in " + base_.string() + ", where its file names start");
            std::error_code error;
            const bool exists = std::filesystem::exists(*path, error);
            if (error || (exists && !std::filesystem::is_regular_file(*path, error)))
                throw Error(file + " cannot be written");
            if (exists && !confirmed) return false;
            try {
                session::OutputFile output(base_.string(), path->filename().string());
                output.write(session::network_text(saved_network(events)) + "\n");
                output.commit();
            } catch (const session::RunError& wrong) {
                throw Error(file + ": " + wrong.what());
            }
            file_ = folder_.name_of(*path);
            unsaved_ = false;
            tell_state(true);
            return true;
        },
        true);
}

std::int64_t Workbench::open(const std::string& file) {
    return ask(
        [this, file] {
            try {
                open_now(file);
            } catch (const Error&) {
                tell_state(true);
                throw;
            }
            ++change_;
            tell_state(true);
            return change_;
        },
        true);
}

// --- The state ---

/// Tells pages how all stands, while something is dragged not each time.
void Workbench::tell_state(bool now) {
    state_waits_ = !now && Clock::now() - state_told_ < kStatePause;
    if (state_waits_) return;
    state_told_ = Clock::now();
    auto text = shared(dump(state_json()));
    {
        const std::scoped_lock lock(mutex_);
        state_text_ = text;
    }
    streams_.publish("state", std::move(text));
}

Json Workbench::module_json(const std::string& name, const ModuleState& state) {
    const Module& definition = session_->module(used_.at(name));
    Json parameters = Json::array();
    for (const auto& parameter : definition.parameters) {
        parameters.push_back(parameter_json(parameter, written(name + "." + parameter.name)));
        if (parameter.kind != "transform" || state.state != ModuleState::State::Ran) continue;
        const auto fitted = network_->fitted_transform(name);
        if (!fitted.empty()) parameters.back()["now"] = Json::parse(fitted);
    }
    const char* const kStates[] = {"waiting", "ran", "failed"};
    return {{"name", name},
            {"use", definition.name},
            {"summary", definition.summary},
            {"state", kStates[static_cast<int>(state.state)]},
            {"milliseconds", state.milliseconds},
            {"reports", reports_json(reports_[name])},
            {"parameters", std::move(parameters)}};
}

Json Workbench::state_json() {
    static const Json presets = presets_json();
    Json modules = Json::array();
    for (const auto& state : network_->states()) modules.push_back(module_json(state.name, state));
    Json outputs = Json::array();
    for (const auto& entry : outputs_) {
        const char* const kKinds[] = {"picture", "vector", "other"};
        Json output{{"name", entry.file}, {"kind", kKinds[static_cast<int>(entry.kind)]}, {"module", entry.module()}};
        const std::scoped_lock lock(mutex_);
        if (shown_ && shown_->name == entry.file) {
            output["width"] = shown_->full_size.width;
            output["height"] = shown_->full_size.height;
            if (shown_->inside) output["inside"] = *shown_->inside;
        }
        outputs.push_back(std::move(output));
    }
    if (graph_of_.empty() && !dragging_) {
        restore_size();
        graph_of_ = network_->text();
        graph_ = graph_svg(graph_of_, graph_);
    }
    Json steps;
    if (steps_) steps = {{"count", steps_->count}, {"now", steps_->now}, {"times", steps_->times}};
    return {{"version", version_},
            {"change", change_},
            {"file", file_},
            {"directory", folder_.path().string()},
            {"base", folder_.name_of(base_)},
            {"changed", unsaved_},
            {"undo", history_.can_undo()},
            {"redo", history_.can_redo()},
            {"recording", recording_ && recording_->on},
            {"problems", problems_},
            {"reports", reports_json(reports_[""])},
            {"running", running_module_},
            {"memory", resident_bytes()},
            {"milliseconds", run_milliseconds_},
            {"events", file_events_.size()},
            {"outputs", std::move(outputs)},
            {"shown", shown_name_},
            {"steps", std::move(steps)},
            {"graph", graph_},
            {"modules", std::move(modules)},
            {"presets", presets}};
}

}  // namespace zam::runner
