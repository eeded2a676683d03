#include "runner/cli.h"

#include <CLI/CLI.hpp>
#include <new>

#include "runner/commands.h"

namespace zam::runner {
namespace {

constexpr double kMaxLoopSeconds = 1.0e7;
constexpr std::int64_t kMaxAllocations = 1'000'000'000'000;

constexpr const char* kFooter =
    "Exit status: 0 all well; 1 a module reported an error or an output could not be\n"
    "written; 2 the command line or the network file is wrong, and nothing was run.\n"
    "ZAM_MODULE_PATH names a directory with the module library and its definition files\n"
    "to be used instead of those beside the program.";

void add_run(CLI::App& app, RunOptions& options, int& status) {
    auto* run = app.add_subcommand("run", "Run every module of a network, play its events, write its outputs");
    run->add_option("network", options.network, "Network file")->required()->type_name("NETWORK");
    run->add_option("--set", options.changes.set, "Give a parameter a value: JSON, or else text (repeatable)")
        ->type_name("MODULE.PARAM=VALUE")
        ->allow_extra_args(false);
    run->add_option("--write", options.changes.write, "Write an output, as an entry of \"write\" does (repeatable)")
        ->type_name("FILE=REF")
        ->allow_extra_args(false);
    run->add_option("--log", options.log, "Record the calls of modules and what they report")->type_name("FILE");
    run->add_option("--output-dir", options.output_directory, "Where relative output names go")->type_name("DIR");
    run->add_option("--loop", options.loop_seconds, "Keep the event loop running in real time after the events")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, kMaxLoopSeconds, ""));
    run->add_option("--fail-allocation", options.fail_allocation, "Let the N-th array allocation of the run fail")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, kMaxAllocations, ""));
    run->add_flag("--strict", options.strict, "A field that a module does not take is an error");
    run->add_flag("--quiet", options.quiet, "No progress line");
    run->callback([&] { status = run_network(options); });
}

/// Arguments of the commands other than run.
struct OtherOptions {
    std::string network, module, file;
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
}

int parse_and_run(CLI::App& app, int argc, const char* const* argv, const int& status) {
    try {
        app.parse(argc, argv);
        return status;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);  // help or version
        const auto is_given = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
        if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(is_given).empty()) {
            std::fprintf(stderr, "zam: error: there is no command %s; see zam --help\n", argv[1]);
            return kWrong;
        }
        std::fprintf(stderr, "zam: error: %s; see zam --help\n", error.what());
        return kWrong;
    } catch (const std::bad_alloc&) {
        std::fputs("zam: error: memory is exhausted\n", stderr);
        return kFailed;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zam: error: %s\n", error.what());
        return kFailed;
    }
}

}  // namespace

int run_program(int argc, const char* const* argv) {
    CLI::App app("Runs networks of visualisation modules: field files in, pictures and fields out.", "zam");
    app.set_version_flag("--version", "zam " ZAM_VERSION);
    app.require_subcommand(1);
    app.footer(kFooter);
    RunOptions run_options;
    OtherOptions other_options;
    int status = kAllWell;
    add_run(app, run_options, status);
    add_others(app, other_options, status);
    return parse_and_run(app, argc, argv, status);
}

}  // namespace zam::runner
