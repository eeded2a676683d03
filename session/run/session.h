// A network in the host: instances made, modules run, events played, outputs written, instances ended.
//
// Several networks may be in the host at the same time; one of them is at work at a time.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "session/network/dependencies.h"
#include "session/network/network.h"
#include "session/objects/host_objects.h"
#include "session/outputs/webp_file.h"
#include "session/run/call_log.h"
#include "session/run/division.h"
#include "session/run/frame_choice.h"
#include "session/run/library.h"
#include "session/run/listener.h"
#include "session/run/origins.h"

namespace zam::session {

/// How a module stands.
struct Standing {
    enum class State { waiting, ran, failed };  // waiting: for its next run, or that of a module that it refers to
    State state = State::waiting;
    double milliseconds = 0.0;  // that its latest run took, those of modules before it left out
};

class CurrentFrames;

class Session {
public:
    /// Everything is borrowed and outlives the session. The network has no problems. It may gain instances and outputs
    /// later.
    /// @param library  of the built-in modules
    Session(const Network& network, const ModuleLibrary& library, Listener& listener, CallLog& log);
    /// Ends what is left of the instances.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// From now on a field that a module does not take is an error: the module, and those that refer to it, are not
    /// called.
    void be_strict() { strict_ = true; }

    /// From now on other processes play this network too, and this one those frames that `choice` gives it. Animations
    /// become files of their frames. Borrowed; before anything has run.
    void share_frames(FrameChoice& choice);
    /// From now on an output that is newer than what it comes from is left out. Before the first one that is not, the
    /// modules are neither made nor run. Before anything has run.
    void resume();

    /// Whether the libraries have every entry that the network needs; if not, the listener has been told. Loads the
    /// libraries of plug-ins: without this, modules are called that are built in.
    bool has_entries();

    /// Makes the instances that are not there yet and gives them their parameters.
    void build();
    /// Runs the modules, each after those it refers to, that have not run or that a change since then affects.
    /// @throws RunCancelled  if the listener ends it. The next run goes on with the module that was running
    void run_changed();
    /// Plays the network's events in order.
    /// @param output_directory  where their outputs go
    /// @throws RunCancelled
    void play_events(const std::string& output_directory);
    /// Plays one event, of the network or another one for it.
    /// @throws RunCancelled
    void play(const Event& event, const std::string& output_directory);
    /// Sets parameters as one change. The next run has what it affects.
    void give(const std::vector<Assignment>& assignments);
    /// Takes back what a parameter was given: it is as its definition says. The next run has what that affects.
    /// @pre  the network does not give it any more
    void take_back(std::size_t module, const Parameter& parameter);
    /// As give(), then runs every module that it affects.
    /// @throws RunCancelled
    void set(const std::vector<Assignment>& assignments);
    /// Lets this network's objects be those of the host's root, and its listener hear of them, until another network
    /// does something. Every function does that.
    void enter();
    /// Keeps the host's timer running in real time, one unit per millisecond.
    /// @throws RunCancelled
    void loop(double seconds);
    void write(const std::vector<Output>& outputs, const std::string& directory);
    /// How the modules stand, in the network's order.
    std::vector<Standing> standings();
    /// Calls the deletion entries, the last instance's first, and ends the instances; so does the destructor if nobody
    /// did before.
    void end();

private:
    /// A module instance in the host.
    struct Running {
        OMobj_id object{};
        void* self = nullptr;                            // the module's side of a class instance
        bool begun = false;                              // it was asked for
        int sequence = 0;                                // moment at which its latest update ended; 0 before the first
        std::map<std::string, std::vector<Link>> links;  // by parameter
        std::set<std::string, std::less<>> newly_set;    // parameters set since the latest update
        std::map<std::string, Assignment> postponed;     // parameters that are not made, as other ranks run the module
        std::set<std::string, std::less<>> unmade;       // parameters whose values could not be made
        std::optional<std::size_t> failed;               // at its latest run: the module whose failure led to its own
        bool refused = false;                            // was not called for what a field is, or after such a module
        double milliseconds = 0.0;                       // of its calls since its latest run began
    };

    struct Play;  // plays one event

