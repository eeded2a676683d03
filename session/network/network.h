// Networks: module instances with their parameters, events, outputs, as a network file and the command line give them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "session/network/definitions.h"
#include "session/network/dependencies.h"
#include "session/values/value.h"

namespace zam::session {

/// A value for one parameter of one module.
struct Assignment {
    std::size_t module = 0;
    const Parameter* parameter = nullptr;
    Value value;
    Place place;
    std::vector<std::string> files = {};  // that the value comes from
};

struct Instance {
    std::string name;
    const Definition* definition = nullptr;
    Place place;
    std::vector<Assignment> given;  // each parameter at most once
};

/// The files that outputs become, by the ending of their names.
enum class OutputKind { png, json, raw, vti, vtr, vts, vtu, svg, webp };
std::optional<OutputKind> output_kind(std::string_view file);
/// The ending of such files: "png".
std::string_view ending_of(OutputKind kind);
/// What stands after the last dot of a file name; empty if it has none.
std::string_view file_ending(std::string_view file);

struct Output {
    std::string file;
    OutputKind kind = OutputKind::json;
    Reference from;
    std::optional<ImageOrigin> origin;                // of images; `nullopt`: as the parameter's definition says
    bool alpha = false;                               // .png, .webp
    std::optional<std::array<double, 3>> background;  // .png, .webp: red, green, blue from 0 to 1
    bool legend = false, axes = false;                // .png, .webp, .svg: beside the picture
    bool in_frames = false;                           // of an event of frames, which all have the same size
    int component = 0;                                // .raw
    std::optional<Reference> under, points;           // .svg: image beneath, field of points on top
};

struct SetEvent {
    std::vector<Assignment> assignments;
};
struct RunEvent {
    std::vector<std::size_t> modules;
};
struct CallEvent {
    std::size_t module = 0;
    std::string entry;  // of a class module the method's name
};
struct WriteEvent {
    std::vector<Output> outputs;
};
struct JoystickEvent {
    int id = 1;                                         // 1 or 2
    std::array<std::optional<std::uint32_t>, 8> state;  // x y z r u v pov buttons; `nullopt`: as before
};
struct AdvanceEvent {
    std::int64_t units = 0;
};
struct UnlinkEvent {
    std::size_t module = 0;
    std::string parameter;
};

constexpr int kMaxFrames = 100'000;
constexpr std::size_t kMaxModules = 10'000;

/// The values that a parameter, or a member of its value, goes through.
struct Track {
    std::vector<std::string> path;  // names of the member, outermost first; empty: the parameter itself
    std::vector<Node> values;
    bool joined = true;  // linearly, from the first to the last; else one per step
    bool whole = false;  // what lies between is rounded
};
struct Sweep {
    std::size_t module = 0;
    const Parameter* parameter = nullptr;
    Node base;  // the parameter's value as written, whose members the tracks give
    std::vector<Track> tracks;
    std::string place;  // for messages
};
/// Frames: in each step the parameters are set, then the outputs written.
struct ForEvent {
    std::vector<Sweep> sweeps;
    int steps = 1;
    bool loop = false;  // the last value of each list is that of the first frame again, and not shown
    double fps = 25;
    std::vector<Output> outputs;
    std::string directory;  // relative file names in values start here
};
struct Event {
    std::variant<SetEvent, RunEvent, CallEvent, WriteEvent, JoystickEvent, AdvanceEvent, UnlinkEvent, ForEvent> what;
    Place place;
};

struct Network {
    /// Adds an instance. @pre  no other has its name
    void add(Instance instance);
    /// Takes the latest instance away.
    void drop_last();
    /// Takes instances away, by their numbers; events and outputs name none of them.
    /// @return by the numbers before: those that the others have now
    std::vector<std::size_t> remove(const std::vector<bool>& removed);
    /// Gives a parameter a value in place of what it was given.
    /// @return what it was given
    std::optional<Assignment> give(Assignment assignment);
    std::optional<std::size_t> find(std::string_view module) const;
    /// What is said of a name that no instance has.
    std::string no_module(std::string_view name) const;

    std::string file;  // its own; empty: none that has a time
    std::vector<Instance> instances;
    std::vector<Event> events;
    std::vector<Output> outputs;
    bool distributed = false;  // frames too are the work of all ranks together, each with its share of the objects

private:
    std::map<std::string, std::size_t, std::less<>> numbers_;  // of instances by name
};

/// A reference taken apart: "MODULE.PARAM" and what follows, ".sub" or "[i]" or nothing.
struct ReferenceParts {
    std::string_view module, parameter, rest;
};
ReferenceParts split_reference(std::string_view reference);

/// The modules that a value refers to, by their numbers.
std::vector<std::size_t> referred_modules(const Network& network, const Value& value);

}  // namespace zam::session
