// Networks of visualisation modules in a program of one's own: made, run, read.
//
//     zam::Session session;
//     zam::Network network = session.network();
//     network.add("render", "tracer");
//     network.set("render.in", zam::uniform_field({64, 64, 64}, zam::Array::lend<std::uint8_t>(voxels)));
//     network.set("render.width", 512);
//     if (network.run()) show(network.image("render.out"));
//
// Life times. A session lasts until its destructor; its networks then end with it, and calls on them throw Error. Arrays,
// and so fields, images and values, belong to whoever holds them: they stay as they are, whatever becomes of the network
// and the session, since who writes to an array later does so in a copy. They may be let go on any thread.
//
// Arrays that a program lends are not copied, and nobody writes to them. They are released when neither a network nor a
// result refers to them any more, on the thread where the last of these goes.
//
// Threads. Modules start none. One call at a time: a call on a session or its networks while another one runs, from another
// thread or from a callback, throws Error. What may be called at any time, on any thread, is said where it stands.
//
// Process-wide: the session itself, of which there is one at a time; modules' own state (the tables of the field reader, the
// simulated joysticks, the host's timer), which all networks of a session share; the standard output, where modules print.
//
// What is wrong with a call throws Error, with a text for people that has the nearest name where one is unknown. What a
// module reports is no exception: it comes with the outcome, and in the callbacks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#if defined(_WIN32)
#define ZAM_SESSION_API
#define ZAM_SESSION_INSIDE
#else
#define ZAM_SESSION_API __attribute__((visibility("default")))
#define ZAM_SESSION_INSIDE __attribute__((visibility("hidden")))
#endif

namespace zam {

/// What a call asks for cannot be done.
class ZAM_SESSION_API Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A network, or the definitions of modules, are wrong. The text has one line per problem, with its place:
/// "FILE:LINE:COLUMN: PATH: TEXT", as far as known.
class ZAM_SESSION_API Invalid : public Error {
public:
    Invalid(const std::string& text, bool has_modules) : Error(text), has_modules_(has_modules) {}
    /// Whether modules were found all the same. Without any, a file may be something else than a network.
    bool has_modules() const { return has_modules_; }

private:
    bool has_modules_;
};

/// A call has failed for what reports have said already, in callbacks too. The text has their errors.
class ZAM_SESSION_API Reported : public Error {
public:
    using Error::Error;
};

/// A run has ended before its time because a callback, or cancel(), wanted it to. The next run goes on with the module that
/// was running.
class ZAM_SESSION_API Cancelled : public Error {
public:
    using Error::Error;
};

// --- Values ---

/// Element types.
enum class Type : int {
    Char = 0,   // raw bytes
    Byte = 1,   // unsigned, 8 bits
    Short = 2,  // signed, 16 bits
    Int = 3,    // signed, 32 bits
    Float = 4,
    Double = 5,
    Long = 6,  // signed, 64 bits
};

/// Bytes of an element.
ZAM_SESSION_API std::size_t size_of(Type type);
/// "float", as network files write it.
ZAM_SESSION_API std::string_view name_of(Type type);

/// The element type of a C++ type; others do not compile.
template <class T>
constexpr Type type_of() {
    using U = std::remove_cv_t<T>;
    if constexpr (std::is_same_v<U, char> || std::is_same_v<U, std::byte>) return Type::Char;
    else if constexpr (std::is_same_v<U, std::uint8_t>) return Type::Byte;
    else if constexpr (std::is_same_v<U, float>) return Type::Float;
    else if constexpr (std::is_same_v<U, double>) return Type::Double;
    else if constexpr (std::is_same_v<U, std::int16_t>) return Type::Short;
    else if constexpr (std::is_integral_v<U> && std::is_signed_v<U> && sizeof(U) == 4) return Type::Int;
    else {
        static_assert(std::is_integral_v<U> && std::is_signed_v<U> && sizeof(U) == 8, "no element type");
        return Type::Long;
    }
}

/// Values of one element type, which somebody keeps: a program that lends them, or the host. Copies share the values.
class Array {
public:
    Array() = default;
    /// @param values  `count` elements, aligned as their type needs
    /// @param owner   keeps the values; null: they outlive all that refers to them
    Array(Type type, const void* values, std::size_t count, std::shared_ptr<const void> owner)
        : type_(type), values_(values), count_(count), owner_(std::move(owner)) {}

