// A network that a person works on: the one thread that owns it, and what goes in and out.
//
// Whoever calls a member waits until the thread has done it. Changes wait in a queue, and are all made before the next
// run: so a newer one overtakes an older one. A run in full is cancelled when a change comes; one at the size of a
// preview is short, and ends, so that there is a picture now and then however fast changes come.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "runner/serve/edited_network.h"
#include "runner/serve/folder.h"
#include "runner/serve/history.h"
#include "runner/serve/json_text.h"
#include "runner/serve/preview.h"
#include "runner/serve/published.h"
#include "runner/serve/recording.h"
#include "runner/serve/shown_output.h"
#include "runner/serve/streams.h"
#include "runner/serve/time_steps.h"
#include "runner/serve/worker.h"
#include "zam/session.h"

namespace zam::runner {

class Workbench {
public:
    /// Opens a file below the directory, which becomes the current one. What is wrong with it is among the problems of
    /// the state.
    /// @param file  network or data; empty: none
    Workbench(const std::string& directory, const std::string& file);
    ~Workbench();
    Workbench(const Workbench&) = delete;
    Workbench& operator=(const Workbench&) = delete;

    // On any thread, at once.

    Streams& streams() { return streams_; }
    const Folder& folder() const { return folder_; }
    const Published& published() const { return published_; }

    // On any thread. They throw Error with what is wrong, and then nothing has changed; Busy if there is too much to
    // do. Those that give a number give that of the change, which is in the state from then on.

    /// How often the values of a field's first component occur.
    Json histogram(const std::string& reference);
    /// @param values   empty ones take back what a parameter was given
    /// @param gesture  changes of one gesture are one step of undo; 0: it is one of its own
    std::int64_t change(const WrittenValues& values, bool dragging, std::int64_t gesture);
    std::int64_t undo();
    std::int64_t redo();
    /// Draws another output.
    std::int64_t show(const std::string& output);
    /// What was dragged has been let go.
    std::int64_t rest();
    std::int64_t record(bool on);
    /// Shows a time step, from 0.
    std::int64_t step(int step);
    /// @param state  as joystick events have it
    std::int64_t joystick(const Json& state);
    /// Writes the network beside the one that was opened. False if there is such a file and that was not confirmed.
    /// @param events  whether the events of its file stay; those that were recorded take their place
    bool save(const std::string& file, bool confirmed, bool events);
    std::int64_t open(const std::string& file);

private:
    using Clock = std::chrono::steady_clock;

    /// What is open, and what was done since. The next file begins with a new one.
    struct Opened {
        EditedNetwork network;
        std::filesystem::path base;  // directory of the network
        std::string file = {};       // its name; empty: none
        std::size_t events = 0;      // how many the file has
        std::vector<OutputEntry> outputs = {};
        std::string shown = {};  // output that is drawn
        bool unsaved = false;
        History history = {};
        Recording recording = {};
        Preview preview = {};
        StepFinder step_finder = {};
        std::optional<TimeSteps> steps = {};
        std::set<int> plugged_in = {};  // joysticks, by number

        /// Null if there is none.
        const OutputEntry* shown_entry() const;
    };

    // All of these are called on the worker's thread alone, or before it starts.

    std::optional<std::chrono::milliseconds> own_work();
    Network& network() { return opened_->network.network(); }

    std::int64_t open_and_tell(const std::string& file);
    void open_now(const std::string& name);
    void load(const std::filesystem::path& file);
    void begin(Network network, const std::filesystem::path& file);
    void listen();

    std::int64_t change_now(const WrittenValues& values, bool dragging, std::int64_t gesture);
    void check_files(const WrittenValues& values) const;
    void give(const WrittenValues& values, std::int64_t gesture);
    std::int64_t return_to(const std::optional<WrittenValues>& values);
    std::int64_t changed(bool dragging);
    std::int64_t show_now(const std::string& output);
    std::int64_t step_now(int step);
    void let_go();
    void move_joystick(const Json& state);
    void play(Json event);
    bool save_now(const std::string& file, bool confirmed, bool events);

    void run();
    std::optional<std::vector<Report>> run_network();
    void draw(Clock::time_point start);
    void learn(const OutputEntry& entry, const ShownOutput& shown, double drawing);
    void scale();
    void restore_size();

    void tell_state(bool now);
    void tell_progress(const Progress& progress);
    Json state_json();
    Json modules_json();
    Json outputs_json() const;
    void lay_out_graph();

    // These look after themselves on any thread.
    const Folder folder_;
    Streams streams_;
    Published published_;
    Worker worker_;

    // All else is the worker thread's own.
    Session session_;
    std::optional<Opened> opened_;                        // there always is one
    std::map<std::string, std::vector<Report>> reports_;  // by module; "": of none
    Json problems_ = Json::array();                       // of the file that was opened last
    bool needs_run_ = false;
    bool dragging_ = false;
    bool state_waits_ = false;  // to be told
    bool graph_is_stale_ = true;
    std::string graph_;
    std::string running_module_;
    double run_milliseconds_ = 0.0;
    std::uint64_t version_ = 0;  // of the latest picture
    std::int64_t change_ = 0;    // number of the latest
    Clock::time_point latest_change_, state_told_, progress_told_, joystick_moved_;
};

}  // namespace zam::runner
