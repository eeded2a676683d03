// What sessions and networks of the public interface are made of, and who has his turn with the host.
#pragma once

#include <atomic>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "session/api/written_network.h"
#include "session/network/definitions.h"
#include "session/network/network.h"
#include "session/objects/run_error.h"
#include "session/run/frame_choice.h"
#include "session/run/library.h"
#include "session/run/listener.h"
#include "session/run/session.h"
#include "zam/session.h"

namespace zam {

/// What is done with the host at this time.
enum class Work { None, Call, Tidying };

/// What lasts until the session and all its networks are gone.
struct Session::State {
    session::Definitions definitions;
    std::unique_ptr<session::ModuleLibrary> library;
    std::vector<Module> modules;
    std::vector<std::string> left_out;                      // what of plug-ins, a line each
    std::vector<std::shared_ptr<Network::State>> networks;  // those that somebody holds

    std::atomic<Work> work = Work::None;
    std::atomic<std::thread::id> tidier;  // that ends what is over, outside calls
    std::atomic<bool> closed = false;     // the session has ended
    std::atomic<int> dropped = 0;         // networks that nobody holds any more

    /// Ends the turn, after all has ended that is no longer held.
    void end_turn();
    /// Ends what is no longer held, unless somebody has his turn and will do it.
    void tidy();

private:
    bool begin_to_tidy();
    void end_what_is_over();
};

/// A call's time with the host; it waits for networks that just end on another thread.
/// @throws Error if another call has it, or the session has ended
class Turn {
public:
    explicit Turn(Session::State& session);
    ~Turn() { session_.end_turn(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    Session::State& session_;
};

struct Network::State final : session::Listener {
    explicit State(std::shared_ptr<Session::State> in) : session(std::move(in)) {}

    std::shared_ptr<Session::State> session;
    session::Network network;
    WrittenNetwork written;
    RunOptions options;
    std::unique_ptr<session::FrameChoice> frames;  // that are played here, if not all
    session::CallLog log;
    std::optional<session::Session> run;  // from the first call that needs the host until the network ends
    std::size_t checked = 0;              // instances whose entries the library has
    std::vector<std::string> notes;       // on its file, not yet told
    Callbacks callbacks;
    std::vector<Report> reports;  // since the latest outcome
    std::exception_ptr thrown;    // by a callback
    std::atomic<bool> cancelled = false;
    std::atomic<bool> dropped = false;

    /// Makes the run, as the options say.
    void begin_run();
    /// Brings all modules into the host. @throws Reported if the library has not what they need
    void build();
    /// Takes them out of it.
    void end();
    void tell(Report report);
    /// Calls a callback and keeps what it throws.
    template <class Call>
    void call_back(Call&& call) noexcept;

    void record(const host::Record& record) override;
    void error(std::string_view text) override;
    void module_error(std::string_view module, std::string_view text) override;
    void note(std::string_view text) override;
    void not_written(std::string_view file, std::string_view failed_module) override;
    void call_ended() override;
    void wrote(std::string_view output) override;
    bool run_begins(std::string_view module) override;
    bool goes_on() override { return !cancelled && !thrown; }
    bool ask(const Progress& progress);
};

/// Does something and throws Error in place of whatever goes wrong in the library.
template <class Body>
auto guarded(Body&& body) {
    try {
        return body();
    } catch (const Error&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw Error("memory is exhausted");
    } catch (const std::exception& error) {
        throw Error(error.what());
    }
}

/// Does something that a network's callbacks hear of. What they throw comes out of it.
/// @throws Cancelled
template <class Body>
void heard(Network::State& state, Body&& body) {
    std::optional<Cancelled> cancelled;
    guarded([&] {
        try {
            body();
        } catch (const session::RunCancelled& end) {
            state.cancelled = false;
            cancelled.emplace(end.what());
        }
    });
    if (auto kept = std::exchange(state.thrown, nullptr)) std::rethrow_exception(kept);
    if (cancelled) throw Cancelled(*cancelled);
}

/// @param has_modules  as in Invalid
/// @throws Invalid with all of them, if there are any
void throw_problems(const session::Problems& problems, bool has_modules = true);

}  // namespace zam