    /// Lends values of the caller's.
    /// @param release  called when nothing refers to the values any more, on any thread
    template <class T>
    static Array lend(std::span<const T> values, std::function<void()> release = {}) {
        std::shared_ptr<const void> owner(values.data(), [release = std::move(release)](const void* /*values*/) {
            if (release) release();
        });
        return {type_of<T>(), values.data(), values.size(), std::move(owner)};
    }
    /// Keeps a vector.
    template <class T>
    static Array keep(std::vector<T> values) {
        auto kept = std::make_shared<const std::vector<T>>(std::move(values));
        return {type_of<T>(), kept->data(), kept->size(), kept};
    }

    Type type() const { return type_; }
    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    const void* data() const { return values_; }
    const std::shared_ptr<const void>& owner() const { return owner_; }

    /// The values of a type. @throws Error if they are of another one
    template <class T>
    std::span<const T> as() const {
        if (type_ != type_of<T>()) throw Error("the array holds values of type " + std::string(name_of(type_)));
        return {static_cast<const T*>(values_), count_};
    }

private:
    Type type_ = Type::Float;
    const void* values_ = nullptr;
    std::size_t count_ = 0;
    std::shared_ptr<const void> owner_;
};

enum class GridType : int { Uniform = 1, Rectilinear = 2, Structured = 3, Unstructured = 4 };

/// What nodes have: `veclen` values each.
struct Component {
    Array values;  // nodes x veclen; empty: none yet
    int veclen = 1;
    std::string label = {}, units = {};
    int id = 0;                               // of images 669
    std::optional<double> null_value = {};    // stands for no value
    std::optional<double> minimum = {}, maximum = {};  // given: in place of the values' own. Not set in results
};

/// Cells of one kind: Point Line Tri Quad Tet Hex Prism Pyr Polyline Polyhedron.
struct CellSet {
    std::string name;
    Array connect = {};  // cells x nodes per cell, node numbers of type Long
    Array poly_connect = {};  // of Polyline: first and last node each
    std::int64_t cells = 0, polys = 0;  // in what a program gives 0: they follow from the lists
};

struct TimeStep {
    Array coord = {};
    std::vector<Component> data = {};
};

/// A grid of nodes with values. Plain to make and to read: the arrays are shared, not copied.
struct Field {
    std::optional<GridType> grid = {};      // in what a program gives: left out, it follows from the positions
    int nspace = 0;                         // coordinates per node; 0: it follows from the rest
    std::vector<std::int64_t> dims = {};    // x first; empty: unstructured
    std::int64_t nodes = 0;                 // 0: it follows from the rest
    Array points = {};                      // uniform: two corners; rectilinear: positions along each axis; nspace floats each
    Array coord = {};                       // structured, unstructured: nodes x nspace floats
    std::optional<std::array<float, 16>> xform = {};  // row vectors, translation in elements 12 to 14
    std::vector<Component> data = {};
    std::vector<CellSet> cells = {};
    std::vector<float> times = {};     // of the steps
    std::vector<TimeStep> steps = {};  // empty: a field without time steps
    /// Of an image: whether its first row is the lowest of the picture. From the definition of the parameter that held it.
    bool first_row_is_lowest = false;
};

/// A uniform field in index space with one component.
/// @param dims    nodes per axis, x first: values go along x first
/// @param veclen  values per node
ZAM_SESSION_API Field uniform_field(std::vector<std::int64_t> dims, Array values, int veclen = 1);

/// What a network file writes in place of a value: `{"preset": "bone"}`, `{"rotate": [30, 45, 0]}`, `[1, 2]`.
struct Json {
    std::string text;
};

/// What a parameter is given, and what an object holds. A field that is converted on its way to a module is a group with the
/// members "field", a Field, and "convert".
struct Value {
    using List = std::vector<Value>;
    using Group = std::vector<std::pair<std::string, Value>>;  // in order

    Value() = default;  // none: the object does not exist
    Value(bool flag) : form(std::int64_t{flag}) {}
    template <class T>
    requires(std::is_arithmetic_v<T>) Value(T number) {
        if constexpr (std::is_integral_v<T>) form = static_cast<std::int64_t>(number);
        else form = static_cast<double>(number);
    }
    Value(const char* text) : form(std::string(text)) {}
    Value(std::string_view text) : form(std::string(text)) {}
    Value(std::string text) : form(std::move(text)) {}
    Value(std::vector<std::string> texts) : form(std::move(texts)) {}
    Value(Json json) : form(std::move(json)) {}
    Value(Array array) : form(std::move(array)) {}
    Value(Field field) : form(std::move(field)) {}
    Value(List list) : form(std::move(list)) {}
    Value(Group group) : form(std::move(group)) {}

    template <class T>
    const T* get() const {
        return std::get_if<T>(&form);
    }

