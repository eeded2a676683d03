#include "session/outputs/outputs.h"

#include <cmath>
#include <filesystem>

#include "base/element_types.h"
#include "base/file_path.h"
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
ImageOrigin image_origin(const Output& output, const ImageHolder& holder) {
    return output.origin.value_or(holder.parameter ? holder.parameter->origin : ImageOrigin::upper);
}

/// White paper, or the colour that the picture is composited over.
PageStyle page_style(const Output& output) {
    PageStyle style;
    style.same_size = output.in_frames;
    if (!output.background) return style;
    const auto& [red, green, blue] = *output.background;
    const double brightness = 0.3 * red + 0.59 * green + 0.11 * blue;
    style.paper = {static_cast<std::uint8_t>(std::lround(255 * red)),
                   static_cast<std::uint8_t>(std::lround(255 * green)),
                   static_cast<std::uint8_t>(std::lround(255 * blue))};
    if (brightness < 0.5) style.ink = {235, 235, 235};
    return style;
}

/// What an output wants to have around an image, as far as the image has it.
Surroundings surroundings(const Output& output, OMobj_id image, const ImageHolder& holder) {
    Surroundings around{{}, {}, page_style(output)};
    if (output.legend) around.legend = read_legend(holder);
    if (output.axes) around.axes = read_axes(holder, image, image_origin(output, holder));
    return around;
}

/// What is said where an image has nothing to show of what was asked for.
void note_missing(OMobj_id image, bool legend, bool axes, std::vector<std::string>& notes) {
    const std::string name = host::path(image);
    if (legend) notes.push_back(name + ": no legend: its colours stand for no known values");
    if (axes) notes.push_back(name + ": no axes: it shows no known plane");
}

void write_drawing(const Output& output, OMobj_id object, const Network& network, OutputFile& file,
                   std::vector<std::string>& notes) {
    Drawing drawing{.object = object, .under = resolve(output.under), .points = resolve(output.points)};
    const OMobj_id image = drawing.under.value_or(object);
    const ImageHolder holder = holder_of(image, network);
    const bool image_alone = !drawing.under && is_image_field(object);
    drawing.origin = image_origin(output, holder);
    drawing.axes = output.axes && !image_alone;  // lines and points have coordinates
    const Surroundings around = surroundings(output, image, holder);
    write_svg(drawing, around, file);
    note_missing(image, output.legend && !around.legend, output.axes && image_alone && !around.axes, notes);
}

/// Calls `use(picture)` with what an output makes of an image.
template <class Use>
void with_picture(const Output& output, OMobj_id object, const Network& network, std::vector<std::string>& notes,
                  Use use) {
    const ImageHolder holder = holder_of(object, network);
    const ImageStyle style{image_origin(output, holder), output.alpha, output.background};
    const ImagePicture picture(Image(object, output.kind == OutputKind::png ? ".png" : ".webp"), style);
    const Surroundings around = surroundings(output, object, holder);
    note_missing(object, output.legend && !around.legend, output.axes && !around.axes, notes);
    if (!around.any()) return use(picture);
    use(PagePicture(picture, around));
}

void write_picture(const Output& output, const Picture& picture, OutputFile& file) {
    if (output.kind == OutputKind::png) return write_png(picture, file);
    file.write(encode_webp(picture));
}

std::string bytes_text(const std::string& path) {
    std::error_code error;
    const auto bytes = std::filesystem::file_size(file_path(path), error);  // devices have none
    return error ? "" : std::to_string(bytes) + " bytes";
}

std::string dims_text(const std::vector<xp_long>& dims) {
    std::string text;
    for (const xp_long dim : dims) text += (text.empty() ? "" : " × ") + std::to_string(dim);
    return text;
}

/// Writes an object as an output has it.
/// @return the sides of pictures and grids; empty of others, of which bytes say more
std::vector<xp_long> write_object(const Output& output, OMobj_id object, const Network& network, OutputFile& file,
                                  std::vector<std::string>& notes) {
    std::vector<xp_long> dims;
    switch (output.kind) {
        case OutputKind::png:
        case OutputKind::webp:
            with_picture(output, object, network, notes, [&](const Picture& picture) {
                write_picture(output, picture, file);
                dims = {picture.width(), picture.height()};
            });
            break;
        case OutputKind::json: write_json(object, file); break;
        case OutputKind::raw: write_raw(object, output.component, file); break;
        case OutputKind::svg: write_drawing(output, object, network, file, notes); break;
        case OutputKind::vti:
        case OutputKind::vtr:
        case OutputKind::vts: dims = read_shape(object).dims; [[fallthrough]];
        case OutputKind::vtu: write_vtk(object, output.kind, file); break;
    }
    return dims;
}

}  // namespace

std::string write_output(const Output& output, const Network& network, const std::string& directory,
                         std::vector<std::string>& notes) {
    const OMobj_id object = resolve(output.from);
    OutputFile file(directory, output.file);
    const auto dims = write_object(output, object, network, file, notes);
    file.commit();
    return file.path().empty() ? "" : file.path() + " " + (dims.empty() ? bytes_text(file.path()) : dims_text(dims));
}

std::string encode_output(const Output& output, const Network& network, std::vector<std::string>& notes) {
    std::string bytes;
    OutputFile file(bytes);
    write_object(output, resolve(output.from), network, file, notes);
    return bytes;
}

void use_picture(const Output& output, const Network& network, std::vector<std::string>& notes,
                 const std::function<void(const Picture&)>& use) {
    with_picture(output, resolve(output.from), network, notes, use);
}

void add_frame(const Output& output, const Network& network, int milliseconds, WebpFrames& frames,
               std::vector<std::string>& notes) {
    use_picture(output, network, notes,
                [&](const Picture& picture) { frames.add(encode_webp(picture), milliseconds); });
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
