#include "session/outputs/outputs.h"

#include "base/element_types.h"
#include "contract/om.h"
#include "embedded/host.h"
#include "session/objects/field_access.h"
#include "session/objects/run_error.h"

namespace zam::session {
namespace {

/// What a reference names at this moment.
OMobj_id resolve(const Reference& reference) {
    const OMobj_id found = host::find(host::root(), reference.target);
    OMobj_id object = OMnull_obj();
    if (OMvalid_obj(found) == 1) OMget_obj_val(found, &object);
    if (OMvalid_obj(object) != 1) throw RunError(reference.target + " leads to nothing");
    return object;
}

std::optional<OMobj_id> resolve(const std::optional<Reference>& reference) {
    return reference ? std::optional(resolve(*reference)) : std::nullopt;
}

}  // namespace

void write_output(const Output& output, const std::string& directory) {
    const OMobj_id object = resolve(output.from);
    OutputFile file(directory, output.file);
    switch (output.kind) {
        case OutputKind::png: write_png(object, output, file); break;
        case OutputKind::json: write_json(object, file); break;
        case OutputKind::raw: write_raw(object, output.component, file); break;
        case OutputKind::svg: write_svg(object, resolve(output.under), resolve(output.points), file); break;
        case OutputKind::vti:
        case OutputKind::vtr:
        case OutputKind::vts:
        case OutputKind::vtu: write_vtk(object, output.kind, file); break;
    }
    file.commit();
}

void write_raw(OMobj_id object, int component, OutputFile& file) {
    if (host::kind(object) == host::Kind::field) {
        const LentValues node_values = read_node_values(object, component);
        if (!node_values.values) throw RunError("component " + std::to_string(component) + " has no values");
        return file.write_values(node_values.type, node_values.values.data(), node_values.values.count());
    }
    if (host::kind(object) != host::Kind::array) throw RunError("only arrays and fields are written as .raw");
    const LentValues array = read_array(object);
    file.write_values(array.type, array.values.data(), array.values.count());
}

}  // namespace zam::session
