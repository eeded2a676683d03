// Reads network files and the options that change them.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "session/document/cursor.h"
#include "session/network/network.h"

namespace zam::session {

/// `--set MODULE.PARAM=VALUE` and `--write FILE=REF`, in the order of the command line.
struct NetworkOptions {
    std::vector<std::string> set;
    std::vector<std::string> write;
    bool without_data = false;               // input files need not exist
    std::span<const NumberArray> lent = {};  // as in Environment
};

/// Reads a network file as a document; "-" is the standard input. Null after a problem.
std::unique_ptr<const Document> read_network_document(const std::string& file, Problems& problems);

/// Reads and checks a network file with the options that change it. All problems are listed.
Network load_network(const std::string& file, const NetworkOptions& options, const Definitions& definitions,
                     Problems& problems);

/// As above from a document. @param directory  where its relative file names start
Network network_from(const Document& document, const std::string& directory, const NetworkOptions& options,
                     const Definitions& definitions, Problems& problems);

/// Reads a value for "MODULE.PARAM" of a network. `nullopt` after a problem.
std::optional<Assignment> read_assignment(Network& network, const Document& value, const std::string& target,
                                          const Definitions& definitions, Environment& environment);

/// Reads an output as it stands beside a file name in "write". `nullopt` after a problem.
std::optional<Output> read_output(Network& network, const Document& output, const std::string& file,
                                  const Definitions& definitions, Environment& environment);

/// Reads an event as "events" have it. `nullopt` after a problem.
std::optional<Event> read_event(Network& network, const Document& event, const Definitions& definitions,
                                Environment& environment);

/// Reads a network from a document and applies the options, without checking how the parts fit each other.
Network read_network(const Document& document, const Definitions& definitions, const NetworkOptions& options,
                     Environment& environment);

}  // namespace zam::session
