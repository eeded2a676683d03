// Data files and fields in memory: read, and shown by the network that the program's view makes of them.
#include "session/api/state.h"
#include "session/api/values.h"
#include "session/data/data_error.h"
#include "session/data/data_file.h"
#include "session/data/png_file.h"
#include "session/data/vtk_file.h"
#include "session/document/parser.h"
#include "session/network/network_reader.h"
#include "session/view/plan_file.h"

namespace zam {
namespace {

/// Reads the field that a parameter with a value would be.
/// @param name  of the value, for messages
/// @throws Error
session::FieldPointer read_field(const std::string& name, const std::string& text,
                                 std::span<const session::NumberArray> lent) {
    session::Problems problems;
    session::Environment environment{problems, {}, lent};
    const auto document = session::Document::from_option(name, text);
    session::Shape shape;
    shape.kind = session::Kind::field;
    const auto value = read_value(session::Cursor(*document, environment), shape);
    throw_problems(problems);
    const auto* field = value ? std::get_if<session::FieldPointer>(&value->form) : nullptr;
    if (!field) throw Error(name + ": there is no field");
    return *field;
}

/// A field of the caller's.
class FieldAtHand final : public session::ViewSource {
public:
    explicit FieldAtHand(const WrittenValue& written)
        : value_(session::Json::parse(written.text())), field_(read_field("field", written.text(), written.arrays())) {}

    session::Json value() const override { return value_; }
    int steps() const override { return 1; }
    std::pair<std::string, int> step_track() const override { return {}; }
    void go_to(int /*step*/) override {}
    session::FieldPointer field() override { return field_; }

private:
    session::Json value_;
    session::FieldPointer field_;
};

session::ViewOptions to_session(const ViewOptions& options) {
    return {.output = options.output,
            .data = {options.variable, options.component, options.vector, options.step},
            .range = options.range,
            .preset = options.preset,
            .opacity = options.opacity,
            .turn = options.turn,
            .zoom = options.zoom,
            .size = options.size,
            .perspective = options.perspective,
            .plain = options.plain};
}

/// The file and the module that reads it, if one does. @throws Error for files that are no data
std::pair<session::FileStart, const session::ModuleFile*> open_file(const std::string& name) {
    auto file = session::read_file_start(name);
    if (!file) throw Error("cannot open " + name);
    const std::string& start = file->bytes;
    if (session::is_network(start)) throw Error(name + ": this is a network");
    if (session::is_png(start) || session::is_vtk(start))
        throw Error(name + ": files of this kind are written, not read");
    const bool dump = start.starts_with('{') || !session::first_key(start).empty();
    const bool data = dump || session::data_file_kind(start);
    const auto* reader = data ? nullptr : session::find_module_file(start);
    if (!data && !reader && !session::is_capture_file(start)) throw Error(name + " is of no kind that is read");
    return {std::move(*file), reader};
}

/// Throws what went wrong, or what the module that reads the file has said of it.
[[noreturn]] void throw_unreadable(const std::string& file, const char* what, const Network::State& heard) {
    if (*what != '\0') throw Error(file + ": " + what);
    const std::string said = Outcome{heard.reports}.errors();
    if (!said.empty()) throw Reported(said);
    throw Error(file + ": it holds no field");
}

}  // namespace

Field Session::read(const std::string& name, const Json& options) {
    const Turn turn(*state_);
    return guarded([&] {
        const auto [file, reader] = open_file(name);
        auto value = options.text.empty() ? session::Json::object() : session::Json::parse(options.text);
        if (!reader) {
            value["data_file"] = name;
            return to_public(*read_field(name, value.dump(), {}));
        }
        Network::State heard(state_);
        try {
            const auto source = open_module_file(file, *reader, {state_->definitions, *state_->library, heard});
            const int step = value.value("step", 0);
            if (value.size() > value.count("step") || step < 0 || step >= source->steps())
                throw Error(name + ": of files of this kind only a step from 0 to " +
                            std::to_string(source->steps() - 1) + " can be chosen");
            source->go_to(step);
            return to_public(*source->field());
        } catch (const session::ViewError& error) {
            throw_unreadable(name, error.what(), heard);
        }
    });
}

namespace {

/// Fills a view by a plan.
/// @param name       of the network, for messages
/// @param directory  where its relative file names start
void follow(const session::ViewPlan& plan, const std::string& name, const std::string& directory,
            std::span<const session::NumberArray> lent, Network::State& network, View& view) {
    session::Problems problems;
    session::Document document(name, plan.network);
    session::NetworkOptions options;
    options.lent = lent;
    if (document.parse(problems))
        network.network = network_from(document, directory, options, network.session->definitions, problems);
    throw_problems(problems);
    network.written = WrittenNetwork(plan.network);
    view.facts = plan.facts;
    view.notes = plan.notes;
}

}  // namespace

std::string fault_of(const ViewOptions& options) { return fault_of(to_session(options)); }

View Session::view(const std::string& name, const ViewOptions& options, Callbacks callbacks) {
    View view{network(), {}, {}, {}};
    Network::State& state = *view.network.state_;
    view.network.listen(std::move(callbacks));
    const Turn turn(*state_);
    heard(state, [&] {
        const auto wanted = to_session(options);
        if (const std::string fault = fault_of(wanted); !fault.empty()) throw Error(fault);
        const auto [file, reader] = open_file(name);
        try {
            const auto plan =
                plan_file(file, reader, options.directory, wanted, {state_->definitions, *state_->library, state});
            follow(plan, "the network for " + name, options.directory, {}, state, view);
            view.text = plan.network;
        } catch (const session::ViewError& error) {
            throw_unreadable(name, error.what(), state);
        }
    });
    return view;
}

View Session::view(const Field& field, const ViewOptions& options) {
    View view{network(), {}, {}, {}};
    const Turn turn(*state_);
    guarded([&] {
        const auto wanted = to_session(options);
        if (const std::string fault = fault_of(wanted); !fault.empty()) throw Error(fault);
        const WrittenValue written{Value(field)};
        FieldAtHand source(written);
        follow(plan_view(source, wanted), "view", {}, written.arrays(), *view.network.state_, view);
    });
    return view;
}

}  // namespace zam
