#include "session/run/session.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <thread>
#include <utility>

#include "contract/om.h"
#include "embedded/host.h"
#include "embedded/view/view.h"
#include "session/network/acceptance.h"
#include "session/network/frames.h"
#include "session/objects/field_access.h"
#include "session/objects/run_error.h"
#include "session/outputs/frame_files.h"
#include "session/outputs/outputs.h"
#include "session/run/current_frames.h"
#include "session/run/frame_memory.h"
#include "session/run/held_arrays.h"
#include "session/run/ranks_in_use.h"

namespace zam::session {
namespace {

constexpr std::uint32_t kAxisAtRest = 32767;
constexpr std::uint32_t kHatReleased = 65535;
constexpr std::array<std::uint32_t, 8> kJoystickAtRest{kAxisAtRest, kAxisAtRest, kAxisAtRest,  kAxisAtRest,
                                                       kAxisAtRest, kAxisAtRest, kHatReleased, 0};

bool has_frames(const Event& event) { return std::holds_alternative<ForEvent>(event.what); }

bool writes_anything(const Network& network) {
    const auto writes = [](const Event& event) {
        const auto* write = std::get_if<WriteEvent>(&event.what);
        const auto* frames = std::get_if<ForEvent>(&event.what);
        return (write && !write->outputs.empty()) || (frames && !frames->outputs.empty());
    };
    return !network.outputs.empty() || std::any_of(network.events.begin(), network.events.end(), writes);
}

/// While it lives, joint modules are run together with other ranks.
class RanksLent {
public:
    /// @param library  borrowed
    RanksLent(const ModuleLibrary& library, Ranks* ranks) : library_(library) { lend(ranks); }
    ~RanksLent() { lend(nullptr); }
    RanksLent(const RanksLent&) = delete;
    RanksLent& operator=(const RanksLent&) = delete;

private:
    void lend(Ranks* ranks) {
        host::view::use_ranks(ranks);
        library_.use_ranks(ranks);
    }

