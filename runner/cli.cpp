#include "runner/cli.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <optional>

#include "base/lanes_target.h"
#include "runner/commands.h"
#include "runner/console.h"
#include "runner/interrupt.h"
#include "runner/run.h"
#include "session/document/suggestion.h"

namespace zam::runner {

using session::did_you_mean;

namespace {

constexpr double kMaxLoopSeconds = 1.0e7;
constexpr std::int64_t kMaxAllocations = 1'000'000'000'000;

constexpr const char* kFooter =
    "Exit status: 0 all well; 1 a module reported an error or an output could not be\n"
    "written; 2 the command line or the network file is wrong, and nothing was run.\n"
    "ZAM_MODULE_PATH lists directories of plug-ins, whose modules are added to its own.";

/// Numbers with commas between them, each in a range.
template <class Number, std::size_t N>
bool parse_numbers(const std::string& text, char separator, std::array<Number, N>& numbers) {
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::size_t i = 0; i < N; ++i) {
        if (i > 0 && (at == end || *at++ != separator)) return false;
        const auto [next, error] = std::from_chars(at, end, numbers[i]);
        if (error != std::errc() || !std::isfinite(static_cast<double>(numbers[i]))) return false;
        at = next;
    }
    return at == end;
}

/// "2/8": which part of how many.
RunOptions::Part parse_part(const std::string& text) {
    std::array<int, 2> numbers{};
    const bool read = parse_numbers(text, '/', numbers);
    if (read && numbers[0] >= 0 && numbers[0] < numbers[1]) return {numbers[0], numbers[1]};
    throw CLI::ValidationError("--part", "K/N is expected, with K from 0 to N - 1, as in 0/4; not " + text);
}

void add_run(CLI::App& app, RunCommand& command, int& status) {
    auto* run = app.add_subcommand("run", "Run every module of a network, play its events, write its outputs");
    run->add_option("network", command.network, "Network file")->required()->type_name("NETWORK");
    run->add_option("--set", command.set, "Give a parameter a value: JSON, or else text (repeatable)")
        ->type_name("MODULE.PARAM=VALUE")
        ->allow_extra_args(false);
    run->add_option("--write", command.write, "Write an output, as an entry of \"write\" does (repeatable)")
        ->type_name("FILE=REF")
        ->allow_extra_args(false);
    run->add_option("--log", command.options.log, "Record the calls of modules and what they report")
        ->type_name("FILE");
    run->add_option("--output-dir", command.output_directory, "Where relative output names go")->type_name("DIR");
    run->add_option("--loop", command.loop_seconds, "Keep the event loop running in real time after the events")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, kMaxLoopSeconds, ""));
    run->add_option("--fail-allocation", command.options.fail_allocation,
                    "Let the N-th array allocation of the run fail")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, kMaxAllocations, ""));
    const auto read_part = [&command](const CLI::results_t& words) {
        command.options.part = parse_part(words.at(0));
        return true;
    };
    run->add_option("--part", read_part, "Play every N-th frame from frame K on, K from 0 to N - 1; see zam join")
        ->type_name("K/N")
        ->expected(1);
    run->add_flag("--resume", command.options.resume,
                  "Leave out outputs newer than the network and the files it names; changes by --set are not seen");
    run->add_flag("--strict", command.options.strict, "A field that a module does not take is an error");
    run->add_flag("--quiet", command.quiet, "No progress line");
    run->callback([&] { status = run_network(command); });
}

/// An option of that many numbers.
template <class Number, std::size_t N>
void add_numbers(CLI::App& app, const std::string& name, char separator, std::optional<std::array<Number, N>>& to,
                 const std::string& form, const std::string& meaning) {
    const auto read = [&to, separator, form](const CLI::results_t& words) {
        std::array<Number, N> numbers{};
        if (!parse_numbers(words.at(0), separator, numbers)) return false;
        to = numbers;
        return true;
    };
    app.add_option(name, read, meaning)->type_name(form)->expected(1);
}

