// Writers of output files. Each throws RunError if the object does not suit the kind of file or the file cannot be
// written; then no file of that name is made or changed.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "contract/types.h"
#include "session/network/network.h"
#include "session/outputs/legend.h"
#include "session/outputs/output_file.h"
#include "session/outputs/picture.h"
#include "session/outputs/webp_file.h"

namespace zam::session {

/// Writes what an output names, as the ending of the file name says.
/// @param network  whose definitions say which way up images are
/// @param directory  where relative names go
/// @param notes      receives what was asked for and left out
/// @return what was written, for people: "out/orbital.png 640 × 640"; empty for the standard output
std::string write_output(const Output& output, const Network& network, const std::string& directory,
                         std::vector<std::string>& notes);

/// The bytes that write_output() writes, without a file.
std::string encode_output(const Output& output, const Network& network, std::vector<std::string>& notes);

/// Calls `use` with the picture that an output makes of an image field.
/// @param notes  receives what was asked for and left out
void use_picture(const Output& output, const Network& network, std::vector<std::string>& notes,
                 const std::function<void(const Picture&)>& use);

/// Adds what an output names at this moment to the frames of its animation.
/// @param milliseconds  when it is to be shown
/// @param notes         receives what was asked for and left out
void add_frame(const Output& output, const Network& network, int milliseconds, WebpFrames& frames,
               std::vector<std::string>& notes);
/// Writes an animation.
/// @param milliseconds  its length
/// @return what was written, as write_output() says it
std::string write_frames(const Output& output, const std::string& directory, int milliseconds, WebpFrames& frames);

/// Any object as JSON.
void write_json(OMobj_id object, OutputFile& file);

/// The values of an array, or of one component of a field, little-endian.
void write_raw(OMobj_id object, int component, OutputFile& file);

void write_png(const Picture& picture, OutputFile& file);
/// The same as bytes.
std::string encode_png(const Picture& picture);

/// What a drawing shows.
struct Drawing {
    OMobj_id object{};                        // a field's lines, or its points where it has none; or an image
    std::optional<OMobj_id> under = {};       // image field drawn beneath
    ImageOrigin origin = ImageOrigin::upper;  // where the first row of the image belongs
    bool axes = false;                        // of its own coordinates, where no others stand around it
    std::optional<OMobj_id> points = {};      // field of points on top; their labels are component 0's characters
};
/// A drawing as vector graphics, with what stands around it.
void write_svg(const Drawing& drawing, const Surroundings& around, OutputFile& file);

/// A field as a VTK XML file of the kind that suits its grid type. The field's transform is not applied.
void write_vtk(OMobj_id object, OutputKind kind, OutputFile& file);

}  // namespace zam::session
