// Definition files: what the runner knows of the modules of a library.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runner/problems.h"
#include "runner/value.h"

namespace zam::runner {

enum class Direction { in, out, inout };

struct Parameter {
    std::string name;
    Shape shape;
    Direction direction = Direction::in;
    std::optional<Value> default_value;
    std::string default_text;  // the default as the definition file writes it; empty: none
    std::string meaning;

    /// Whether instances have the object when their network says nothing of it.
    bool exists_unless_told() const { return default_value.has_value() || direction != Direction::in; }
};

struct Definition {
    std::string file;  // or the name of what else it was read from
    std::string text;  // of one that was not read from a file
    std::string module;
    std::string entry;
    std::string summary;
    std::string set_params_entry;              // empty: none
    std::vector<std::string> set_params_on;    // parameters whose being set calls it before the update
    std::string delete_entry;                  // empty: none
    std::vector<std::string> further_entries;  // others that a network may call
    std::vector<Parameter> parameters;

    const Parameter* find_parameter(std::string_view name) const;
};

/// The name of a direction in definition files.
std::string_view direction_name(Direction direction);

/// All modules of a library, by their names in alphabetical order.
class Definitions {
public:
    /// Reads every .json file of a directory. What is wrong with them is reported as problems.
    static Definitions load(const std::string& directory, Problems& problems);

    /// Reads one definition. Nothing is added after a problem.
    void add(const std::string& file, Problems& problems);
    /// Adds the entries that the host has itself.
    void add_host_entries(Problems& problems);

    const std::vector<std::unique_ptr<const Definition>>& all() const { return definitions_; }
    /// The definition with an update entry of that name; null when there is none.
    const Definition* by_entry(std::string_view entry) const;
    /// The same by entry or module name.
    const Definition* by_any_name(std::string_view name) const;
    /// Whether any module has an entry of that name: update, parameter setting, deletion or another.
    bool has_entry(std::string_view entry) const;

private:
    void add(const Document& document, std::unique_ptr<Definition> definition, Problems& problems);

    std::vector<std::unique_ptr<const Definition>> definitions_;
};

}  // namespace zam::runner