    std::variant<std::monostate, std::int64_t, double, std::string, std::vector<std::string>, Json, Array, Field, List, Group>
        form;
};

// --- What happens ---

struct Report {
    enum class Severity { Note, Warning, Error };
    Severity severity = Severity::Error;
    std::string module;  // empty: none in particular
    std::string text;
    /// File that is not written because a module has failed, which has been reported; the text is then "FILE: not written:
    /// MODULE failed".
    std::string not_written = {};
};

struct Progress {
    std::string_view module;
    int percent = 0;        // of the module's call
    std::string_view text;  // what it does; may be empty
    bool begins = false;    // it is about to run, and has told nothing yet
};

/// What a run says as it happens, on the thread that runs it. What a callback throws ends the run as if it were cancelled,
/// and comes out of the call.
struct Callbacks {
    std::function<void(const Report&)> report = {};
    /// Called before each module with 0 percent, and as the modules tell. False cancels the run.
    std::function<bool(const Progress&)> progress = {};
    /// An output was written: "out/orbital.png 640 × 640". Empty: to the standard output.
    std::function<void(std::string_view)> written = {};
    /// A call of a module has ended; its progress is over.
    std::function<void()> call_ended = {};
};

/// What came of a call.
struct ZAM_SESSION_API Outcome {
    std::vector<Report> reports;

    /// Whether there is no error among the reports.
    bool good() const;
    explicit operator bool() const { return good(); }
    /// The texts of the errors, one per line; empty if there are none.
    std::string errors() const;
};

// --- Definitions ---

/// What a module takes of a field; empty lists: anything.
struct Accepts {
    struct Component {
        std::vector<Type> types;
        std::vector<int> veclens;
        int min_veclen = 0;
    };
    std::vector<int> ndims;
    std::vector<Component> components;
};

struct Parameter {
    enum class Direction { In, Out, InOut };
    struct Range {
        std::optional<double> low, high;  // left out: no end
    };
    struct Choice {
        int value = 0;
        std::string name;
    };

    std::string name;
    std::string kind;  // int real text trigger pointer array texts field fields transform color_table datamap ...
    Direction direction = Direction::In;
    std::string default_json;        // as network files write it; empty: none
    std::string meaning;             // for people: what it does, its range and unit
    std::optional<Type> array_type;  // of arrays that have one
    bool is_file_name = false;
    std::optional<Range> range;      // of int and real: the values that make sense, as for a slider; others can be set too
    std::vector<Choice> choices;     // of int: the numbers that stand for something, as for a menu; empty: none
    std::optional<Accepts> accepts;  // of fields
};

struct ZAM_SESSION_API Module {
    std::string name, entry, summary;
    bool is_class = false;
    std::vector<Parameter> parameters;  // inputs and outputs, in the definition's order

    const Parameter* find(std::string_view parameter) const;
};

// --- Pictures ---

/// Options of a picture, as an output of a network has them.
struct ImageOptions {
    bool legend = false, axes = false;
    bool alpha = false;                                     // keeps the opacity
    std::optional<std::array<double, 3>> background = {};   // composites over it: red, green, blue from 0 to 1
    std::optional<bool> first_row_is_lowest = {};           // of the field; left out: as the definition says
};

/// A picture, first row on top.
struct Image {
    std::int64_t width = 0, height = 0;
    int channels = 3;                  // red, green, blue and, with alpha, opacity
    std::vector<std::uint8_t> pixels;  // height x width x channels
};

// --- Networks ---

/// How a network's modules are run.
struct RunOptions {
    /// A share of a network's frames: those whose number is `number` modulo `count`.
    struct Part {
        int number = 0;  // 0 to count - 1; part 0 also writes what belongs to no frame
        int count = 1;
    };

    /// A field that a module does not take is an error: the module, and those that refer to it, are not called.
    bool strict = false;
    /// File for the record of calls of modules and of what they report, one JSON object per line; empty: none.
    std::string log = {};
    /// The N-th allocation of an array after the modules are made fails, to see what becomes of a network then; 0: none.
    std::int64_t fail_allocation = 0;
    /// Plays and writes this share of the frames; `nullopt`: all. Animations become files of their frames, which join()
    /// puts together.
    std::optional<Part> part = {};
    /// Leaves out outputs that are there and newer than what they come from: the network's file and the files that it
    /// names. What is needed for nothing else does not run.
    bool resume = false;
};

/// A file that a network writes.
struct Output {
    std::string file;     // "-": the standard output; with %d in it: one per frame
    std::string from;     // what it shows or holds: "render.out"
    std::string kind;     // what it is written as: "png"
    bool at_end = false;  // by write(); else by an event
};

/// How a module of a network stands.
struct ModuleState {
    enum class State { Waiting, Ran, Failed };  // waiting: for the next run, or for a module that it refers to

