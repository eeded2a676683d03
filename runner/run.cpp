// `zam run`, and what it has in common with `zam view`.
#include "runner/run.h"

#include <algorithm>

#include "session/run/ranks_in_use.h"

namespace zam::runner {
namespace {

/// Whether an output goes to the standard output.
bool uses_standard_output(const Network& network) {
    const auto outputs = network.outputs();
    return std::any_of(outputs.begin(), outputs.end(), [](const Output& output) { return output.file == "-"; });
}

/// Lets the console hear of a network, and says how it is run. False after an error.
bool prepare(Network& network, const RunOptions& options, Console& console) {
    network.listen(console.callbacks());
    try {
        network.prepare(options);
    } catch (const Error& error) {
        console.error(error.what());
        return false;
    }
    return true;
}

}  // namespace

std::unique_ptr<Session> open_session() {
    try {
        auto session = std::make_unique<Session>();
        print_left_out(session->left_out());
        return session;
    } catch (const Invalid& wrong) {
        print_problems(wrong.what());
    } catch (const Error& error) {
        print_error(error.what());
    }
    return nullptr;
}

std::optional<Network> load_network(Session& session, const std::string& file, const std::vector<std::string>& set,
                                    const std::vector<std::string>& write) {
    try {
        return session.load(file, set, write);
    } catch (const Invalid& wrong) {
        const std::string data = wrong.has_modules() ? "" : what_data(file);
        print_problems(data.empty() ? wrong.what() : data);
        return std::nullopt;
    }
}

int run(Network& network, const Console& console, const std::string& output_directory, double loop_seconds) {
    try {
        network.run();
        network.play(output_directory);
        if (loop_seconds > 0.0) network.loop(loop_seconds);
        network.write(output_directory);
        network.end();
    } catch (const Reported&) {  // libraries lack what the modules need
        return kWrong;
    }
    return console.failed() ? kFailed : kAllWell;
}

int run_network(const RunCommand& command) {
    const auto session = open_session();
    std::optional<StandardOutputForFiles> for_files;  // until the modules have ended
    auto network = session ? load_network(*session, command.network, command.set, command.write) : std::nullopt;
    Console console(!command.quiet);
    const bool ready = network && prepare(*network, command.options, console);
    if (session::at_any_rank(!ready)) return kWrong;
    if (uses_standard_output(*network)) for_files.emplace();
    const int status = run(*network, console, command.output_directory, command.loop_seconds);
    if (status != kWrong) console.list_written();
    return status;
}

int join_network(const JoinCommand& command) {
    const auto session = open_session();
    if (!session) return kWrong;
    auto network = load_network(*session, command.network, command.set);
    if (!network) return kWrong;
    Console console(!command.quiet);
    network->listen(console.callbacks());
    network->join(command.output_directory, command.keep_frames);
    console.list_written();
    return console.failed() ? kFailed : kAllWell;
}

}  // namespace zam::runner
