#include "runner/commands.h"

#include "embedded/host.h"
#include "runner/console.h"
#include "session/network/acceptance.h"
#include "session/run/library.h"
#include "session/run/session.h"

namespace zam::runner {

using namespace session;

namespace {

/// Prints problems, if any.
bool print_problems(const Problems& problems) {
    problems.print(stderr);
    return problems.any();
}

void tell_notes(const Problems& problems, Listener& listener) {
    for (const auto& note : problems.notes()) listener.note(note);
}

void run_session(Session& session, const Network& network, const RunOptions& options) {
    session.build();
    host::fail_allocation(options.fail_allocation);
    session.run_all();
    session.play_events(options.output_directory);
    if (options.loop_seconds > 0.0) session.loop(options.loop_seconds);
    session.write(network.outputs, options.output_directory);
    session.end();
}

}  // namespace

std::optional<Definitions> load_definitions() {
    Problems problems;
    auto definitions = Definitions::load(find_installation().definitions, problems);
    definitions.add_host_entries(problems);
    return print_problems(problems) ? std::nullopt : std::optional(std::move(definitions));
}

std::unique_ptr<ModuleLibrary> load_library() {
    std::string error;
    auto library = ModuleLibrary::load(find_installation().library, error);
    if (!library) std::fprintf(stderr, "zam: error: the module library cannot be loaded: %s\n", error.c_str());
    return library;
}

int run_network(const RunOptions& options) {
    const auto definitions = load_definitions();
    if (!definitions) return kWrong;
    Problems problems;
    const Network network = load_network(options.network, options.changes, *definitions, problems);
    if (print_problems(problems)) return kWrong;
    const auto library = load_library();
    if (!library) return kWrong;

    Console console(!options.quiet);
    CallLog log;
    if (!options.log.empty() && !log.open(options.log)) {
        console.error("cannot write the log " + options.log);
        return kWrong;
    }
    tell_notes(problems, console);
    Session session(network, *library, console, log);
    if (options.strict) session.be_strict();
    if (!session.has_entries()) return kWrong;
    run_session(session, network, options);
    if (!log.good()) console.error("the log could not be written whole");
    return console.failed() ? kFailed : kAllWell;
}

int check_network_file(const std::string& network, bool strict) {
    const auto definitions = load_definitions();
    if (!definitions) return kWrong;
    Problems problems;
    const Network loaded = load_network(network, {}, *definitions, problems);
    if (print_problems(problems)) return kWrong;
    Console console(false);
    tell_notes(problems, console);
    for (const auto& text : mismatches(loaded)) strict ? console.error(text) : console.note(text);
    return console.failed() ? kWrong : kAllWell;
}

}  // namespace zam::runner
