// Networks as the program runs them: by the session library, with what happens on the console.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runner/commands.h"
#include "runner/console.h"
#include "zam/session.h"

namespace zam::runner {

struct RunCommand {
    std::string network;             // file; "-": the standard input
    std::vector<std::string> set;    // MODULE.PARAM=VALUE
    std::vector<std::string> write;  // FILE=REF
    RunOptions options;
    std::string output_directory;  // empty: the current directory
    double loop_seconds = 0.0;
    bool quiet = false;
};

struct JoinCommand {
    std::string network;           // file
    std::vector<std::string> set;  // MODULE.PARAM=VALUE
    std::string output_directory;  // empty: the current directory
    bool keep_frames = false;
    bool quiet = false;
};

struct ViewCommand {
    std::string file;
    ViewOptions options{.output = {}};
    bool has_data_options = false;  // any that a network does not have
    std::string save_network;       // file; empty: none
};

int run_network(const RunCommand& command);
/// Puts the animations of a network together from their frames.
int join_network(const JoinCommand& command);
/// Makes a picture of a data file, or a network's first one.
int view_file(ViewCommand command);

/// Opens a session of the modules at hand, or says why not.
std::unique_ptr<Session> open_session();

/// Reads a network file. What is wrong is printed, in one line where the file is no network but data.
std::optional<Network> load_network(Session& session, const std::string& file, const std::vector<std::string>& set = {},
                                    const std::vector<std::string>& write = {});

/// Runs a network from its first module to its end. The console hears of it.
/// @return the exit status
int run(Network& network, const Console& console, const std::string& output_directory, double loop_seconds = 0.0);

}  // namespace zam::runner
