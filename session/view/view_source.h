// The field of a data file, as a network names it and as it is now.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "session/convert/conversion.h"
#include "session/network/definitions.h"
#include "session/run/library.h"
#include "session/run/listener.h"
#include "session/values/field_value.h"
#include "session/view/network_text.h"
#include "session/view/view_options.h"

namespace zam::session {

/// Why nothing can be shown of a file, for people.
class ViewError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Where a field comes from.
class ViewSource {
public:
    virtual ~ViewSource() = default;

    /// The instances that the network needs to have the field, by name.
    virtual Json modules() const { return Json::object(); }
    /// The events after which these have the field of the step.
    virtual Json events() const { return Json::array(); }
    /// What a parameter is given to have the field: a reference, or the data file. Members may be added to it.
    virtual Json value() const = 0;
    /// Number of time steps.
    virtual int steps() const = 0;
    /// What a frame event goes through to show all steps, relative to the parameter if it begins with a dot, and the
    /// number that stands for the first of them.
    virtual std::pair<std::string, int> step_track() const = 0;
    /// Lets value(), events() and field() be of that step, from 0.
    virtual void go_to(int step) = 0;
    /// The field of the step.
    /// @throws ViewError
    virtual FieldPointer field() = 0;
    /// What the file has besides, for people; empty: nothing.
    virtual std::string besides() const { return {}; }
    /// Whether the field's components are those that were asked for, and nothing else.
    virtual bool has_chosen() const { return false; }
};

/// The places of names that are the parts of one vector, x first: "u10", "v10", or "vel_x", "vel_y", "vel_z". Empty
/// if there are none.
std::vector<std::size_t> find_vector(const std::vector<std::string>& names, std::size_t parts);

/// What a value {"data_file": ...} makes of a file, with the axes of vectors and steps found where the file does not
/// say.
/// @param name  as the network names the file
/// @throws ViewError
std::unique_ptr<ViewSource> open_data_source(const std::string& file, const std::string& name,
                                             const WantedData& wanted);

/// The module that reads a kind of file.
struct FileReader {
    std::string use;     // its entry
    Json params;         // how it is set up
    std::string output;  // the field that it writes
};

/// What a module reads.
/// @param network_params  how it is set up in the network, where files may have other names
/// @throws ViewError
std::unique_ptr<ViewSource> open_module_source(const FileReader& reader, const Json& network_params,
                                               const Definitions& definitions, const ModuleLibrary& library,
                                               Listener& listener);

/// Parses the object at "convert".
/// @throws ViewError
Conversion conversion_of(const Json& convert);

}  // namespace zam::session
