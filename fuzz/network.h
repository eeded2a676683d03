// Networks made of bytes, with the definitions in ZAM_FUZZ_DEFINITIONS.
#pragma once

#include <optional>

#include "fuzz/target.h"
#include "session/network/network_check.h"
#include "session/network/network_reader.h"

namespace zam::fuzz {

/// The network that a file with this text holds; `nullopt` if anything is wrong with it.
/// @param with_host  whether it may use the host's own entries, as networks that are run may
inline std::optional<session::Network> read_network(const std::string& text, bool with_host) {
    using namespace session;
    static const Definitions definitions = [&] {
        Problems problems;
        auto loaded = Definitions::load(ZAM_FUZZ_DEFINITIONS, problems);
        if (with_host) loaded.add_host_entries(problems);
        require(!problems.any());
        return loaded;
    }();
    Problems problems;
    Document document("fuzz.json", text);
    if (!document.parse(problems)) return std::nullopt;
    Environment environment{problems, "/nonexistent"};
    Network network = session::read_network(document, definitions, {}, environment);
    check_network(network, problems, false);
    return problems.any() ? std::nullopt : std::optional(std::move(network));
}

}  // namespace zam::fuzz