void add_join(CLI::App& app, JoinCommand& command, int& status) {
    auto* join = app.add_subcommand("join", "Put animations together from the frames that parts of a run have written");
    join->add_option("network", command.network, "Network file")->required()->type_name("NETWORK");
    join->add_option("--set", command.set, "As for run (repeatable)")
        ->type_name("MODULE.PARAM=VALUE")
        ->allow_extra_args(false);
    join->add_option("--output-dir", command.output_directory, "Where relative output names go")->type_name("DIR");
    join->add_flag("--keep-frames", command.keep_frames, "Leave the files of the frames there");
    join->add_flag("--quiet", command.quiet, "No list of what was written");
    join->callback([&] { status = join_network(command); });
}

void add_view(CLI::App& app, ViewCommand& command, int& status) {
    constexpr double kMaxZoom = 1.0e6;
    constexpr int kMaxNumber = 1'000'000;
    auto* view = app.add_subcommand("view", "Make a picture of a data file, or a network's first one");
    ViewOptions& options = command.options;
    view->add_option("file", command.file, "Data file or network")->required()->type_name("FILE");
    view->add_option("-o", options.output, "The picture: .png, .svg or .webp; left out: the file's stem as .png")
        ->type_name("FILE");
    auto* data = view->add_option_group("data");
    data->add_option("--variable", options.variable, "Array or component to show")->type_name("NAME");
    data->add_option("--component", options.component, "The same by its number, from 0")
        ->type_name("N")
        ->check(CLI::Range(0, kMaxNumber, ""));
    data->add_option("--vector", options.vector, "Arrays or components that are the parts of a vector")
        ->type_name("A,B[,C]")
        ->delimiter(',')
        ->expected(2, 3);
    data->add_option("--step", options.step, "Time step to show, from 0")
        ->type_name("N")
        ->check(CLI::Range(0, kMaxNumber, ""));
    add_numbers(*data, "--range", ',', options.range, "LO,HI", "Values at the ends of the colours");
    data->add_option("--preset", options.preset, "Colours: gray, bone, heat, rainbow or viridis")->type_name("NAME");
    data->add_option("--opacity", options.opacity, "Opacity of volumes over the colours: [[0,0],[255,200]]")
        ->type_name("CURVE");
    add_numbers(*data, "--turn", ',', options.turn, "X,Y,Z", "Turn the data by degrees about the axes of the picture");
    data->add_option("--zoom", options.zoom, "Times what fills the picture")
        ->type_name("S")
        ->check(CLI::Range(1.0 / kMaxZoom, kMaxZoom, ""));
    add_numbers(*data, "--size", 'x', options.size, "WxH", "Width and height of the picture in pixels");
    data->add_option("--perspective", options.perspective, "0 for none, else 1 / distance of the eye")
        ->type_name("F")
        ->check(CLI::Range(0.0, kMaxZoom, ""));
    data->add_flag("--plain", options.plain, "Without legend and axes: the module's own image");
    data->add_option("--save-network", command.save_network, "Keep the network that makes the picture")
        ->type_name("FILE");
    view->callback([&command, &status, data] {
        command.has_data_options = data->count_all() > 0;
        status = view_file(command);
    });
}

void add_serve(CLI::App& app, ServeOptions& options, int& status) {
    constexpr int kMaxPort = 65535;
    auto* serve = app.add_subcommand("serve", "Work on a network in the browser");
    serve->add_option("file", options.file, "Network or data file; left out: one is opened from the page")
        ->type_name("FILE");
    serve->add_option("--port", options.port, "Port of the page's address; left out: a free one")
        ->type_name("N")
        ->check(CLI::Range(1, kMaxPort, ""));
    serve
        ->add_option("--bind", options.bind,
                     "Address to listen at in place of 127.0.0.1; others can then reach the page")
        ->type_name("ADDRESS");
    serve->add_flag("--no-open", options.no_open, "Print the page's address only, and open no browser");
    serve->callback([&] { status = runner::serve(options); });
}

