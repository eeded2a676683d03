// A network while a person works on it: its parameters as they were given, whatever size its picture has at the moment.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "runner/serve/history.h"
#include "runner/serve/json_text.h"
#include "runner/serve/preview.h"
#include "zam/session.h"

namespace zam::runner {

/// A parameter's default as network files write it; null if there is none, or none that can be written.
Json default_of(const Parameter& parameter);

class EditedNetwork {
public:
    /// The size of a module's picture as the network has it.
    struct OwnSize {
        std::string width, height;                  // parameters
        std::string written_width, written_height;  // empty: none is given
        Size size;
    };

    /// @param session  lives longer
    EditedNetwork(const Session& session, Network network);

    Network& network() { return network_; }
    const Network& network() const { return network_; }
    /// The modules' definitions, by their names in the network.
    const std::map<std::string, const Module*>& modules() const { return modules_; }
    /// @param target  "MODULE.PARAM"
    /// @return  null if there is no such parameter
    const Parameter* parameter(const std::string& target) const;
    /// default_of() the parameter; null if there is no such parameter.
    Json default_value(const std::string& target) const;

    /// What a parameter was given, as network files write it; empty if nothing was.
    std::string written(const std::string& target) const;
    /// What those parameters were given that have values in `of`.
    WrittenValues written(const WrittenValues& of) const;
    /// Gives parameters values, all or none. @throws Error
    void give(const WrittenValues& values);

    /// `nullopt` if the module has no parameters for it.
    std::optional<OwnSize> own_size(const std::string& module) const;
    /// Draws a module's picture in another size, until restore_size(). What was given stays what written() tells.
    void scale(const OwnSize& own, const Size& size);
    /// @return  whether a picture had another size
    bool restore_size();
    /// What has another size now.
    const std::optional<OwnSize>& scaled() const { return scaled_; }

private:
    void set(const std::string& target, const std::string& value);

    Network network_;
    std::map<std::string, const Module*> modules_;
    std::optional<OwnSize> scaled_;
};

}  // namespace zam::runner
