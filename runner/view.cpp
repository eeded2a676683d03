// `zam view`: one command from a data file to a picture. It makes a network of what the file is and runs that.
#include <algorithm>
#include <filesystem>

#include "base/file_path.h"
#include "runner/commands.h"
#include "runner/console.h"
#include "runner/file_kinds.h"
#include "session/objects/run_error.h"
#include "session/outputs/output_file.h"
#include "session/run/session.h"
#include "session/view/plan_file.h"

namespace zam::runner {

using namespace session;
namespace fs = std::filesystem;

namespace {

constexpr std::string_view kEndings[] = {"png", "svg", "webp"};

int wrong(const std::string& what) {
    print_error(what);
    return kWrong;
}

// --- Networks ---

bool is_image(const Output& output) {
    return output.kind == OutputKind::png || output.kind == OutputKind::webp || output.kind == OutputKind::svg;
}

const Output* first_image(const std::vector<Output>& outputs) {
    const auto found = std::find_if(outputs.begin(), outputs.end(), is_image);
    return found == outputs.end() ? nullptr : &*found;
}

/// Leaves of what a network writes its first image alone: of its outputs at the end, else of its events, which are
/// played up to there. False if there is none.
bool keep_first_image(Network& network, const std::string& file) {
    std::optional<Output> image;
    std::size_t played = network.events.size();
    if (const Output* output = first_image(network.outputs)) image = *output;
    for (std::size_t i = 0; i < network.events.size() && !image; ++i) {
        const auto* write = std::get_if<WriteEvent>(&network.events[i].what);
        const Output* output = write ? first_image(write->outputs) : nullptr;
        if (output) image = *output;
        if (output) played = i;
    }
    if (!image) return false;
    network.events.resize(played);
    std::erase_if(network.events, [](const Event& event) {
        return std::holds_alternative<WriteEvent>(event.what) || std::holds_alternative<ForEvent>(event.what);
    });
    image->file = file;
    if (image->kind != OutputKind::svg) image->kind = *output_kind(file);
    network.outputs = {std::move(*image)};
    return true;
}

// --- The command ---

/// Tells what is written on the standard output, whatever that is.
class ViewConsole final : public Console {
public:
    ViewConsole() : Console(true) {}
    void wrote(std::string_view output) override { written_.emplace_back(output); }
    void tell_written() const {
        for (const auto& output : written_) print_fact("wrote", output);
    }

private:
    std::vector<std::string> written_;
};

/// Runs a network. Modules that print do so on nothing.
int run(const Network& network, const ModuleLibrary& library, ViewConsole& console) {
    CallLog log;
    {
        const SilentOutput silent;
        Session session(network, library, console, log);
        if (!session.has_entries()) return kWrong;
        session.build();
        session.run_changed();
        session.play_events({});
        session.write(network.outputs, {});
        session.end();
    }
    console.tell_written();
    return console.failed() ? kFailed : kAllWell;
}

int view_network(const ViewCommand& command, const Definitions& definitions) {
    if (command.has_data_options || !command.save_network.empty())
        return wrong(command.file + ": this is a network; only -o goes with it");
    Problems problems;
    auto network = read_network_file(command.file, {}, definitions, problems);
    if (!network) return kWrong;
    if (!keep_first_image(*network, command.options.output))
        return wrong(command.file + ": the network writes no image; try: zam run " + command.file);
    const auto library = load_library();
    if (!library) return kWrong;
    ViewConsole console;
    print_fact("file", command.file + " (network)");
    print_fact("shows", network->outputs.front().from.target);
    return run(*network, *library, console);
}

/// Reads the network that was made, as from a file.
std::optional<Network> read_plan(const ViewPlan& plan, const std::string& name, const std::string& directory,
                                 const Definitions& definitions) {
    Problems problems;
    Document document(name, plan.network);
    if (!document.parse(problems)) return std::nullopt;
    Network network = network_from(document, directory, {}, definitions, problems);
    problems.print(stderr);
    return problems.any() ? std::nullopt : std::optional(std::move(network));
}

bool save(const std::string& file, const std::string& network) {
    try {
        OutputFile output("", file);
        output.write(network);
        output.commit();
        return true;
    } catch (const RunError& error) {
        print_error(error.what());
        return false;
    }
}

int view_data(const ViewCommand& command, const FileStart& file, const FileKind& kind, const Definitions& definitions) {
    const auto library = load_library();
    if (!library) return kWrong;
    ViewConsole console;
    ViewPlan made;
    const std::string directory = file_path(command.save_network).parent_path().string();
    try {
        const SilentOutput silent;
        made = plan_file(file, kind.reader, directory, command.options, {definitions, *library, console});
    } catch (const ViewError& error) {
        if (*error.what() != '\0') print_error(one_line(file.name + ": " + error.what()));
        return kFailed;
    }
    print_fact("file", file.name + " (" + std::string(kind.name) + ")");
    for (const auto& [what, text] : made.facts) print_fact(what, one_line(text));
    for (const auto& note : made.notes) console.note(one_line(note));
    std::fflush(stdout);
    if (!command.save_network.empty() && !save(command.save_network, made.network)) return kFailed;
    const auto network = read_plan(made, "the network for " + file.name, directory, definitions);
    const int status = network ? run(*network, *library, console) : kFailed;
    if (status == kAllWell && !command.save_network.empty()) print_fact("network", command.save_network);
    return status;
}

}  // namespace

int view_file(ViewCommand command) {
    const auto file = read_file_start(command.file);
    if (!file) return wrong("cannot open " + command.file);
    std::string& output = command.options.output;
    if (output.empty()) output = file_path(command.file).stem().string() + ".png";
    const std::string_view ending = file_ending(output);
    if (std::find(std::begin(kEndings), std::end(kEndings), ending) == std::end(kEndings))
        return wrong("pictures are written as .png, .svg or .webp, not as \"" + std::string(ending) + "\"");
    if (const std::string fault = fault_of(command.options); !fault.empty()) return wrong(fault);
    const auto definitions = load_definitions();
    if (!definitions) return kWrong;
    const FileKind* kind = find_file_kind(*file);
    if (is_network(file->bytes)) return view_network(command, *definitions);
    if (!kind) return wrong(command.file + " is of no kind that can be shown");
    if (kind->described_only)
        return wrong(command.file + ": this is a " + std::string(kind->name) +
                     ", which zam writes but does not read; try: zam info " + command.file);
    return view_data(command, *file, *kind, *definitions);
}

}  // namespace zam::runner