CLI::App* find_command(CLI::App& app, const std::string& name) {
    const auto found = app.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

int no_command(CLI::App& app, const std::string& name) {
    std::vector<std::string> names;
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    print_error("there is no command " + name + "; see zam --help" +
                did_you_mean(name, names, [](const auto& known) -> std::string_view { return known; }));
    return kWrong;
}

/// The help of a command, or of the program; what `--help` prints.
int show_help(CLI::App& app, const std::string& name) {
    const CLI::App* command = name.empty() ? &app : find_command(app, name);
    if (!command) return no_command(app, name);
    const std::string usage = name.empty() ? "zam" : "zam " + name;
    std::fputs(app.get_formatter()->make_help(command, usage, CLI::AppFormatMode::Normal).c_str(), stdout);
    return kAllWell;
}

/// Arguments of the commands other than run.
struct OtherOptions {
    std::string network, module, file, command, picture;
    bool json = false;
    bool strict = false;
};

void add_others(CLI::App& app, OtherOptions& options, int& status) {
    auto* modules = app.add_subcommand("modules", "List the modules, or the parameters of one");
    modules->add_option("name", options.module, "Module or entry")->type_name("NAME");
    modules->add_flag("--json", options.json, "As JSON, for programs");
    modules->callback([&] { status = list_modules(options.module, options.json); });

    auto* info = app.add_subcommand("info", "Say what a data file holds");
    info->add_option("file", options.file, "Data file")->required()->type_name("FILE");
    info->callback([&] { status = show_info(options.file); });

    auto* check = app.add_subcommand("check", "Check a network file without running it");
    check->add_option("network", options.network, "Network file")->required()->type_name("NETWORK");
    check->add_flag("--strict", options.strict, "A field that a module does not take is wrong");
    check->callback([&] { status = check_network_file(options.network, options.strict); });

    app.add_subcommand("schema", "Print a JSON Schema of network files, for editors")->callback([&] {
        status = print_schema();
    });

    auto* graph = app.add_subcommand("graph", "Draw the modules of a network and their connections");
    graph->add_option("network", options.network, "Network file")->required()->type_name("NETWORK");
    graph->add_option("-o", options.picture, "The drawing; left out: .dot on the standard output")
        ->type_name("FILE.svg|.dot");
    graph->callback([&] { status = draw_graph(options.network, options.picture); });

    auto* help = app.add_subcommand("help", "Say how the program, or a command, is used");
    help->add_option("command", options.command, "Command")->type_name("COMMAND");
    help->callback([&] { status = show_help(app, options.command); });
}

/// For an option that its command does not know, the one that may have been meant.
std::string nearest_option(const CLI::App& app) {
    const auto given = app.get_subcommands();
    const CLI::App& command = given.empty() ? app : *given.front();
    std::vector<std::string> known;
    for (const auto* option : command.get_options()) {
        for (const auto& name : option->get_lnames()) known.push_back("--" + name);
    }
    for (const auto& word : app.remaining(true)) {
        const std::string name = word.substr(0, word.find('='));
        if (!name.starts_with("--")) continue;
        return did_you_mean(name, known, [](const auto& option) -> std::string_view { return option; });
    }
    return {};
}

int parse_and_run(CLI::App& app, int argc, const char* const* argv, const int& status) {
    try {
        app.parse(argc, argv);
        return status;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);  // help or version
        if (argc > 1 && argv[1][0] != '-' && !find_command(app, argv[1])) return no_command(app, argv[1]);
        print_error(error.what() + ("; see zam --help" + nearest_option(app)));
        return kWrong;
    } catch (const std::bad_alloc&) {
        print_error("memory is exhausted");
        return kFailed;
    } catch (const std::exception& error) {
        print_error(error.what());
        return kFailed;
    }
}

std::string version_text() {
    std::string sets;
    for (const auto name : lanes_target_names()) sets.append(sets.empty() ? "" : ", ").append(name);
    return "zam " ZAM_VERSION "\ncompiler: " ZAM_COMPILER "\ninstruction sets: " + sets;
}

}  // namespace

int run_program(int argc, const char* const* argv) {
    CLI::App app("Runs networks of visualisation modules: field files in, pictures and fields out.", "zam");
    app.set_version_flag("-V,--version", version_text);
    app.allow_windows_style_options(false);  // paths may begin with a slash
    app.require_subcommand(1);
    app.footer(kFooter);
    RunCommand run_command;
    JoinCommand join_command;
    ViewCommand view_command;
    ServeOptions serve_options;
    OtherOptions other_options;
    int status = kAllWell;
    add_run(app, run_command, status);
    add_join(app, join_command, status);
    add_view(app, view_command, status);
    add_serve(app, serve_options, status);
    add_others(app, other_options, status);
    end_on_interrupt();
    const int ended = parse_and_run(app, argc, argv, status);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return ended;
    print_error(std::string("cannot write the standard output: ") + std::strerror(errno));
    return ended == kAllWell ? kFailed : ended;
}

}  // namespace zam::runner
