// The commands of the program. Each returns the program's exit status.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "session/network/network_reader.h"
#include "session/run/library.h"

namespace zam::runner {

enum ExitStatus : int {
    kAllWell = 0,
    kFailed = 1,  // a module reported an error, or an output could not be written
    kWrong = 2,   // the command line or the network file is wrong; nothing was run
};

/// @param strict  a field that a module does not take is wrong
int check_network_file(const std::string& network, bool strict);
/// @param name  of a module or entry; empty: all
int list_modules(const std::string& name, bool as_json);
int show_info(const std::string& file);
/// Prints a JSON Schema of network files, made from the definitions of the modules at hand.
int print_schema();
/// Draws the modules of a network and their connections.
/// @param picture  .svg or .dot; empty: as .dot on the standard output
int draw_graph(const std::string& network, const std::string& picture);

/// A network's modules and their connections in the language of Graphviz.
/// @param for_page  only the modules, downward, each node with an id: "module-NAME"
std::string graph_text(const session::Network& network, bool for_page);

struct ServeOptions {
    std::string file;  // network or data; empty: none
    std::string bind = "127.0.0.1";
    int port = 0;  // 0: a free one
    bool no_open = false;
};
/// Lets a person work on a network in the browser, until the program is told to end.
int serve(const ServeOptions& options);

/// Says what of plug-ins is no good, a line each.
void print_left_out(const std::vector<std::string>& left_out);
/// For a file that is no network but data, a line that says so; empty for others.
std::string what_data(const std::string& name);

/// Loads the definitions of the modules at hand. What is wrong with them is printed.
std::optional<session::Definitions> load_definitions();

/// Reads and checks a network file; "-" is the standard input. What is wrong is printed, in one line where the file is
/// no network but data.
/// @param problems  receives the notes on a network that can be run
std::optional<session::Network> read_network_file(const std::string& name, const session::NetworkOptions& changes,
                                                  const session::Definitions& definitions, session::Problems& problems);

/// Loads the module library, or says why not.
std::unique_ptr<session::ModuleLibrary> load_library();

}  // namespace zam::runner
