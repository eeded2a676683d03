// Network files with the real modules: built, run, their events played, their outputs written, ended. Left alone are
// networks that take long, that name files of the machine, or that write outside a scratch directory.
#include <algorithm>

#include "fuzz/network.h"
#include "runner/console.h"
#include "session/run/session.h"
#include "tests/support/scratch_directory.h"

using namespace zam::runner;
using namespace zam::session;

namespace {

const ModuleLibrary& library() {
    static const auto loaded = [] {
        std::string error;
        auto read = ModuleLibrary::load(ZAM_FUZZ_LIBRARY, error);
        zam::fuzz::require(read != nullptr);
        return read;
    }();
    return *loaded;
}

bool uses_files(const Definition& definition) {
    return std::any_of(definition.parameters.begin(), definition.parameters.end(), [](const Parameter& parameter) {
        return parameter.shape.file_name || parameter.name.ends_with("Dir");
    });
}

bool stays_inside(const std::vector<Output>& outputs) {
    return std::all_of(outputs.begin(), outputs.end(),
                       [](const Output& output) { return output.file.find_first_of("/\\$~") == std::string::npos; });
}

bool is_harmless(const Network& network) {
    return stays_inside(network.outputs) &&
           std::none_of(network.instances.begin(), network.instances.end(),
                        [](const Instance& instance) { return uses_files(*instance.definition); }) &&
           std::all_of(network.events.begin(), network.events.end(), [](const Event& event) {
               const auto* write = std::get_if<WriteEvent>(&event.what);
               const auto* frames = std::get_if<ForEvent>(&event.what);
               return (!write || stays_inside(write->outputs)) && (!frames || stays_inside(frames->outputs));
           });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const zam::test::ScratchDirectory scratch;
    const std::string text = zam::fuzz::text_of(data, size);
    if (!zam::fuzz::has_small_numbers(text)) return 0;
    const auto network = zam::fuzz::read_network(text, true);
    if (!network || !is_harmless(*network)) return 0;
    {
        Console console(false);
        CallLog log;
        Session session(*network, library(), console, log);
        if (!session.has_entries()) return 0;
        session.build();
        session.run_changed();
        session.play_events(scratch.path());
        session.write(network->outputs, scratch.path());
        session.end();
    }
    zam::fuzz::require_nothing_left();
    return 0;
}
