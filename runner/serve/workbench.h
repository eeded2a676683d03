// A network that a person works on: the one thread that owns it, and what goes in and out.
//
// Whoever calls a member waits until the thread has done it. Changes wait in a queue, and are all made before the next
// run: so a newer one overtakes an older one. A run in full is cancelled when a change comes; one at the size of a
// preview is short, and ends, so that there is a picture now and then however fast changes come.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "runner/serve/folder.h"
#include "runner/serve/history.h"
#include "runner/serve/preview.h"
#include "runner/serve/shown_output.h"
#include "runner/serve/streams.h"
#include "zam/session.h"

namespace zam::runner {

/// The workbench has too much to do already.
class Busy : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Workbench {
public:
    using Json = nlohmann::ordered_json;  // zam::Json is a text
    using Text = std::shared_ptr<const std::string>;

    /// Opens a file below the directory, which becomes the current one. What is wrong with it is among the problems of
    /// the state.
    /// @param file  network or data; empty: none
    Workbench(const std::string& directory, const std::string& file);
    ~Workbench();
    Workbench(const Workbench&) = delete;
    Workbench& operator=(const Workbench&) = delete;

    // On any thread. Except for the first five they throw Error with what is wrong, and then nothing has changed; Busy
    // if there is too much to do. Those that give a number give that of the change, which is in the state from then on.

    Streams& streams() { return streams_; }
    const Folder& folder() const { return folder_; }
    Text state() const;
    /// The bytes of a .png file, the newest if there is none of that version; null if there is none at all.
    Text picture(const std::string& output, std::uint64_t version) const;
    /// The shown output as an .svg file; null if it is none.
    Text drawing(const std::string& output) const;
    /// What the shown image has at a pixel of the picture in full.
    Json value(const std::string& output, double x, double y) const;
    /// How often the values of a field's first component occur.
    Json histogram(const std::string& reference);

    /// @param values   empty ones take back what a parameter was given
    /// @param gesture  changes of one gesture are one step of undo; 0: it is one of its own
    std::int64_t change(const WrittenValues& values, bool dragging, std::int64_t gesture);
    std::int64_t undo();
    std::int64_t redo();
    /// @param place  room for the picture in pixels of the screen
    std::int64_t show(const std::string& output, const Size& place);
    /// What was dragged has been let go.
    std::int64_t rest();
    std::int64_t record(bool on);
    /// Shows a time step, from 0.
    std::int64_t step(int step);
    /// @param state  as joystick events have it
    std::int64_t joystick(const std::string& state);
    /// Writes the network beside the one that was opened. False if there is such a file and that was not confirmed.
    /// @param events  whether the events of its file stay; those that were recorded take their place
    bool save(const std::string& file, bool confirmed, bool events);
    std::int64_t open(const std::string& file);

private:
    using Clock = std::chrono::steady_clock;

    /// Where a network's field has its time steps.
    struct Steps {
        std::string target;  // parameter that has the step
        bool of_reader =
            false;  // a module's, which begins with its first step whatever it was given; else a member "step"
        int count = 0, now = 0;
        std::vector<double> times = {};
    };
    /// The size that a picture has in the network, while it has another one.
    struct Scaled {
        std::string width, height;                  // parameters
        std::string written_width, written_height;  // empty: none is given
        Size size;
    };
    /// What is noted between "record" on and off.
    struct Recording {
        std::string network;          // its text when it began
        Json events = Json::array();  // and a frame after each change that was drawn
        int frames = 0;
        std::size_t bytes = 0;  // of the values in the events
        bool on = true;
    };

    template <class Body>
    auto ask(Body body, bool overtakes);
    void work();

    // On the thread alone.
    void open_now(const std::string& name);
    void load(const std::filesystem::path& file);
    void find_steps();
    int whole_number(const std::string& reference);
    void run();
    void draw(Clock::time_point start);
    void learn(const OutputEntry& entry, const ShownOutput& shown, double drawing);
    void tell_picture(ShownOutput& shown, double milliseconds);
    void tell_state(bool now);
    void tell_progress(const Progress& progress);
    void give(const WrittenValues& values);
    WrittenValues written(const WrittenValues& of) const;
    std::string written(const std::string& target) const;
    const Parameter* find_parameter(const std::string& target) const;
    void check_files(const WrittenValues& values) const;
    std::int64_t changed();
    /// The modules that poll joysticks.
    Json polling_modules() const;
    void restore_size();
    void scale();
    std::optional<Scaled> full_size() const;
    Json saved_network(bool events);
    Json state_json();
    Json module_json(const std::string& name, const ModuleState& state);
    bool records() const;
    void record_change(const WrittenValues& values);
    void record_frame();

    Folder folder_;
    Streams streams_;

    // Shared.
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> queue_;
    bool stopping_ = false;
    Network* running_ = nullptr;  // in full, so that it may be cancelled
    Text state_text_;
    std::optional<ShownOutput> shown_;  // as it was drawn last
    std::optional<std::pair<std::uint64_t, Text>> older_picture_;

    // The thread's own.
    std::unique_ptr<Session> session_;
    std::optional<Network> network_;
    std::filesystem::path base_;  // directory of the network
    std::string file_;            // its name; empty: none
    Json problems_ = Json::array();
    std::vector<OutputEntry> outputs_;
    Json file_events_ = Json::array();
    std::string shown_name_;
    Size place_;
    std::map<std::string, std::vector<Report>> reports_;  // by module; "": of none
    std::map<std::string, std::string> used_;             // module's name by that in the network
    History history_;
    Preview preview_;
    std::optional<Scaled> scaled_;
    std::optional<Recording> recording_;
    std::optional<Steps> steps_;
    std::map<std::pair<std::string, std::string>, int> step_counts_;  // of files and their arrays
    std::set<int> plugged_in_;                                        // joysticks, by number
    bool needs_run_ = false;
    bool dragging_ = false;
    bool unsaved_ = false;
    Clock::time_point latest_change_, state_told_, progress_told_, advanced_;
    bool state_waits_ = false;
    std::string running_module_;
    double run_milliseconds_ = 0.0;
    std::uint64_t version_ = 0;
    std::int64_t change_ = 0;
    std::string graph_, graph_of_;
    std::thread thread_;
};

}  // namespace zam::runner