    std::string name;  // in the network
    State state = State::Waiting;
    double milliseconds = 0.0;  // that its latest run took
};

/// Modules with their parameters and connections. Made by a session; moved, not copied.
class ZAM_SESSION_API Network {
public:
    Network(Network&& other) noexcept;
    Network& operator=(Network&& other) noexcept;
    /// Ends the modules. At any time, on any thread: while a call runs, they end when it does.
    ~Network();

    /// Who hears of what happens from now on.
    void listen(Callbacks callbacks);

    /// Adds a module.
    /// @param name    in this network
    /// @param module  a module's name or entry
    void add(const std::string& name, const std::string& module);
    /// Gives a parameter a value. The next run has what it affects.
    /// @param target  "MODULE.PARAM"
    void set(const std::string& target, const Value& value);
    /// Takes back what a parameter was given: it is as the module's definition says.
    void reset(const std::string& target);
    /// Lets a parameter refer to another object.
    /// @param source   "MODULE.PARAM", with dots to sub-objects and [i] to elements of arrays
    /// @param convert  how a field is converted on the way, as network files write it: `{"type": "byte", "range": "auto"}`;
    ///                 empty: not at all
    void connect(const std::string& target, const std::string& source, const std::string& convert = {});

    /// How it is run, before the first run or after end(). @throws Error if the log cannot be written
    void prepare(const RunOptions& options);

    /// Runs the modules that have not run, or that a change since then affects, each after those it refers to.
    /// @throws Cancelled
    /// @throws Reported  if libraries lack what the modules need; nothing has run then. So does every other call that is the
    ///                   first to need the modules
    Outcome run();
    /// Plays the events of the network's file, after a run; once more from the first one if that was cancelled.
    /// @param directory  where relative names of outputs go; empty: the current directory
    /// @throws Cancelled
    Outcome play(const std::string& directory = {});
    /// Plays one more event, which the network's text does not have then.
    /// @param event      as network files write it: `{"joystick": {"id": 1, "x": 0}}`, `{"advance": 40}`
    /// @param directory  where relative names of its files go
    /// @throws Cancelled
    Outcome play_event(const Json& event, const std::string& directory = {});
    /// Keeps the host's timer running in real time, and runs what its periodic events affect.
    /// @param seconds  0 to 10,000,000
    /// @throws Cancelled
    Outcome loop(double seconds);
    /// Writes the outputs of the network's file.
    Outcome write(const std::string& directory = {});
    /// Writes one object. The kind of file follows from the ending of its name.
    /// @param options  as network files write them: `"render.out"` or `{"from": "render.out", "legend": true}`
    Outcome write(const std::string& file, const Json& output);
    /// Puts the animations of the network's file together from the files of frames that parts of it have written; needs
    /// no modules. If frames are missing that is an error, and nothing is written.
    /// @param directory    where relative names of outputs go
    /// @param keep_frames  leaves the files of the frames there
    Outcome join(const std::string& directory = {}, bool keep_frames = false);
    /// Ends the modules, as the destructor does, with what they report of it and of the log. The next run makes them anew,
    /// and has everything from the beginning.
    Outcome end();
    /// Ends what runs at its next progress call or before the next module, and the next run if nothing runs. At any time, on
    /// any thread, in a signal handler too.
    void cancel() noexcept;

    /// What an object holds.
    /// @param reference  "MODULE.PARAM", with dots to sub-objects and [i] to elements of arrays
    Value get(const std::string& reference);
    /// As above, of the kind that the name says. @throws Error for other kinds
    Field field(const std::string& reference);
    Array array(const std::string& reference);
    double number(const std::string& reference);
    std::string text(const std::string& reference);
    /// The dump of any object, with minimum and maximum of components, as JSON.
    std::string json(const std::string& reference);

    /// The picture of an image field, as the writer of .png files makes it.
    Image image(const std::string& reference, const ImageOptions& options = {});
    /// The same as the bytes of a .png file.
    std::string png(const std::string& reference, const ImageOptions& options = {});

    /// The bytes of the file that write() makes of one object.
    std::string encode(const std::string& file, const Json& output);

