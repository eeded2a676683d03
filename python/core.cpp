// zam._core: the session for Python. The package's Python sources are its only user; what people see is theirs.
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "python/values.h"

namespace zam::python {
namespace {

namespace py = pybind11;

// --- Turns ---

/// Whose call is at work. One thread waits for the other; what is called from a callback of a call goes on to the
/// session, which refuses it.
class Work {
public:
    Work() {
        if (thread != std::this_thread::get_id()) begin(std::unique_lock(mutex));
    }
    explicit Work(std::try_to_lock_t how) {
        if (thread != std::this_thread::get_id()) begin(std::unique_lock(mutex, how));
    }
    ~Work() {
        if (lock_) thread = std::thread::id();
    }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

private:
    void begin(std::unique_lock<std::mutex> lock) {
        lock_ = std::move(lock);
        if (lock_) thread = std::this_thread::get_id();
    }

    static inline std::mutex mutex;
    static inline std::atomic<std::thread::id> thread;

    std::unique_lock<std::mutex> lock_;
};

/// A call's time with the session, without the interpreter's lock: that is given back first and taken last, so that
/// nobody holds it who waits for a turn.
class Turn {
public:
    Turn() = default;
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    py::gil_scoped_release interpreter_;
    Work work_;
};

/// Ends a network at once; while another thread's call is at work, the session ends it after that.
struct EndNetwork {
    void operator()(Network* network) const {
        const Work work(std::try_to_lock);
        delete network;
    }
};

/// The process's session, made when it is first needed; null once the interpreter ends.
std::unique_ptr<Session> the_session;
bool has_ended = false;

Session& session() {
    if (has_ended) throw Error("the interpreter ends");
    if (!the_session) the_session = std::make_unique<Session>();
    return *the_session;
}

/// Calls something with the session in a turn.
template <class Call>
auto with_session(Call&& call) {
    const Turn turn;
    return call(session());
}

// --- Runs ---

/// Asks between a module's steps whether a run goes on: Ctrl-C ends it, and so does a callback that gives False.
class Asker {
public:
    explicit Asker(py::object progress) : progress_(std::move(progress)), has_callback_(!progress_.is_none()) {}

