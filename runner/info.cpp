// `zam info`: what a data file holds, read by the module that reads such files.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/element_types.h"
#include "contract/om.h"
#include "embedded/host.h"
#include "runner/commands.h"
#include "runner/console.h"
#include "runner/file_kinds.h"
#include "session/objects/field_access.h"
#include "session/outputs/json_writer.h"
#include "session/run/library.h"
#include "session/run/session.h"
#include "session/values/transforms.h"

namespace zam::runner {

using namespace session;

namespace {

constexpr int kMaxTimeTexts = 16;  // each step has to be read to know its time

std::string joined(const float* values, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) append_number(text += i > 0 ? " " : "", DTYPE_FLOAT, values + i);
    return text;
}

void print_mesh(OMobj_id field) {
    const FieldShape shape = read_shape(field);
    std::string dims;
    for (const xp_long dim : shape.dims) dims += (dims.empty() ? "" : " x ") + std::to_string(dim);
    const std::string nodes = std::to_string(shape.nnodes);
    print_fact("grid", std::string(grid_type_name(shape)));
    dims.empty() ? print_fact("nodes", nodes) : print_fact("dims", dims + " (" + nodes + " nodes)");
    print_fact("space", std::to_string(shape.nspace));
    Vector minimum{};
    Vector maximum{};
    if (FLDget_coord_extent(field, minimum.data(), maximum.data()) == 1) {
        print_fact("extent", joined(minimum.data(), shape.nspace) + " to " + joined(maximum.data(), shape.nspace));
    }
}

void print_components(OMobj_id field) {
    for (int comp = 0; comp < component_count(field); ++comp) {
        const ComponentHeader header = read_component_header(field, comp);
        const int type = header.type.value_or(DTYPE_FLOAT);
        std::string text = std::to_string(comp) + ": " + std::string(type_name(type)) + ", veclen " +
                           std::to_string(header.veclen) + ", label " + json_text(header.label) + ", units " +
                           json_text(header.units);
        if (const auto limits = read_limits(field, comp)) {
            append_number(text += ", min ", type, limits->minimum);
            append_number(text += ", max ", type, limits->maximum);
        }
        print_fact("component", text);
    }
}

/// "3 Tri", one line per cell set.
void print_cells(OMobj_id field) {
    int count = 0;
    FLDget_ncell_sets(field, &count);
    for (int i = 0; i < count; ++i) {
        OMobj_id cells{};
        if (FLDget_cell_set(field, i, &cells) != 1) continue;
        std::array<char, FLD_LABEL_SIZE> name{};
        xp_long ncells = 0;
        xp_long npolys = 0;
        FLDget_cell_set_name(cells, name.data(), FLD_LABEL_SIZE);
        FLDget_ncells(cells, &ncells);
        FLDget_npolys(cells, &npolys);
        print_fact("cells", std::to_string(std::max(ncells, npolys)) + " " + name.data());
    }
}

/// The time of the current step as JSON; empty when the file has none.
std::string time_text(OMobj_id instance, const FileKind& kind) {
    const OMobj_id object = host::find(instance, kind.reader->time);
    std::string result;
    if (double value = 0.0; host::kind(object) == host::Kind::real && OMget_real_val(object, &value) == 1)
        append_number(result, DTYPE_DOUBLE, &value);
    if (char* text = nullptr; host::kind(object) == host::Kind::text && OMget_str_val(object, &text, 0) == 1) {
        if (*text != '\0') result = json_text(text);
        std::free(text);
    }
    return result;
}

/// The number of time steps and their times, by stepping through the first of them.
void print_steps(Session& session, const FileKind& kind, const Definition& definition, OMobj_id instance) {
    int nsteps = 1;
    OMget_name_int_val(instance, OMstr_to_name("nsteps"), &nsteps);
    std::string times = time_text(instance, kind);
    const Parameter* stepno = definition.find_parameter("stepno");
    for (int step = 2; stepno && step <= std::min(nsteps, kMaxTimeTexts); ++step) {
        const SilentOutput silent;
        session.set({{0, stepno, {step}, {}}});
        const std::string time = time_text(instance, kind);
        if (!time.empty()) times += (times.empty() ? "" : " ") + time;
    }
    if (nsteps > kMaxTimeTexts) times += " ...";
    print_fact("time steps", std::to_string(nsteps) + (times.empty() ? "" : ": " + times));
}

void print_contents(Session& session, const FileKind& kind, const Definition& definition, OMobj_id instance) {
    const OMobj_id out = host::find(instance, kind.reader->output);
    print_mesh(out);
    print_components(out);
    print_steps(session, kind, definition, instance);
}

/// A network of the module that reads the file.
Network reading_network(const FileKind& kind, const FileStart& file, const Definition& definition) {
    Network network;
    network.add({definition.module, &definition, {}, {}});
    for (auto& [name, value] : kind.reader->parameters(file))
        network.instances[0].given.push_back({0, definition.find_parameter(name), std::move(value), {}});
    return network;
}

int fail(const std::string& what) {
    print_error(one_line(what));
    return kFailed;
}

/// A file that is described without a run of a module.
int describe(const FileKind& kind, const FileStart& file, Console& console) {
    host::reset();
    host::set_recorder([&](const host::Record& record) { console.record(record); });
    const OMobj_id field = host::create(host::root(), "file", host::Kind::field);
    const Description description = kind.describe(file, field);
    host::set_recorder(nullptr);
    if (console.failed()) return kFailed;
    // what is on the standard error stream by now does not name the file
    if (!description.fault.empty()) return fail(file.name + " " + description.fault);
    print_fact("file", file.name + " (" + std::string(kind.name) + ")");
    for (const auto& array : description.arrays) print_fact("array", array);
    if (description.arrays.empty()) {
        print_mesh(field);
        print_components(field);
        print_cells(field);
    }
    for (const auto& [what, text] : description.lines) print_fact(what, text);
    for (const auto& note : description.notes) console.note(note);
    if (!description.warning.empty()) console.warning(description.warning);
    host::reset();
    return kAllWell;
}

}  // namespace

int show_info(const std::string& name) {
    const auto file = read_file_start(name);
    if (!file) return fail("cannot open " + name);
    const FileKind* kind = find_file_kind(*file);
    if (!kind && is_network(file->bytes)) return fail(name + " is a network; try: zam run " + name);
    if (!kind) return fail(name + " is of no kind that a module reads");
    Console console(true, name);
    if (kind->describe) return describe(*kind, *file, console);
    const auto definitions = load_definitions();
    const auto* definition = definitions ? definitions->by_entry(kind->reader->entry) : nullptr;
    const auto library = definition ? load_library() : nullptr;
    if (!library) return kWrong;

    const Network network = reading_network(*kind, *file, *definition);
    CallLog log;
    Session session(network, *library, console, log);
    if (!session.has_entries()) return kWrong;
    {
        const SilentOutput silent;
        session.build();
        session.run_changed();
    }
    const OMobj_id instance = host::find(host::root(), definition->module);
    const bool was_read = !console.failed() && !read_shape(host::find(instance, kind->reader->output)).dims.empty();
    if (!was_read && !console.failed()) {
        console.error("cannot be read as " + std::string(kind->name));
    } else if (was_read) {
        print_fact("file", name + " (" + std::string(kind->name) + ")");
        print_contents(session, *kind, *definition, instance);
    }
    session.end();
    return was_read && !console.failed() ? kAllWell : kFailed;
}

}  // namespace zam::runner
