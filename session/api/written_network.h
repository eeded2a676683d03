// A network as it is written: its file, and what was changed since.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "session/network/network_reader.h"
#include "session/view/network_text.h"

namespace zam {

/// The text is kept as it was read, and only taken apart when somebody asks for what is written now: most networks are
/// run and never asked.
class WrittenNetwork {
public:
    WrittenNetwork() = default;
    /// @param text     of a network that has no problems
    /// @param changes  to it
    explicit WrittenNetwork(std::string text, const session::NetworkOptions& changes = {});

    void add(const std::string& module, const std::string& use);
    /// A value in the form of network files, or a text that is no JSON.
    /// @param of_program  it has arrays of the program's, which no file has
    void set(const std::string& target, std::string value, bool of_program = false);
    /// Takes back what a parameter was given.
    void take_back(const std::string& target);

    /// @throws Error  if a value has arrays of the program's, or is that of a copy that an object with a "for" made
    std::string text();
    /// What a parameter is given; empty if nothing is, or if its module is such a copy.
    /// @throws Error  if the value has arrays of the program's
    std::string value(const std::string& target);

private:
    struct Change {
        enum class What { add, set, take_back, write } what;
        std::string target;  // the module's name, "MODULE.PARAM" or the file
        std::string value;   // the module's definition, the value or the output
    };

    /// Leaves out the changes of a value that wait: another one follows.
    void forget(const std::string& target);
    void apply_changes();
    void apply(const Change& change);
    [[noreturn]] static void refuse(const std::string& target);

    std::string text_ = R"({"modules":{}})";
    std::vector<Change> changes_;       // not applied yet
    session::Json document_;            // null until somebody asks
    std::set<std::string> of_program_;  // parameters with values that no file has
    std::set<std::string> of_copies_;   // parameters of copies that were given other values
};

}  // namespace zam
