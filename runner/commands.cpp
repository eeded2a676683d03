#include "runner/commands.h"

#include <filesystem>

#include "base/file_path.h"
#include "runner/console.h"
#include "runner/file_kinds.h"
#include "session/network/acceptance.h"
#include "session/run/library.h"

namespace zam::runner {

using namespace session;

namespace {

void tell_notes(const Problems& problems, Listener& listener) {
    for (const auto& note : problems.notes()) listener.note(note);
}

}  // namespace

void print_left_out(const std::vector<std::string>& left_out) {
    Console console(false);
    for (const auto& line : left_out) console.warning("left out: " + line);
}

std::string what_data(const std::string& name) {
    // a pipe gives its contents only once
    const auto file = std::filesystem::is_regular_file(file_path(name)) ? read_file_start(name) : std::nullopt;
    const FileKind* kind = file ? find_file_kind(*file) : nullptr;
    if (!kind) return {};
    return name + ": this is a " + std::string(kind->name) + "; try: zam " +
           (kind->described_only ? "info " : "view ") + name;
}

std::optional<Definitions> load_definitions() {
    Problems problems;
    std::vector<std::string> left_out;
    auto definitions = session::load_definitions(find_installation(), problems, left_out);
    print_left_out(left_out);
    if (!problems.any()) return definitions;
    print_problems(problems.text());
    return std::nullopt;
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
    const std::string data = network.instances.empty() ? what_data(name) : "";
    print_problems(data.empty() ? problems.text() : data);
    return std::nullopt;
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