    const ModuleLibrary& library_;
};

// Those that are in the host now. The first one finds it empty, the last one leaves it so.
int sessions = 0;
OMobj_id empty_root{};

}  // namespace

Session::Session(const Network& network, const ModuleLibrary& library, Listener& listener, CallLog& log)
    : network_(network),
      library_(library),
      listener_(listener),
      log_(log),
      dependencies_(0),
      division_(network, ranks_in_use()) {
    joysticks_.fill(kJoystickAtRest);
    if (sessions++ == 0) {
        host::reset();
        empty_root = host::root();
    }
    root_ = host::add_root();
    enter();
}

Session::~Session() {
    try {
        end();
    } catch (...) {  // a listener's, and nobody is there to hear of it
    }
    for (const int id : plugged_) library_.simulate_joystick()(id, nullptr);
    host::set_recorder(nullptr);
    host::set_root(empty_root);
    host::destroy(root_);
    if (--sessions == 0) host::reset();
}

void Session::enter() {
    host::set_root(root_);
    host::set_recorder([this](const host::Record& record) { hear(record); });
}

void Session::hear(const host::Record& record) {
    log_.record(record);
    // what follows from another module's failure is not said again
    const bool report = called_ && record.what == host::Record::What::report;
    const bool of_its_own = !report || (is_warning(record) ? !failed_upstream(*called_) : fail(*called_));
    if (of_its_own) listener_.record(record);
    const bool progress = called_ && record.what == host::Record::What::status;
    if (progress && !ending_ && !listener_.goes_on()) host::cancel_call();
}

/// The library that has a module's entries.
const ModuleLibrary& Session::library_of(std::size_t module) const {
    const auto plugin = plugins_.find(instance(module).definition->library);
    return plugin == plugins_.end() ? library_ : *plugin->second;
}

/// Loads the library of a plug-in, unless it has been. @return what went wrong; empty: nothing
std::string Session::load_plugin(const std::string& file) {
    std::string error;
    if (file.empty() || plugins_.contains(file)) return error;
    auto library = ModuleLibrary::load(file, error);
    if (!library) return "a plug-in cannot be loaded: " + error;
    plugins_.emplace(file, std::move(library));
    return {};
}

bool Session::has_entries() {
    std::set<std::string> missing;
    const auto need = [&](std::size_t module, const std::string& entry) {
        const std::string& file = instance(module).definition->library;
        if (entry.empty() || library_of(module).find(entry)) return;
        missing.insert((file.empty() ? "the module library" : file) + " has no entry " + entry);
    };
    for (std::size_t module = 0; module < network_.instances.size(); ++module) {
        const Definition& definition = *instance(module).definition;
        if (const std::string error = load_plugin(definition.library); !error.empty()) {
            missing.insert(error);
            continue;
        }
        if (definition.is_class) {
            need(module, definition.exported("create"));
            need(module, definition.exported("destroy"));
            for (const auto& method : definition.methods) need(module, definition.exported(method.name));
            continue;
        }
        need(module, definition.entry);
        need(module, definition.set_params_entry);
        need(module, definition.delete_entry);
    }
    for (const auto& event : network_.events) {
        const auto* called = std::get_if<CallEvent>(&event.what);
        if (called && !instance(called->module).definition->is_class) need(called->module, called->entry);
    }
    for (const auto& text : missing) listener_.error(text);
    return missing.empty();
}

// --- Instances ---

void Session::build() {
    enter();
    if (is_unmade()) return;
    const std::size_t first = running_.size();
    running_.resize(network_.instances.size());
    dependencies_.grow(running_.size());
    for (std::size_t module = first; module < running_.size(); ++module) {
        for (const auto& assignment : instance(module).given) note_dependencies(assignment);
    }
    division_.divide(dependencies_);
    const auto held = hold_arrays(first);
    for (std::size_t module = first; module < running_.size(); ++module) {
        running_[module].object = host::create(host::root(), instance(module).name, host::Kind::group);
        make_parameters(module, held);
    }
    for (std::size_t module = first; module < running_.size(); ++module) follow_links(module, false);
}

/// Joint where there are ranks: the parameters of new modules that all ranks run, with large arrays in memory that the
/// ranks of a machine share.
std::vector<Assignment> Session::hold_arrays(std::size_t first_module) {
    Ranks* const ranks = ranks_in_use();
    std::vector<Assignment> held;
    if (!ranks || ranks->count() == 1 || first_module == running_.size()) return held;
    std::vector<double> elsewhere;  // 1: a rank does not run it
    for (std::size_t module = 0; module < running_.size(); ++module)
        elsewhere.push_back(division_.runs_here(module) ? 0.0 : 1.0);
    ranks->maximum(elsewhere);
    for (std::size_t module = first_module; module < running_.size(); ++module) {
        if (elsewhere[module] > 0.0) continue;
        for (const auto& assignment : instance(module).given) {
            if (!division_.share_of_value(assignment)) held.push_back(assignment);
        }
    }
    for (const auto& [number, bytes] : hold_arrays_once(held, *ranks)) {
        Assignment& assignment = held[number];
        module_error(assignment.module, assignment.parameter->name + ": the ranks' files are not alike; here " +
                                            std::to_string(bytes) + " bytes of large arrays");
        assignment.value = {Absent{}};
    }
    return held;
}

/// @param held  parameters whose values are taken in place of those that the network gives
void Session::make_parameters(std::size_t module, const std::vector<Assignment>& held) {
    const auto& given = instance(module).given;
    for (const auto& parameter : instance(module).definition->parameters) {
        const auto of_it = [&](const Assignment& a) { return a.module == module && a.parameter == &parameter; };
        const auto found = std::find_if(given.begin(), given.end(), of_it);
        const auto taken = std::find_if(held.begin(), held.end(), of_it);
        if (found != given.end()) {
            give(taken != held.end() ? *taken : *found);
        } else {
            make_default(running_[module].object, parameter, running_[module].links[parameter.name]);
        }
    }
}

void Session::note_dependencies(const Assignment& assignment) {
    dependencies_.set(assignment.module, assignment.parameter->name, referred_modules(network_, assignment.value));
    division_.give(assignment);
}

/// Gives a parameter a value in place of what it was. A failure is reported and leaves the parameter without a value.
/// If other ranks run the module, the value is only kept: making it may take much memory.
void Session::give(const Assignment& assignment) {
    Running& running = running_[assignment.module];
    const std::string& name = assignment.parameter->name;
    if (!division_.runs_here(assignment.module)) {
        running.postponed.insert_or_assign(name, assignment);
        return;
    }
    running.postponed.erase(name);
    auto& links = running.links[name];
    links.clear();
    running.newly_set.insert(name);
    running.unmade.erase(name);
    const auto share = division_.share_of_value(assignment);
    try {
        make_object(running.object, name, share ? *share : assignment.value, links);
        std::erase_if(links, [](const Link& link) { return link.reference.target.empty(); });
    } catch (const RunError& error) {
        host::create(running.object, name, host::Kind::unset);
        running.unmade.insert(name);
        module_error(assignment.module, name + ": " + error.what());
    }
    if (std::holds_alternative<Absent>(assignment.value.form)) host::touch(running.object);
}

void Session::take_back(std::size_t module, const Parameter& parameter) {
    enter();
    if (is_unmade()) return;
    Running& running = running_[module];
    const std::string& name = parameter.name;
    auto& links = running.links[name];
    links.clear();
    running.newly_set.insert(name);
    running.unmade.erase(name);
    running.postponed.erase(name);
    dependencies_.set(module, name, {});
    division_.forget(module, name);
    const OMobj_id object = host::find(running.object, name);
    if (!parameter.exists_unless_told() && OMvalid_obj(object) == 1) host::destroy(object);
    make_default(running.object, parameter, links);
    host::touch(running.object);
}

/// Lets references of a module lead to what they name now, and makes converted fields of what has changed.
void Session::follow_links(std::size_t module, bool report) {
    for (auto& [parameter, links] : running_[module].links) {
        for (auto& link : links) {
            const std::string problem = follow(link);
            if (report && !problem.empty()) module_error(module, problem);
        }
    }
}

// --- Several ranks ---

/// Divides the modules among the ranks anew. Those that are new here get what they have missed, and are run.
void Session::divide() {
    if (!division_.at_work()) return;
    std::vector<bool> before(running_.size());
    for (std::size_t module = 0; module < running_.size(); ++module) before[module] = division_.runs_here(module);
    const auto lists = division_.divide(dependencies_);
    for (const auto& list : lists) give(list);
    for (std::size_t module = 0; module < running_.size(); ++module) {
        if (before[module] || !division_.runs_here(module)) continue;
        for (const auto& [name, assignment] : std::exchange(running_[module].postponed, {})) give(assignment);
        host::touch(running_[module].object);
    }
}

/// Whether outputs are written by this rank.
bool Session::writes_here() const {
    const Ranks* const ranks = ranks_in_use();
    return !ranks || ranks->rank() == 0;
}

/// Whether the modules are still to be made. Ranks make them in any case, at the same time: arrays that they share are
/// read then.
bool Session::is_unmade() const { return waits_ && !ranks_in_use(); }

/// Where ranks run modules together: what rank 0 has found.
bool Session::by_rank_0(bool found) const { return division_.at_work() ? at_any_rank(found && writes_here()) : found; }

/// Joint: lets all ranks know of the modules that have failed at any of them.
void Session::learn_failures() {
    std::vector<double> states(running_.size(), 0.0);  // 1: has failed, 2: was refused
    for (std::size_t module = 0; module < running_.size(); ++module) {
        if (division_.runs_here(module))
            states[module] = running_[module].refused ? 2.0 : has_failed(module) ? 1.0 : 0.0;
    }
    ranks_in_use()->maximum(states);
    for (std::size_t module = 0; module < running_.size(); ++module) {
        Running& running = running_[module];
        if (!division_.runs_here(module)) running.failed = std::nullopt;
        if (states[module] > 0.0 && !running.failed) running.failed = module;
        running.refused = states[module] > 1.0;
    }
}

// --- Failures ---

bool Session::has_failed(std::size_t module) const {
    return running_[module].failed || !running_[module].unmade.empty();
}

bool Session::any_failed() const {
    for (std::size_t module = 0; module < running_.size(); ++module) {
        if (has_failed(module)) return true;
    }
    return false;
}

/// Keeps in mind that a module has failed; false if it did after one that it refers to.
bool Session::fail(std::size_t module) {
    const auto upstream = failed_upstream(module);
    running_[module].failed = upstream.value_or(module);
    return !upstream;
}

/// The first of the modules that this one refers to, directly or not, that has failed.
std::optional<std::size_t> Session::failed_upstream(std::size_t module) const {
    bool any = false;
    for (std::size_t other = 0; other < running_.size() && !any; ++other) any = other != module && has_failed(other);
    if (!any) return std::nullopt;
    const auto upstream = dependencies_.with_all_upstream(dependencies_.upstream(module));
    for (const std::size_t other : dependencies_.order()) {
        if (upstream[other] && has_failed(other)) return other;
    }
    return std::nullopt;
}

/// As failed_upstream, or else the module itself if it has failed.
std::optional<std::size_t> Session::first_failed(std::size_t module) const {
    const auto upstream = failed_upstream(module);
    return upstream || !has_failed(module) ? upstream : running_[module].failed.value_or(module);
}

std::optional<std::size_t> Session::failed_for(const Output& output) const {
    for (const auto& reference : {std::optional(output.from), output.under, output.points}) {
        const auto number = reference ? network_.find(split_reference(reference->target).module) : std::nullopt;
        const auto failed = number ? first_failed(*number) : std::nullopt;
        if (failed) return failed;
    }
    return std::nullopt;
}

/// Tells what went wrong with a module, unless it follows from another one's failure.
void Session::module_error(std::size_t module, std::string_view text) {
    if (fail(module)) listener_.module_error(instance(module).name, text);
}

/// Compares the fields that a module is given with those that it takes, and tells what does not fit once per
/// connection.
bool Session::takes_inputs(std::size_t module) {
    bool takes_all = true;
    for (const auto& parameter : instance(module).definition->parameters) {
        if (!parameter.accepted) continue;
        const OMobj_id object = host::find(running_[module].object, parameter.name);
        OMobj_id field = OMnull_obj();
        if (OMvalid_obj(object) == 1) OMget_obj_val(object, &field);
        if (host::kind(field) != host::Kind::field) continue;
        FieldForm form{read_shape(field).dims, {}};
        for (int comp = 0; comp < component_count(field); ++comp) {
            const auto header = read_component_header(field, comp);
            form.components.push_back({header.type, header.veclen});
        }
        if (form.components.empty()) continue;  // nothing has been made yet
        const std::string text = mismatch(instance(module).name, parameter, form);
        if (text.empty()) continue;
        takes_all = false;
        const auto& links = running_[module].links[parameter.name];
        const std::string source = links.empty() ? "" : links.front().reference.target;
        const bool is_new = said_.insert(instance(module).name + "." + parameter.name + " " + source).second;
        if (is_new) strict_ ? listener_.error(text) : listener_.note(text);
    }
    return takes_all;
}

/// Prepares a run of a module; false if it is not to be called.
bool Session::begin_run(std::size_t module) {
    Running& running = running_[module];
    const bool joint = division_.is_joint(module);
    running.failed = std::nullopt;
    running.refused = false;
    follow_links(module, true);
    if (joint) learn_failures();
    const auto upstream = failed_upstream(module);
    running.refused = strict_ && upstream && running_[*upstream].refused;
    if (!running.refused && !upstream && !takes_inputs(module)) running.refused = strict_;
    if (joint) running.refused = at_any_rank(running.refused);
    if (running.refused) fail(module);
    return !running.refused;
}

// --- Calls ---

/// Calls a function of a module, with all that is recorded and shown around it.
/// @throws RunCancelled
template <class Body>
void Session::logged(std::size_t module, const std::string& entry, Body&& body) {
    const std::string& name = instance(module).name;
    log_.update(name, entry);
    host::set_current_module(name);
    called_ = module;
    int result = 0;
    bool cancelled = false;
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    try {
        result = body();
    } catch (const host::CallCancelled&) {
        cancelled = true;
    } catch (const std::exception& error) {  // scratch memory could not be allocated
        module_error(module, error.what());
    }
    host::set_current_module("");
    called_ = std::nullopt;
    running_[module].milliseconds += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    listener_.call_ended();
    std::cout.flush();
    std::fflush(stdout);
    log_.result(name, entry, result);
    if (cancelled) throw RunCancelled();
}

/// Calls an entry of a module, or a method of a class.
void Session::call(std::size_t module, const std::string& entry) {
    const Running& running = running_[module];
    const Definition& definition = *instance(module).definition;
    if (!definition.is_class) {
        logged(module, entry, [&] { return library_of(module).find(entry)(running.object, 0, running.sequence); });
    } else if (running.self) {
        const auto method = library_of(module).find_as<MethodEntry>(definition.exported(entry));
        logged(module, entry, [&] { return method(running.self, 0, running.sequence); });
    }
}

/// Calls a module's update once: a joint one together with the other ranks.
void Session::update(std::size_t module) {
    const Definition& definition = *instance(module).definition;
    const bool joint = division_.is_joint(module);
    if (begin_run(module)) {
        const RanksLent lent(library_of(module), joint ? ranks_in_use() : nullptr);
        call(module, definition.is_class ? definition.update_method : definition.entry);
    }
    if (joint && at_any_rank(has_failed(module))) fail(module);
    running_[module].sequence = host::now();
    running_[module].newly_set.clear();
}

// --- Class instances ---

/// Makes the module's side of an instance and lets it begin.
void Session::make_self(std::size_t module) {
    const Definition& definition = *instance(module).definition;
    Running& running = running_[module];
    follow_links(module, true);
    running.self = library_of(module).find_as<CreateEntry>(definition.exported("create"))(running.object);
    if (!running.self) return module_error(module, "the instance cannot be made");
    if (definition.find_method("inst")) call(module, "inst");
}

/// Whether a parameter that a method stands for was set, or what it refers to has changed.
bool Session::wants(std::size_t module, const Method& method) const {
    const Running& running = running_[module];
    const bool first = running.sequence == 0;
    if (first && !method.at_start) return false;
    return std::any_of(method.on.begin(), method.on.end(), [&](const auto& name) {
        if (running.newly_set.contains(name)) return true;
        const auto links = running.links.find(name);
        if (first || links == running.links.end()) return false;
        return std::any_of(links->second.begin(), links->second.end(),
                           [&](const Link& link) { return stamp_of_link(link) > running.sequence; });
    });
}

void Session::run_methods(std::size_t module) {
    std::vector<std::string> wanted;
    const bool called = begin_run(module);
    for (const auto& method : instance(module).definition->methods) {
        if (called && wants(module, method)) wanted.push_back(method.name);
    }
    for (const auto& name : wanted) call(module, name);
    running_[module].sequence = host::now();
    running_[module].newly_set.clear();
}

void Session::end_self(std::size_t module) {
    const Definition& definition = *instance(module).definition;
    if (!running_[module].self) return;
    if (definition.find_method("deinst")) call(module, "deinst");
    const auto destroy = library_of(module).find_as<DestroyEntry>(definition.exported("destroy"));
    destroy(std::exchange(running_[module].self, nullptr));
}

// --- Runs ---

/// Runs a module, its parameter entry first when one of the parameters it looks after was set.
void Session::run(std::size_t module) {
    const Definition& definition = *instance(module).definition;
    if (!listener_.run_begins(instance(module).name)) throw RunCancelled();
    running_[module].milliseconds = 0.0;
    if (definition.is_class && !std::exchange(running_[module].begun, true)) make_self(module);
    if (definition.is_class) return run_methods(module);
    const auto& newly_set = running_[module].newly_set;
    const auto& on = definition.set_params_on;
    if (std::any_of(on.begin(), on.end(), [&](const auto& name) { return newly_set.contains(name); })) {
        call(module, definition.set_params_entry);
    }
    update(module);
}

void Session::run_changed() {
    enter();
    if (waits_) return;
    run_affected(settled_, Cause::network);
    if (!listener_.goes_on()) throw RunCancelled();
}

/// Latest change of what a reference leads to. The host does not see what a pointer leads to; it may have changed with
/// anything in the instance whose pointer it is.
int Session::stamp_of_link(const Link& link) const {
    const int own = host::stamp(link.holder);
    if (host::kind(link.holder) != host::Kind::pointer) return own;
    const auto owner = network_.find(split_reference(link.reference.target).module);
    return owner ? std::max(own, host::stamp(running_[*owner].object)) : own;
}

/// Latest change of what a module refers to.
int Session::stamp_of_links(std::size_t module) const {
    int latest = 0;
    for (const auto& [parameter, links] : running_[module].links) {
        for (const auto& link : links) latest = std::max(latest, stamp_of_link(link));
    }
    return latest;
}

/// Runs the modules that a change after the moment `since` reaches, upstream before downstream.
/// @param only  which of them; null: all
void Session::run_affected(int since, Cause cause, const std::vector<bool>* only) {
    for (const std::size_t module : dependencies_.order()) {
        if (only && !(*only)[module]) continue;
        if (!division_.runs_here(module)) continue;
        follow_links(module, false);
        const int own = cause == Cause::network ? host::stamp(running_[module].object) : 0;
        const int changed = std::max(own, stamp_of_links(module));
        const bool affected = changed > std::max(since, running_[module].sequence);
        if (division_.is_joint(module) ? at_any_rank(affected) : affected) run(module);
    }
    settled_ = host::now();
}

void Session::give(const std::vector<Assignment>& assignments) {
    enter();
    if (is_unmade()) return;  // modules are made with what the network gives them then
    OMbegin_op();
    for (const auto& assignment : assignments) note_dependencies(assignment);
    divide();
    for (const auto& assignment : assignments) give(assignment);
    OMend_op();
}

void Session::set(const std::vector<Assignment>& assignments) {
    const int before = host::now();
    give(assignments);
    run_affected(before, Cause::network);
}

void Session::advance(std::int64_t units) {
    const int before = host::now();
    host::advance(units);
    run_affected(before, Cause::module);
}

/// Sleeps, in pieces that keep nobody waiting who ends the run.
void Session::wait(std::chrono::milliseconds time) {
    constexpr std::chrono::milliseconds kPiece{100};
    for (auto left = time; left.count() > 0; left -= kPiece) {
        if (!listener_.goes_on()) throw RunCancelled();
        std::this_thread::sleep_for(std::min(left, kPiece));
    }
}

void Session::loop(double seconds) {
    enter();
    if (!writes_rest()) return;
    begin();
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;
    const auto start = Clock::now();
    const auto total = std::chrono::duration_cast<Milliseconds>(std::chrono::duration<double>(seconds)).count();
    for (std::int64_t done = 0; done < total;) {
        auto passed = static_cast<double>(std::chrono::duration_cast<Milliseconds>(Clock::now() - start).count());
        if (division_.at_work()) ranks_in_use()->maximum({&passed, 1});  // joint modules are run at the same times
        const std::int64_t now = std::min(static_cast<std::int64_t>(passed), static_cast<std::int64_t>(total));
        if (now > done) advance(now - done);
        done = now;
        const std::int64_t left = total - done;
        wait(Milliseconds(std::min(host::next_due().value_or(left), left)));
    }
}

void Session::joystick(const JoystickEvent& event) {
    const auto simulate = library_.simulate_joystick();
    if (!simulate) return listener_.error("the module library has no joysticks to simulate");
    auto& state = joysticks_[static_cast<std::size_t>(event.id - 1)];
    for (std::size_t i = 0; i < state.size(); ++i) state[i] = event.state[i].value_or(state[i]);
    plugged_.insert(event.id);
    if (simulate(event.id, state.data()) != 1) {
        listener_.error("joystick " + std::to_string(event.id) + " cannot be simulated on this system");
    }
}

// --- Events ---

struct Session::Play {
    Session& session;
    const std::string& output_directory;
    bool silent = false;  // nothing is written, and of frames only what the last one needs is played

