#include <algorithm>

#include "base/file_path.h"
#include "embedded/host.h"
#include "session/api/state.h"
#include "session/api/values.h"
#include "session/network/network_check.h"
#include "session/network/network_reader.h"
#include "session/outputs/json_writer.h"

namespace zam {
namespace {

std::atomic<bool> is_open = false;  // of the one session that the process may have

}  // namespace

void throw_problems(const session::Problems& problems, bool has_modules) {
    if (problems.any()) throw Invalid(problems.text(), has_modules);
}

// --- Turns ---

Turn::Turn(Session::State& session) : session_(session) {
    for (Work now = Work::None; !session.work.compare_exchange_strong(now, Work::Call); now = Work::None) {
        // what ends lets go of its callbacks: a call that comes from there would wait for itself
        if (now == Work::Call || session.tidier == std::this_thread::get_id())
            throw Error("another call is at work: networks are used by one call at a time, and not from callbacks");
        session.work.wait(Work::Tidying);
    }
    if (!session.closed) return;
    session.end_turn();
    throw Error("the session of this network has ended");
}

void Session::State::end_what_is_over() {
    dropped = 0;  // those that are counted from now on may be looked at too early, but not too late
    const auto is_over = [&](const auto& network) {
        if (!closed && !network->dropped) return false;
        network->callbacks = {};  // what these refer to may be gone
        network->run.reset();
        return true;
    };
    std::erase_if(networks, is_over);
    if (closed && library) {
        library.reset();
        is_open = false;
    }
}

bool Session::State::begin_to_tidy() {
    Work now = Work::None;
    if (!work.compare_exchange_strong(now, Work::Tidying)) return false;
    tidier = std::this_thread::get_id();
    return true;
}

void Session::State::end_turn() {
    do {
        end_what_is_over();
        tidier = std::thread::id();
        work = Work::None;
        work.notify_all();
        // one that was dropped meanwhile found that somebody had his turn
    } while ((dropped > 0 || (closed && library)) && begin_to_tidy());
}

void Session::State::tidy() {
    if (begin_to_tidy()) end_turn();
}

// --- Sessions ---

Session::Session(const std::string& plugins) : state_(std::make_shared<State>()) {
    if (is_open.exchange(true)) throw Error("a session is open already: a process has one at a time");
    try {
        guarded([&] {
            const auto installation = session::find_installation(plugins);
            session::Problems problems;
            state_->definitions = session::load_definitions(installation, problems, state_->left_out);
            throw_problems(problems, false);
            std::string error;
            state_->library = session::ModuleLibrary::load(installation.library, error);
            if (!state_->library) throw Error("the module library cannot be loaded: " + error);
            for (const auto& definition : state_->definitions.all()) state_->modules.push_back(describe(*definition));
        });
    } catch (...) {
        is_open = false;
        throw;
    }
}

Session::~Session() {
    state_->closed = true;
    state_->tidy();
}

const std::vector<Module>& Session::modules() const { return state_->modules; }

const std::vector<std::string>& Session::left_out() const { return state_->left_out; }

const Module& Session::module(const std::string& name) const {
    const auto found = std::find_if(state_->modules.begin(), state_->modules.end(),
                                    [&](const Module& module) { return module.name == name || module.entry == name; });
    if (found != state_->modules.end()) return *found;
    throw Error("there is no module " + name + state_->definitions.nearest_to(name));
}

Network Session::network() {
    const Turn turn(*state_);
    auto network = std::make_shared<Network::State>(state_);
    state_->networks.push_back(network);
    return Network(std::move(network));
}

namespace {

/// Reads a network of a session.
/// @param document  null after a problem
void read_into(Network::State& state, const session::Document* document, const std::string& directory,
               const session::NetworkOptions& options, session::Problems& problems) {
    guarded([&] {
        if (!document) return;
        state.network = session::network_from(*document, directory, options, state.session->definitions, problems);
        if (!problems.any()) state.written = WrittenNetwork(document->text(), options);
    });
    throw_problems(problems, !state.network.instances.empty());
    state.notes = problems.notes();
}

}  // namespace

Network Session::load(const std::string& file, const std::vector<std::string>& set,
                      const std::vector<std::string>& write) {
    Network network = this->network();
    const Turn turn(*state_);
    session::Problems problems;
    const auto document = guarded([&] { return session::read_network_document(file, problems); });
    read_into(*network.state_, document.get(), file_path(file).parent_path().string(), {.set = set, .write = write},
              problems);
    if (file != "-") network.state_->network.file = file;
    return network;
}

Network Session::parse(const std::string& text, const std::string& directory, const std::vector<std::string>& set) {
    Network network = this->network();
    const Turn turn(*state_);
    session::Problems problems;
    session::Document document("network", text);
    const bool parsed = guarded([&] { return document.parse(problems); });
    read_into(*network.state_, parsed ? &document : nullptr, directory, {.set = set, .write = {}}, problems);
    return network;
}

Account Session::account() const { return zam::account(); }

Account account() {
    const host::Account account = host::account();
    return {account.held_arrays, account.outstanding_arrays + account.open_accesses, account.faults};
}

}  // namespace zam
