#include "runner/commands.h"

#include <algorithm>
#include <filesystem>

#include "base/file_path.h"
#include "embedded/host.h"
#include "runner/console.h"
#include "runner/file_kinds.h"
#include "session/network/acceptance.h"
#include "session/outputs/output_file.h"
#include "session/run/library.h"
#include "session/run/session.h"

namespace zam::runner {

using namespace session;

namespace {

/// Prints problems, if any.
bool print_problems(const Problems& problems) {
    if (problems.any()) std::fputs(color_of("error"), stderr);
    problems.print(stderr);
    if (problems.any()) std::fputs(color_of(""), stderr);
    return problems.any();
}

void tell_notes(const Problems& problems, Listener& listener) {
    for (const auto& note : problems.notes()) listener.note(note);
}

/// Whether an output goes to the standard output.
bool uses_standard_output(const Network& network) {
    const auto is_there = [](const std::vector<Output>& outputs) {
        return std::any_of(outputs.begin(), outputs.end(),
                           [](const Output& output) { return output.file == kStandardOutput; });
    };
    return is_there(network.outputs) ||
           std::any_of(network.events.begin(), network.events.end(), [&](const Event& event) {
               const auto* write = std::get_if<WriteEvent>(&event.what);
               return write && is_there(write->outputs);
           });
}

void run_session(Session& session, const Network& network, const RunOptions& options) {
    session.build();
    host::fail_allocation(options.fail_allocation);
    session.run_changed();
    session.play_events(options.output_directory);
    if (options.loop_seconds > 0.0) session.loop(options.loop_seconds);
    session.write(network.outputs, options.output_directory);
    session.end();
}

}  // namespace

std::optional<Definitions> load_definitions() {
    Problems problems;
    std::vector<std::string> left_out;
    auto definitions = session::load_definitions(find_installation(), problems, left_out);
    Console console(false);
    for (const auto& line : left_out) console.warning("left out: " + line);
    return print_problems(problems) ? std::nullopt : std::optional(std::move(definitions));
}

std::unique_ptr<ModuleLibrary> load_library() {
    std::string error;
    auto library = ModuleLibrary::load(find_installation().library, error);
    if (!library) print_error("the module library cannot be loaded: " + error);
    return library;
}

std::optional<Network> read_network_file(const std::string& name, const NetworkOptions& changes,
                                         const Definitions& definitions, Problems& problems) {
    Network network = load_network(name, changes, definitions, problems);
    if (!problems.any()) return network;
    // a pipe gives its contents only once
    const bool may_be_data = network.instances.empty() && std::filesystem::is_regular_file(file_path(name));
    const auto file = may_be_data ? read_file_start(name) : std::nullopt;
    if (const FileKind* kind = file ? find_file_kind(*file) : nullptr) {
        problems = {};
        problems.add({name, 0, 0, {}}, "this is a " + std::string(kind->name) + "; try: zam " +
                                           (kind->described_only ? "info " : "view ") + name);
    }
    print_problems(problems);
    return std::nullopt;
}

int run_network(const RunOptions& options) {
    const auto definitions = load_definitions();
    if (!definitions) return kWrong;
    Problems problems;
    const auto network = read_network_file(options.network, options.changes, *definitions, problems);
    if (!network) return kWrong;
    const auto library = load_library();
    if (!library) return kWrong;

    Console console(!options.quiet);
    CallLog log;
    if (!options.log.empty() && !log.open(options.log)) {
        console.error("cannot write the log " + options.log);
        return kWrong;
    }
    tell_notes(problems, console);
    std::optional<StandardOutputForFiles> for_files;
    if (uses_standard_output(*network)) for_files.emplace();
    Session session(*network, *library, console, log);
    if (options.strict) session.be_strict();
    if (!session.has_entries()) return kWrong;
    run_session(session, *network, options);
    if (!log.good()) console.error("the log could not be written whole");
    console.list_written();
    return console.failed() ? kFailed : kAllWell;
}

int check_network_file(const std::string& network, bool strict) {
    const auto definitions = load_definitions();
    if (!definitions) return kWrong;
    Problems problems;
    const auto loaded = read_network_file(network, {}, *definitions, problems);
    if (!loaded) return kWrong;
    Console console(false);
    tell_notes(problems, console);
    for (const auto& text : mismatches(*loaded)) strict ? console.error(text) : console.note(text);
    return console.failed() ? kWrong : kAllWell;
}

}  // namespace zam::runner