    /// An animation whose frames are kept in memory.
    struct Film {
        const Output* output;
        std::unique_ptr<WebpFrames> frames = {};  // null: it cannot be written
    };

    const ModuleLibrary& library_of(std::size_t module) const;
    std::string load_plugin(const std::string& file);

    /// Who changed objects: what a module changes of its own, from a timer event, is no reason to run it again.
    enum class Cause { network, module };

    void give(const Assignment& assignment);
    void note_dependencies(const Assignment& assignment);
    void divide();
    bool writes_here() const;
    bool is_unmade() const;
    bool by_rank_0(bool found) const;
    void learn_failures();
    std::vector<Assignment> hold_arrays(std::size_t first_module);
    void make_parameters(std::size_t module, const std::vector<Assignment>& held);
    void follow_links(std::size_t module, bool report);
    void update(std::size_t module);
    void run(std::size_t module);
    void run_affected(int since, Cause cause, const std::vector<bool>* only = nullptr);
    void begin();
    bool writes_rest() const { return !choice_ || choice_->writes_rest(); }
    bool plays_from(std::size_t event) const;
    int stamp_of_link(const Link& link) const;
    int stamp_of_links(std::size_t module) const;
    void advance(std::int64_t units);
    void wait(std::chrono::milliseconds time);
    void call(std::size_t module, const std::string& entry);
    template <class Body>
    void logged(std::size_t module, const std::string& entry, Body&& body);
    void hear(const host::Record& record);
    void make_self(std::size_t module);
    bool wants(std::size_t module, const Method& method) const;
    void run_methods(std::size_t module);
    void end_self(std::size_t module);
    void joystick(const JoystickEvent& event);
    void play_frames(const ForEvent& event, const std::string& directory);
    void play_frame(const ForEvent& event, int from, int step);
    bool write_frame_files(const std::vector<Output>& outputs, int step, bool without_films,
                           const std::string& directory);
    int frame_events_played() const;
    std::vector<Assignment> frame_values(const ForEvent& event, int step);
    std::vector<Film> begin_films(const ForEvent& event);
    void add_frames(std::vector<Film>& films, const ForEvent& event, int step);
    void finish_films(std::vector<Film>& films, const ForEvent& event, const std::string& directory);
    void join_films(const ForEvent& event, const CurrentFrames& current, const std::string& directory);
    void write_one(const Output& output, const std::string& directory);
    void say_once(const std::vector<std::string>& notes);
    template <class Body>
    bool writing(const Output& output, const std::string& file, Body&& body);
    bool has_failed(std::size_t module) const;
    bool any_failed() const;
    std::optional<std::size_t> first_failed(std::size_t module) const;
    bool fail(std::size_t module);
    std::optional<std::size_t> failed_upstream(std::size_t module) const;
    std::optional<std::size_t> failed_for(const Output& output) const;
    void module_error(std::size_t module, std::string_view text);
    bool takes_inputs(std::size_t module);
    bool begin_run(std::size_t module);
    const Instance& instance(std::size_t module) const { return network_.instances[module]; }

    const Network& network_;
    const ModuleLibrary& library_;
    std::map<std::string, std::unique_ptr<ModuleLibrary>> plugins_;  // by file
    Listener& listener_;
    CallLog& log_;
    Dependencies dependencies_;
    Division division_;
    std::vector<Running> running_;
    std::array<std::array<std::uint32_t, 8>, 2> joysticks_;
    std::set<int> plugged_;              // simulated joysticks
    std::optional<std::size_t> called_;  // the module that is running
    OMobj_id root_{};                    // of the instances
    int settled_ = 0;                    // moment after which no change has been seen to
    bool ending_ = false;                // what ends modules is not cancelled
    bool strict_ = false;
    FrameChoice* choice_ = nullptr;   // null: every frame, and the rest
    std::optional<Origins> origins_;  // where what is current is left out
    bool waits_ = false;              // the modules are not made: no output needs them so far
    std::size_t played_ = 0;          // events, whether or not they waited
    std::set<std::string> said_;      // of notes their connections, of outputs that are not written their names
};

}  // namespace zam::session
