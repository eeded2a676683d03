// `zam info`: what a data file holds, read by the module that reads such files.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "contract/file.h"
#include "contract/om.h"
#include "embedded/host.h"
#include "runner/commands.h"
#include "runner/element_types.h"
#include "runner/field_access.h"
#include "runner/json_writer.h"
#include "runner/library.h"
#include "runner/session.h"
#include "runner/transforms.h"

namespace zam::runner {
namespace {

constexpr int kMostTimeTexts = 16;  // each step has to be read to know its time

/// How files of a kind begin, and who reads them.
struct FileKind {
    std::string_view beginning, name, entry, parameter;
};
constexpr FileKind kFileKinds[] = {{"# AVS", "field file", "DVLDread_field_update", "filename"}};

/// The kind of a file by its first bytes; null, with a message, for other files.
const FileKind* file_kind(const std::string& name) {
    const FileHandle file(FILEfopen(name.c_str(), "rb"));
    if (!file) {
        std::fprintf(stderr, "zam: error: cannot open %s\n", name.c_str());
        return nullptr;
    }
    std::array<char, 16> bytes{};
    const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), file.get());
    for (const auto& kind : kFileKinds) {
        if (std::string_view(bytes.data(), count).starts_with(kind.beginning)) return &kind;
    }
    std::fprintf(stderr, "zam: error: %s is of no kind that a module reads\n", name.c_str());
    return nullptr;
}

std::string joined(const float* values, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) append_number(text += i > 0 ? " " : "", DTYPE_FLOAT, values + i);
    return text;
}

void print_line(const char* what, const std::string& text) { std::printf("%-11s %s\n", what, text.c_str()); }

void print_mesh(OMobj_id field) {
    const FieldShape shape = read_shape(field);
    std::string dims;
    for (const xp_long dim : shape.dims) dims += (dims.empty() ? "" : " x ") + std::to_string(dim);
    print_line("grid", std::string(grid_type_name(shape)));
    print_line("dims", dims + " (" + std::to_string(shape.nnodes) + " nodes)");
    print_line("space", std::to_string(shape.nspace));
    Vector minimum{};
    Vector maximum{};
    if (FLDget_coord_extent(field, minimum.data(), maximum.data()) == 1) {
        print_line("extent", joined(minimum.data(), shape.nspace) + " to " + joined(maximum.data(), shape.nspace));
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
        print_line("component", text);
    }
}

std::string time_text(OMobj_id instance) {
    char* text = nullptr;
    const OMobj_id object = host::find(instance, "time_string");
    if (OMvalid_obj(object) == 1) OMget_str_val(object, &text, 0);
    std::string result = json_text(text ? text : "");
    std::free(text);
    return result;
}

/// The number of time steps and their times, by stepping through the first of them.
void print_steps(Session& session, const Definition& definition, OMobj_id instance) {
    int nsteps = 1;
    OMget_name_int_val(instance, OMstr_to_name("nsteps"), &nsteps);
    std::string times = time_text(instance);
    const Parameter* stepno = definition.find_parameter("stepno");
    for (int step = 2; stepno && step <= std::min(nsteps, kMostTimeTexts); ++step) {
        session.set({{0, stepno, {step}, {}}});
        times += " " + time_text(instance);
    }
    if (nsteps > kMostTimeTexts) times += " ...";
    print_line("time steps", std::to_string(nsteps) + (times == "\"\"" ? "" : ": " + times));
}

}  // namespace

int show_info(const std::string& file) {
    const auto* kind = file_kind(file);
    const auto definitions = kind ? load_definitions() : std::nullopt;
    const auto* definition = definitions ? definitions->by_entry(kind->entry) : nullptr;
    const auto library = definition ? load_library() : nullptr;
    if (!kind) return kFailed;
    if (!library) return kWrong;

    Network network;
    network.add({definition->module, definition, {}, {}});
    network.instances[0].given.push_back({0, definition->find_parameter(kind->parameter), {file}, {}});
    Console console(true);
    CallLog log;
    Session session(network, *library, console, log);
    if (!session.has_entries()) return kWrong;
    session.build();
    session.run_all();
    const OMobj_id instance = host::find(host::root(), definition->module);
    const OMobj_id out = host::find(instance, "out");
    if (!console.failed()) {
        print_line("file", file + " (" + std::string(kind->name) + ")");
        print_mesh(out);
        print_components(out);
        print_steps(session, *definition, instance);
    }
    session.end();
    return console.failed() ? kFailed : kAllWell;
}

}  // namespace zam::runner
