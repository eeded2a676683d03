#include "session/outputs/outputs.h"

#include <filesystem>

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

/// Where the first row of an image belongs: as the output says, else as the definition of the parameter that holds it.
ImageOrigin image_origin(const Output& output, OMobj_id image, const Network& network) {
    if (output.origin) return *output.origin;
    const std::string path = host::path(image);
    const auto [module, name, rest] = split_reference(path);
    const auto number = network.find(module);
    const auto* parameter = number ? network.instances[*number].definition->find_parameter(name) : nullptr;
    return parameter ? parameter->origin : ImageOrigin::upper;
}

void write_drawing(const Output& output, OMobj_id object, const Network& network, OutputFile& file) {
    const auto under = resolve(output.under);
    const auto origin = under ? image_origin(output, *under, network) : ImageOrigin::upper;
    write_svg(object, under, origin, resolve(output.points), file);
}

ImageStyle image_style(const Output& output, OMobj_id image, const Network& network) {
    return {image_origin(output, image, network), output.alpha, output.background};
}

void write_picture(OMobj_id object, const ImageStyle& style, OutputFile& file) {
    WebpFrames frames;
    frames.add(Image(object, ".webp"), style, 0);
    frames.write(1, file);
}

std::string bytes_text(const std::string& path) {
    std::error_code error;
    const auto bytes = std::filesystem::file_size(path, error);  // devices have none
    return error ? "" : std::to_string(bytes) + " bytes";
}

/// The size of what became of an object: nodes per axis, or bytes where these say nothing.
std::string size_text(OMobj_id object, const Output& output, const std::string& path) {
    const bool is_grid = output.kind == OutputKind::png || output.kind == OutputKind::vti ||
                         output.kind == OutputKind::vtr || output.kind == OutputKind::vts;
    std::string text;
    if (is_grid) {
        for (const xp_long dim : read_shape(object).dims) text += (text.empty() ? "" : " × ") + std::to_string(dim);
        return text;
    }
    return bytes_text(path);
}

}  // namespace

std::string write_output(const Output& output, const Network& network, const std::string& directory) {
    const OMobj_id object = resolve(output.from);
    OutputFile file(directory, output.file);
    switch (output.kind) {
        case OutputKind::png: write_png(object, image_style(output, object, network), file); break;
        case OutputKind::webp: write_picture(object, image_style(output, object, network), file); break;
        case OutputKind::json: write_json(object, file); break;
        case OutputKind::raw: write_raw(object, output.component, file); break;
        case OutputKind::svg: write_drawing(output, object, network, file); break;
        case OutputKind::vti:
        case OutputKind::vtr:
        case OutputKind::vts:
        case OutputKind::vtu: write_vtk(object, output.kind, file); break;
    }
    file.commit();
    return file.path().empty() ? "" : file.path() + " " + size_text(object, output, file.path());
}

void add_frame(const Output& output, const Network& network, int milliseconds, WebpFrames& frames) {
    const OMobj_id object = resolve(output.from);
    frames.add(Image(object, ".webp"), image_style(output, object, network), milliseconds);
}

std::string write_frames(const Output& output, const std::string& directory, int milliseconds, WebpFrames& frames) {
    OutputFile file(directory, output.file);
    frames.write(milliseconds, file);
    file.commit();
    return file.path().empty() ? "" : file.path() + " " + bytes_text(file.path());
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