    bool operator()(const Progress& now) {
        constexpr auto kInterval = std::chrono::milliseconds(20);  // the interpreter may be another thread's for 5 ms
        const auto time = std::chrono::steady_clock::now();
        if (!has_callback_ && time - asked_ < kInterval) return true;
        asked_ = time;
        const py::gil_scoped_acquire lock;
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        return !has_callback_ ||
               !progress_(text_to_python(now.module), now.percent, text_to_python(now.text)).is(py::bool_(false));
    }

private:
    py::object progress_;
    bool has_callback_;
    std::chrono::steady_clock::time_point asked_;
};

const char* severity_name(Report::Severity severity) {
    switch (severity) {
        case Report::Severity::Note: return "note";
        case Report::Severity::Warning: return "warning";
        case Report::Severity::Error: break;
    }
    return "error";
}

py::list reports_of(const Outcome& outcome) {
    py::list reports;
    for (const auto& report : outcome.reports)
        reports.append(
            py::make_tuple(severity_name(report.severity), text_to_python(report.module), text_to_python(report.text)));
    return reports;
}

/// Does something that runs modules. @param progress  called as progress(module, percent, text), or None
template <class Body>
py::list perform(Network& network, py::object progress, Body body) {
    Asker asker(std::move(progress));
    Outcome outcome;
    {
        const Turn turn;
        struct Listening {
            Network& network;
            ~Listening() {
                try {
                    network.listen({});
                } catch (const Error&) {  // NOLINT(bugprone-empty-catch): the session has ended, and nobody listens
                }
            }
        };
        network.listen({.report = {}, .progress = std::ref(asker), .written = {}});
        const Listening listening{network};
        outcome = body(network);
    }
    return reports_of(outcome);
}

ImageOptions image_options(bool legend, bool axes, bool alpha, std::optional<std::array<double, 3>> background,
                           std::optional<bool> first_row_is_lowest) {
    return {legend, axes, alpha, background, first_row_is_lowest};
}

py::array image(Network& network, const std::string& reference, const ImageOptions& options) {
    Image image;
    {
        const Turn turn;
        image = network.image(reference, options);
    }
    const auto height = image.height, width = image.width;
    const std::int64_t channels = image.channels;
    auto* const pixels = new std::vector<std::uint8_t>(std::move(image.pixels));
    const py::capsule owner(pixels, [](void* held) { delete static_cast<std::vector<std::uint8_t>*>(held); });
    return py::array_t<std::uint8_t>({height, width, channels}, pixels->data(), owner);
}

// --- Definitions ---

py::dict described(const Accepts& accepts) {
    py::list components;
    for (const auto& component : accepts.components) {
        py::list types;
        for (const Type type : component.types) types.append(name_of(type));
        components.append(py::dict(py::arg("types") = types, py::arg("veclens") = component.veclens,
                                   py::arg("min_veclen") = component.min_veclen));
    }
    return py::dict(py::arg("ndims") = accepts.ndims, py::arg("components") = components);
}

py::dict described(const Parameter& parameter) {
    constexpr const char* kDirections[] = {"in", "out", "inout"};
    py::dict result(py::arg("name") = parameter.name, py::arg("kind") = parameter.kind,
                    py::arg("direction") = kDirections[static_cast<int>(parameter.direction)],
                    py::arg("default") = parameter.default_json, py::arg("meaning") = parameter.meaning,
                    py::arg("is_file_name") = parameter.is_file_name);
    result["array_type"] = parameter.array_type ? py::cast(name_of(*parameter.array_type)) : py::object(py::none());
    const auto& range = parameter.range;
    result["range"] = range ? py::object(py::make_tuple(range->low, range->high)) : py::object(py::none());
    py::list choices;
    for (const auto& [value, name] : parameter.choices) choices.append(py::make_tuple(value, name));
    result["choices"] = py::tuple(choices);
    result["accepts"] = parameter.accepts ? py::object(described(*parameter.accepts)) : py::object(py::none());
    return result;
}

py::dict described(const Module& module) {
    py::list parameters;
    for (const auto& parameter : module.parameters) parameters.append(described(parameter));
    return py::dict(py::arg("name") = module.name, py::arg("entry") = module.entry, py::arg("summary") = module.summary,
                    py::arg("is_class") = module.is_class, py::arg("parameters") = parameters);
}

// --- What Python sees ---

template <class Owner>
void bind_text(py::class_<Owner>& owner, const char* name, std::string Owner::*text) {
    owner.def_property(
        name, [text](const Owner& held) { return text_to_python(held.*text); },
        [text](Owner& held, const std::string& given) { held.*text = given; });
}

void bind_fields(py::module_& module) {
    py::class_<Component> component(module, "Component");
    bind_text(component, "label", &Component::label);
    bind_text(component, "units", &Component::units);
    component.def(py::init<>())
        .def_readwrite("values", &Component::values)
        .def_readwrite("veclen", &Component::veclen)
        .def_readwrite("id", &Component::id)
        .def_readwrite("null_value", &Component::null_value);
    py::class_<CellSet> cells(module, "CellSet");
    bind_text(cells, "name", &CellSet::name);
    cells.def(py::init<>())
        .def_readwrite("connect", &CellSet::connect)
        .def_readwrite("poly_connect", &CellSet::poly_connect)
        .def_readwrite("cells", &CellSet::cells)
        .def_readwrite("polys", &CellSet::polys);
    py::class_<TimeStep>(module, "TimeStep")
        .def(py::init<>())
        .def_readwrite("coord", &TimeStep::coord)
        .def_readwrite("data", &TimeStep::data);
    py::class_<Field>(module, "Field")
        .def(py::init<>())
        .def_property(
            "grid", [](const Field& field) { return static_cast<int>(field.grid.value_or(GridType{})); },
            [](Field& field, int grid) { field.grid = static_cast<GridType>(grid); })
        .def_readwrite("nspace", &Field::nspace)
        .def_readwrite("dims", &Field::dims)
        .def_readwrite("nodes", &Field::nodes)
        .def_readwrite("points", &Field::points)
        .def_readwrite("coord", &Field::coord)
        .def_readwrite("xform", &Field::xform)
        .def_readwrite("data", &Field::data)
        .def_readwrite("cells", &Field::cells)
        .def_readwrite("times", &Field::times)
        .def_readwrite("steps", &Field::steps)
        .def_readwrite("first_row_is_lowest", &Field::first_row_is_lowest);
}

void bind_networks(py::module_& module) {
    using Strings = std::vector<std::string>;
    py::class_<ImageOptions>(module, "ImageOptions")
        .def(py::init(&image_options), py::arg("legend") = false, py::arg("axes") = false, py::arg("alpha") = false,
             py::arg("background") = py::none(), py::arg("first_row_is_lowest") = py::none());
    py::class_<Network, std::unique_ptr<Network, EndNetwork>>(module, "Network")
        .def(py::init([] { return with_session([](Session& session) { return session.network(); }); }))
        .def_static("load",
                    [](const std::string& file, const Strings& set) {
                        return with_session([&](Session& session) { return session.load(file, set); });
                    })
        .def_static("parse",
                    [](const std::string& text, const std::string& directory, const Strings& set) {
                        return with_session([&](Session& session) { return session.parse(text, directory, set); });
                    })
        .def("add", &Network::add, py::call_guard<Turn>())
        .def("set",
             [](Network& network, const std::string& target, py::handle object) {
                 const Value value = to_value(object);
                 const Turn turn;
                 network.set(target, value);
             })
        .def("connect", &Network::connect, py::call_guard<Turn>())
        .def("run",
             [](Network& network, py::object progress) {
                 return perform(network, std::move(progress), [](Network& it) { return it.run(); });
             })
        .def("play",
             [](Network& network, const std::string& directory, py::object progress) {
                 return perform(network, std::move(progress), [&](Network& it) { return it.play(directory); });
             })
        .def("write",
             [](Network& network, const std::string& directory) {
                 return perform(network, py::none(), [&](Network& it) { return it.write(directory); });
             })
        .def("write_one",
             [](Network& network, const std::string& file, const std::string& output) {
                 return perform(network, py::none(), [&](Network& it) { return it.write(file, Json{output}); });
             })
        .def("get",
             [](Network& network, const std::string& reference) {
                 Value value;
                 {
                     const Turn turn;
                     value = network.get(reference);
                 }
                 return to_python(std::move(value));
             })
        .def("json", &Network::json, py::call_guard<Turn>())
        .def("image", &image)
        .def("png",
             [](Network& network, const std::string& reference, const ImageOptions& options) {
                 std::string bytes;
                 {
                     const Turn turn;
                     bytes = network.png(reference, options);
                 }
                 return py::bytes(bytes);
             })
        .def("modules", &Network::modules, py::call_guard<Turn>());
}

void bind_views(py::module_& module) {
    py::class_<ViewOptions>(module, "ViewOptions")
        .def(py::init<>())
        .def_readwrite("output", &ViewOptions::output)
        .def_readwrite("variable", &ViewOptions::variable)
        .def_readwrite("component", &ViewOptions::component)
        .def_readwrite("vector", &ViewOptions::vector)
        .def_readwrite("step", &ViewOptions::step)
        .def_readwrite("range", &ViewOptions::range)
        .def_readwrite("preset", &ViewOptions::preset)
        .def_readwrite("opacity", &ViewOptions::opacity)
        .def_readwrite("turn", &ViewOptions::turn)
        .def_readwrite("zoom", &ViewOptions::zoom)
        .def_readwrite("size", &ViewOptions::size)
        .def_readwrite("perspective", &ViewOptions::perspective)
        .def_readwrite("plain", &ViewOptions::plain);
    const auto parts = [](View view) {
        return py::make_tuple(std::move(view.network), view.text, view.facts, view.notes);
    };
    module.def("view", [parts](const std::string& file, const ViewOptions& options) {
        return parts(with_session([&](Session& session) { return session.view(file, options); }));
    });
    module.def("view", [parts](const Field& field, const ViewOptions& options) {
        return parts(with_session([&](Session& session) { return session.view(field, options); }));
    });
    module.def("read", [](const std::string& file, const std::string& options) {
        return with_session([&](Session& session) { return session.read(file, Json{options}); });
    });
}

}  // namespace
}  // namespace zam::python

PYBIND11_MODULE(_core, module) {
    namespace py = pybind11;
    using namespace zam::python;

    auto& error = py::register_exception<zam::Error>(module, "Error", PyExc_RuntimeError);
    py::register_exception<zam::Cancelled>(module, "Cancelled", error.ptr());
    bind_fields(module);
    bind_networks(module);
    bind_views(module);
    module.def("modules", [] {
        const auto modules = with_session([](zam::Session& session) { return session.modules(); });
        py::list result;
        for (const auto& one : modules) result.append(described(one));
        return result;
    });
    module.def("account", [] {
        const zam::Account account = [] {
            const Turn turn;
            return zam::account();
        }();
        return py::make_tuple(account.held, account.outstanding, account.faults);
    });
    module.def("end", [] {
        const Turn turn;
        has_ended = true;
        the_session.reset();
    });
}