    /// The network as a file, with all changes since it was read but keep_first_picture(); without comments. Run from a
    /// directory where the relative names in it lead to the same files, those given to set() too, it draws the same bytes.
    /// @throws Error  if a parameter was given arrays of the program's
    std::string text() const;
    /// What a parameter was given, as network files write it: `{"ref": "reader.out"}`; empty if nothing was.
    /// @throws Error  as above, and with the nearest name
    std::string written(const std::string& target) const;
    /// The transform of a `host_view` that was given none, which then has everything in view, as network files write it;
    /// empty for others.
    std::string fitted_transform(const std::string& module);
    /// How the modules stand, in the network's order.
    std::vector<ModuleState> states() const;
    /// The modules' names in this network, each with its module's definition.
    std::vector<std::pair<std::string, std::string>> modules() const;
    /// The files that it writes: those of its events in order, then those at the end.
    std::vector<Output> outputs() const;
    /// Leaves of what it writes the first picture alone: of its outputs at the end, else of its events, which are played up
    /// to there.
    /// @param file  its new name: .png, .svg or .webp
    /// @return false, and nothing is changed, if there is none
    bool keep_first_picture(const std::string& file);

    struct ZAM_SESSION_INSIDE State;

private:
    friend class Session;
    explicit Network(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

// --- Sessions ---

/// What a person asks of a view; left out: by the data.
struct ViewOptions {
    std::string output = "view.png";       // the file that the network writes: .png, .svg or .webp
    std::string directory = {};            // in which a file with the network's text will lie; empty: the current one
    std::string variable = {};             // array or component to show
    int component = -1;                    // the same by its number, from 0
    std::vector<std::string> vector = {};  // arrays or components that are the parts of a vector
    int step = -1;                         // from 0
    std::optional<std::array<double, 2>> range = {};
    std::string preset = {};   // of colours
    std::string opacity = {};  // a curve as network files have it
    std::optional<std::array<double, 3>> turn = {};  // degrees about x, y and z
    double zoom = 1.0;
    std::optional<std::array<int, 2>> size = {};  // of the picture in pixels
    std::optional<double> perspective = {};
    bool plain = false;  // without legend and axes
};

/// What is wrong with the options' values, in the words of the program's options; empty: nothing.
ZAM_SESSION_API std::string fault_of(const ViewOptions& options);

/// A network that shows something.
struct View {
    Network network;
    std::string text;  // of the network, for a file; empty where it shows a field at hand
    std::vector<std::pair<std::string, std::string>> facts;  // for people: "range" and "0 to 1"
    std::vector<std::string> notes;                          // what is worth knowing
};

/// The account of arrays.
struct Account {
    std::int64_t held = 0;                 // results that somebody keeps
    std::int64_t outstanding = 0;          // what modules left over; never, unless they have a fault
    std::vector<std::string> faults = {};  // what modules did wrong with arrays
};

/// The host with its modules. One at a time in a process.
class ZAM_SESSION_API Session {
public:
    /// The modules that were installed with this library, and those of plug-ins.
    /// @param plugins  directories of plug-ins, with ":" between them; empty: those of ZAM_MODULE_PATH
    /// @throws Error  if there is a session already, or the modules cannot be loaded
    explicit Session(const std::string& plugins = {});
    /// Ends its networks. Not from a callback.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// The modules at hand, by name.
    const std::vector<Module>& modules() const;
    /// A module by its name or entry. @throws Error with the nearest name
    const Module& module(const std::string& name) const;
    /// What of plug-ins is no good and was left out, a line each.
    const std::vector<std::string>& left_out() const;

    /// A network without modules.
    Network network();
    /// A network file, or the text of one. Its notes come with the first run.
    /// @param file       "-": the standard input
    /// @param set        changes of parameters, as options of the program: "render.width=512"
    /// @param write      further outputs, in the same way: "picture.png=render.out"
    /// @param directory  where its relative file names start; empty: the current directory
    /// @throws Invalid
    Network load(const std::string& file, const std::vector<std::string>& set = {},
                 const std::vector<std::string>& write = {});
    Network parse(const std::string& text, const std::string& directory = {}, const std::vector<std::string>& set = {});

    /// Reads a data file, or through its module a field file, Fortran grid or voxel text.
    /// @param options  of data files, as network files write them: `{"variable": "u10", "step": 3}`; empty: none
    Field read(const std::string& file, const Json& options = {});

    /// The network that shows a data file, as the program's view makes it. It has not run yet; its only output is the picture.
    /// @param callbacks  who hears of the module that reads the file, if one does, and then of the network
    /// @throws Reported  if that module has said why there is nothing to show
    View view(const std::string& file, const ViewOptions& options = {}, Callbacks callbacks = {});
    /// The same for a field at hand.
    View view(const Field& field, const ViewOptions& options = {});

    Account account() const;

    struct ZAM_SESSION_INSIDE State;

private:
    std::shared_ptr<State> state_;
};

/// The account, with or without a session: what is held outlives it. Not while a call runs.
ZAM_SESSION_API Account account();

}  // namespace zam