    void operator()(const SetEvent& event) const { session.set(event.assignments); }
    void operator()(const RunEvent& event) const {
        for (const std::size_t module : event.modules) {
            if (session.division_.runs_here(module)) session.update(module);
        }
    }
    void operator()(const CallEvent& event) const {
        if (!session.division_.runs_here(event.module)) return;
        session.follow_links(event.module, true);
        session.call(event.module, event.entry);
    }
    void operator()(const WriteEvent& event) const {
        if (!silent) session.write(event.outputs, output_directory);
    }
    void operator()(const JoystickEvent& event) const { session.joystick(event); }
    void operator()(const AdvanceEvent& event) const { session.advance(event.units); }
    void operator()(const ForEvent& event) const {
        silent ? session.play_frame(event, 0, event.steps - 1) : session.play_frames(event, output_directory);
    }
    void operator()(const UnlinkEvent& event) const {
        Running& running = session.running_[event.module];
        running.links.erase(event.parameter);
        running.postponed.erase(event.parameter);
        session.dependencies_.set(event.module, event.parameter, {});
        session.division_.forget(event.module, event.parameter);
        session.divide();
        const OMobj_id object = host::find(running.object, event.parameter);
        if (OMvalid_obj(object) == 1) host::destroy(object);
    }
};

void Session::share_frames(FrameChoice& choice) {
    choice_ = &choice;
    waits_ = waits_ || !writes_rest();
}

void Session::resume() {
    origins_.emplace(network_);
    waits_ = waits_ || writes_anything(network_);
}

/// Makes the modules and lets them run, and catches up on the events, if they have waited so far.
void Session::begin() {
    if (!std::exchange(waits_, false)) return;
    build();
    run_changed();
    for (std::size_t event = 0; event < played_; ++event) {
        std::visit(Play{*this, {}, true}, network_.events[event].what);
    }
}

/// Whether this process has something to do in the events from this one on, or after them.
bool Session::plays_from(std::size_t event) const {
    const auto begin = network_.events.begin() + static_cast<std::ptrdiff_t>(std::min(event, network_.events.size()));
    return writes_rest() || std::any_of(begin, network_.events.end(), has_frames);
}

void Session::play_events(const std::string& output_directory) {
    enter();
    if (origins_) origins_.emplace(network_);
    for (played_ = 0; played_ < network_.events.size() && plays_from(played_); ++played_) {
        const Event& event = network_.events[played_];
        const auto* given = std::get_if<SetEvent>(&event.what);
        if (given && origins_) origins_->give(given->assignments);
        const bool writes = has_frames(event) || std::holds_alternative<WriteEvent>(event.what);
        if (writes || !waits_) std::visit(Play{*this, output_directory}, event.what);
    }
}

void Session::play(const Event& event, const std::string& output_directory) {
    enter();
    begin();
    std::visit(Play{*this, output_directory}, event.what);
}

// --- Frames ---

/// Plays the frames of an event that are for this process, and writes their outputs. Animations are written at the end.
/// Afterwards the modules are as the last frame leaves them, if anything follows.
void Session::play_frames(const ForEvent& event, const std::string& directory) {
    const int number = frame_events_played();
    EveryNth all(0, 1);
    FrameChoice& choice = choice_ ? *choice_ : all;
    const bool in_memory = !choice_ && !origins_;
    CurrentFrames current(event, directory, origins_ ? &*origins_ : nullptr);
    auto films = in_memory ? begin_films(event) : std::vector<Film>();
    int reached = 0;            // the frames before have been played or passed over
    std::optional<int> failed;  // the first frame that has
    while (const auto step = choice.next(number, event.steps)) {
        const auto outputs = current.to_make(*step);
        if (by_rank_0(origins_ && outputs.empty())) continue;
        begin();
        play_frame(event, std::exchange(reached, *step + 1), *step);
        const bool written = write_frame_files(outputs, *step, in_memory, directory);
        add_frames(films, event, *step);
        if (!failed && (!written || any_failed())) failed = step;
    }
    if (const auto first = choice.end(failed))
        listener_.error("frame " + std::to_string(*first) + " failed, the first one that did");
    if (reached < event.steps && !waits_ && plays_from(played_ + 1)) play_frame(event, reached, event.steps - 1);
    current.end();
    finish_films(films, event, directory);
    if (!in_memory && (!choice_ || choice_->joins_frames())) join_films(event, current, directory);
}

/// Number of the events of frames before the one that is played.
int Session::frame_events_played() const {
    const auto first = network_.events.begin();
    return static_cast<int>(std::count_if(first, first + static_cast<std::ptrdiff_t>(played_), has_frames));
}

/// False after an error. @param without_films  leaves animations out
bool Session::write_frame_files(const std::vector<Output>& outputs, int step, bool without_films,
                                const std::string& directory) {
    bool written = true;
    for (const auto& output : outputs) {
        if (without_films && is_film(output)) continue;
        const Output frame = frame_of(output, step);
        written = writing(output, frame.file, [&] { write_one(frame, directory); }) && written;
    }
    return written;
}

/// The parameters of a frame. What cannot be read any more is an error, and left out.
std::vector<Assignment> Session::frame_values(const ForEvent& event, int step) {
    Problems problems;
    auto assignments = assignments_at(event, step, problems);
    for (const auto& line : problems.lines()) listener_.error(line);
    return assignments;
}

/// Sets the parameters of a frame and runs what they affect; before it, in the frames since `from`, the modules that
/// remember them.
void Session::play_frame(const ForEvent& event, int from, int step) {
    const int before = host::now();
    std::vector<bool> replayed;  // not looked for where no frame was passed over
    if (from < step) replayed = modules_to_replay(network_, dependencies_, event);
    const bool any = std::find(replayed.begin(), replayed.end(), true) != replayed.end();
    for (; any && from < step; ++from) {
        give(frame_values(event, from));
        run_affected(before, Cause::network, &replayed);
    }
    give(frame_values(event, step));
    run_affected(before, Cause::network);
}

std::vector<Session::Film> Session::begin_films(const ForEvent& event) {
    std::vector<Film> films;
    for (const auto& output : event.outputs) {
        if (!is_film(output)) continue;
        films.push_back({&output});
        writing(output, output.file, [&] { films.back().frames = std::make_unique<WebpFrames>(); });
    }
    return films;
}

void Session::add_frames(std::vector<Film>& films, const ForEvent& event, int step) {
    for (auto& film : films) {
        const auto add = [&] {
            std::vector<std::string> notes;
            add_frame(*film.output, network_, shown_at(event, step), *film.frames, notes);
            say_once(notes);
        };
        if (film.frames && !writing(*film.output, film.output->file, add)) film.frames = nullptr;
    }
}

void Session::finish_films(std::vector<Film>& films, const ForEvent& event, const std::string& directory) {
    for (const auto& film : films) {
        const auto finish = [&] {
            listener_.wrote(write_frames(*film.output, directory, shown_at(event, event.steps), *film.frames));
        };
        if (film.frames) writing(*film.output, film.output->file, finish);
    }
}

/// Puts the animations of an event together whose frames are files.
void Session::join_films(const ForEvent& event, const CurrentFrames& current, const std::string& directory) {
    for (const auto& output : event.outputs) {
        if (!is_film(output) || !has_frame_files(output, directory)) continue;
        const auto join = [&] {
            if (!current.has_film(output)) listener_.wrote(join_frames(output, event, directory));
            remove_frames(output, directory);
        };
        writing(output, output.file, join);
    }
}

/// Does what belongs to an output; false after an error, which the listener has been told. That a module has failed is
/// said once per output, however many frames there are.
/// @param file  the output's name, or that of the frame
template <class Body>
bool Session::writing(const Output& output, const std::string& file, Body&& body) {
    if (division_.at_work() && !writes_here()) return false;
    const auto failed = failed_for(output);
    // what a failed module left would be taken for current by the next run that is resumed
    const bool refused = failed && (running_[*failed].refused || origins_);
    try {
        if (!refused) body();
        if (!refused) return true;
    } catch (const RunError& error) {
        if (!failed) listener_.error(file + ": " + error.what());
    }
    const bool is_new = failed && said_.insert(output.file + " " + instance(*failed).name).second;
    if (is_new) listener_.not_written(output.file, instance(*failed).name);
    return false;
}

/// Writes an output, or a frame of one.
void Session::write_one(const Output& output, const std::string& directory) {
    std::vector<std::string> notes;
    const std::string written = write_output(output, network_, directory, notes);
    say_once(notes);
    listener_.wrote(written);
}

void Session::say_once(const std::vector<std::string>& notes) {
    for (const auto& note : notes) {
        if (said_.insert(note).second) listener_.note(note);
    }
}

void Session::write(const std::vector<Output>& outputs, const std::string& directory) {
    enter();
    if (!writes_rest()) return;
    for (const auto& output : outputs) {
        const bool current = origins_ && origins_->is_older_than(output, output_path(directory, output.file));
        if (by_rank_0(current)) continue;
        begin();
        if (writes_here()) writing(output, output.file, [&] { write_one(output, directory); });
    }
}

std::vector<Standing> Session::standings() {
    enter();
    std::vector<Standing> standings(running_.size());
    std::vector<bool> waits(running_.size(), true);  // modules on a circle do
    for (const std::size_t module : dependencies_.order()) {
        const Running& running = running_[module];
        const int changed = std::max(host::stamp(running.object), stamp_of_links(module));
        const auto upstream = dependencies_.upstream(module);
        waits[module] = running.sequence == 0 || changed > std::max(settled_, running.sequence) ||
                        std::any_of(upstream.begin(), upstream.end(), [&](std::size_t other) { return waits[other]; });
    }
    for (std::size_t module = 0; module < running_.size(); ++module) {
        const auto done = has_failed(module) ? Standing::State::failed : Standing::State::ran;
        standings[module] = {waits[module] ? Standing::State::waiting : done, running_[module].milliseconds};
    }
    return standings;
}

void Session::end() {
    enter();
    ending_ = true;
    std::exception_ptr thrown;  // by a listener, the first time; everything ends all the same
    for (std::size_t module = running_.size(); module-- > 0;) {
        try {
            end_self(module);
            const std::string& entry = instance(module).definition->delete_entry;
            const bool was_here = division_.runs_here(module) || running_[module].sequence > 0;
            if (!entry.empty() && was_here) call(module, entry);
        } catch (...) {
            if (!thrown) thrown = std::current_exception();
        }
    }
    for (const auto& running : running_) host::destroy(running.object);
    running_.clear();
    if (thrown) std::rethrow_exception(thrown);
}

}  // namespace zam::session
