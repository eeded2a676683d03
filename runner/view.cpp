// `zam view`: one command from a data file to a picture. It makes a network of what the file is and runs that.
#include <algorithm>
#include <filesystem>

#include "base/file_path.h"
#include "runner/file_kinds.h"
#include "runner/run.h"
#include "session/network/network.h"
#include "session/objects/run_error.h"
#include "session/outputs/output_file.h"

namespace zam::runner {

using session::file_ending;
using session::FileStart;

namespace {

constexpr std::string_view kEndings[] = {"png", "svg", "webp"};

int wrong(const std::string& what) {
    print_error(what);
    return kWrong;
}

/// Runs a network. Modules that print do so on nothing; what is written is told on the standard output, whatever that
/// is.
int run(Network& network, Console& console) {
    std::vector<std::string> written;
    Callbacks callbacks = console.callbacks();
    callbacks.written = [&](std::string_view output) { written.emplace_back(output); };
    network.listen(std::move(callbacks));
    int status = kAllWell;
    {
        const SilentOutput silent;
        status = run(network, console, {});
    }
    for (const auto& output : written) print_fact("wrote", output);
    return status;
}

int view_network(const ViewCommand& command, Session& session) {
    if (command.has_data_options || !command.save_network.empty())
        return wrong(command.file + ": this is a network; only -o goes with it");
    auto network = load_network(session, command.file);
    if (!network) return kWrong;
    if (!network->keep_first_picture(command.options.output))
        return wrong(command.file + ": the network writes no image; try: zam run " + command.file);
    Console console(true);
    print_fact("file", command.file + " (network)");
    print_fact("shows", network->outputs().front().from);
    return run(*network, console);
}

bool save(const std::string& file, const std::string& network) {
    try {
        session::OutputFile output("", file);
        output.write(network);
        output.commit();
        return true;
    } catch (const session::RunError& error) {
        print_error(error.what());
        return false;
    }
}

/// Makes the network that shows a file, or says why not.
std::optional<View> make_view(Session& session, const std::string& file, const ViewOptions& options, Console& console) {
    try {
        const SilentOutput silent;
        return session.view(file, options, console.callbacks());
    } catch (const Reported&) {
        return std::nullopt;
    } catch (const Invalid& wrong) {
        print_problems(wrong.what());
    } catch (const Error& error) {
        print_error(one_line(error.what()));
    }
    return std::nullopt;
}

int view_data(const ViewCommand& command, const FileKind& kind, Session& session) {
    Console console(true);
    auto made = make_view(session, command.file, command.options, console);
    if (!made) return kFailed;
    print_fact("file", command.file + " (" + std::string(kind.name) + ")");
    for (const auto& [what, text] : made->facts) print_fact(what, one_line(text));
    for (const auto& note : made->notes) console.note(one_line(note));
    std::fflush(stdout);
    if (!command.save_network.empty() && !save(command.save_network, made->text)) return kFailed;
    const int status = run(made->network, console);
    if (status == kAllWell && !command.save_network.empty()) print_fact("network", command.save_network);
    return status;
}

}  // namespace

int view_file(ViewCommand command) {
    const auto file = session::read_file_start(command.file);
    if (!file) return wrong("cannot open " + command.file);
    std::string& output = command.options.output;
    if (output.empty()) output = file_path(command.file).stem().string() + ".png";
    const std::string_view ending = file_ending(output);
    if (std::find(std::begin(kEndings), std::end(kEndings), ending) == std::end(kEndings))
        return wrong("pictures are written as .png, .svg or .webp, not as \"" + std::string(ending) + "\"");
    if (const std::string fault = fault_of(command.options); !fault.empty()) return wrong(fault);
    command.options.directory = file_path(command.save_network).parent_path().string();
    const auto session = open_session();
    if (!session) return kWrong;
    const FileKind* kind = find_file_kind(*file);
    if (session::is_network(file->bytes)) return view_network(command, *session);
    if (!kind) return wrong(command.file + " is of no kind that can be shown");
    if (kind->described_only)
        return wrong(command.file + ": this is a " + std::string(kind->name) +
                     ", which zam writes but does not read; try: zam info " + command.file);
    return view_data(command, *kind, *session);
}

}  // namespace zam::runner
