// Definition files: what is known of a library's modules.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "session/document/problems.h"
#include "session/values/value.h"

namespace zam::session {

enum class Direction { in, out, inout };

/// Where an image's first row belongs in its picture: on top, or at the bottom as a plane's smallest y does.
enum class ImageOrigin { upper, lower };

/// What a module takes of one component; empty lists: anything.
struct AcceptedComponent {
    std::vector<int> types;
    std::vector<int> veclens;
    int min_veclen = 0;  // 0: none
};
/// What a module takes of a field.
struct Accepted {
    std::vector<int> ndims;
    std::vector<AcceptedComponent> components;  // the first ones; others may be there
};

/// Where the colours of an image come from: the parameters of its module that a legend is read from.
struct LegendSource {
    std::string values;  // the field, or list of fields, whose component 0 the colours show
    // of vectors, whose length is shown: parameters that have the numbers of the parts; empty: all parts
    std::vector<std::string> parts;
    std::string colors;  // a colour table, or the datamaps of the fields; empty: the ramp has them
    // red, green, blue, equally spaced from the smallest value to the largest
    std::vector<std::array<std::uint8_t, 3>> ramp;
    // whole parameters that have to be other than 0 (true), or 0 (false)
    std::vector<std::pair<std::string, bool>> when;
};

/// The values of a number that make sense. What becomes of others is left to the module.
struct Range {
    std::optional<double> low, high;  // `nullopt`: no end; one of them is there
};
/// A whole number that stands for something.
struct Choice {
    int value = 0;
    std::string name;
};

struct Parameter {
    std::string name;
    Shape shape;
    Direction direction = Direction::in;
    std::optional<Value> default_value;
    std::string default_text;  // the default for people; empty: none
    std::string default_json;  // the same for programs
    std::string meaning;
    std::optional<Range> range;               // of whole and real numbers; `nullopt`: nothing is known
    std::vector<Choice> choices;              // of whole numbers; empty: they are no choices
    bool any_order = false;                   // what its changes lead to does not depend on what was there before
    ImageOrigin origin = ImageOrigin::upper;  // of the images it holds
    std::optional<LegendSource> legend;       // of the images it holds; `nullopt`: nothing is known of their colours
    std::optional<Accepted> accepted;         // of inputs that are fields; `nullopt`: nothing is known
    bool shared = false;                      // of a joint module: each rank needs its share of the list's fields

    /// Whether instances have the object when their network says nothing of it.
    bool exists_unless_told() const { return default_value.has_value() || direction != Direction::in; }
};

/// A method of a class module.
struct Method {
    std::string name;
    std::vector<std::string> on;  // parameters whose change runs it
    bool at_start = false;        // also runs it when a network gives one of them from the beginning
};

struct Definition {
    std::string file;     // or the name of another source
    std::string text;     // of a definition that was not read from a file
    std::string library;  // file of the library that has the module; empty: the built-in one, or the host itself
    std::string module;
    std::string entry;  // of a class its name
    std::string summary;
    std::string set_params_entry;              // empty: none
    std::vector<std::string> set_params_on;    // parameters whose being set calls it before the update
    std::string delete_entry;                  // empty: none
    std::vector<std::string> further_entries;  // others that a network may call
    bool is_class = false;
    bool joint = false;           // where ranks share a network, all of them call the update at the same time
    std::vector<Method> methods;  // of a class; `inst` runs when an instance is made, `deinst` when it goes
    std::string update_method;    // of a class, what an update calls
    std::vector<Parameter> parameters;

    const Parameter* find_parameter(std::string_view name) const;
    /// What is said of a name that no parameter has.
    std::string no_parameter(std::string_view name) const;
    /// A method by its name or by that of its exported function; null if there is none.
    const Method* find_method(std::string_view name) const;
    /// What is said of a name that no method has.
    std::string no_method(std::string_view name) const;
    /// Name of the function that a class exports for a method, or for `create` and `destroy`.
    std::string exported(std::string_view method) const { return entry + "_" + std::string(method); }
};

/// "upper" or "lower"; `nullopt` after a problem.
std::optional<ImageOrigin> read_image_origin(const Cursor& cursor);

/// What is known of a parameter's values, for people: "0 to 1", "0 nearest, 1 interpolated"; empty: nothing.
std::string describe_values(const Parameter& parameter);

/// The name of a direction in definition files.
std::string_view direction_name(Direction direction);

/// All modules of a library, by their names in alphabetical order.
class Definitions {
public:
    /// Whose modules a file defines. Plug-ins name their library and the contract that it was made for.
    enum class Origin { built_in, plugin };

    /// Reads every .json file of a directory. What is wrong with them is reported as problems.
    static Definitions load(const std::string& directory, Problems& problems);

    /// Adds the modules of plug-ins: what the .json files of a directory define, of libraries that lie there too. What
    /// is wrong with a file leaves its module out.
    /// @param left_out  receives one line for each such file, and for a directory that cannot be read
    void add_plugins(const std::string& directory, std::vector<std::string>& left_out);

    /// Reads one definition. Nothing is added after a problem.
    void add(const std::string& file, Problems& problems, Origin origin = Origin::built_in);
    /// Adds the entries that the host has itself.
    void add_host_entries(Problems& problems);

    const std::vector<std::unique_ptr<const Definition>>& all() const { return definitions_; }
    /// The definition with an update entry, or class, of that name; null if there is none.
    const Definition* by_entry(std::string_view entry) const;
    /// The same by entry or module name.
    const Definition* by_any_name(std::string_view name) const;
    /// What follows after a name that neither an entry nor a module has: the name that may have been meant.
    std::string nearest_to(std::string_view name) const;
    /// Whether any module that is no class has an entry of that name: update, parameter setting, deletion or another.
    bool has_entry(std::string_view entry) const;

private:
    void add(const Document& document, std::unique_ptr<Definition> definition, Problems& problems, Origin origin);

    std::vector<std::unique_ptr<const Definition>> definitions_;
};

}  // namespace zam::session
