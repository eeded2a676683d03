// Writers of output files. Each throws RunError if the object does not suit the kind of file or the file cannot be
// written; then no file of that name is made or changed.
#pragma once

#include <optional>
#include <string>

#include "contract/types.h"
#include "session/network/network.h"
#include "session/outputs/image.h"
#include "session/outputs/output_file.h"
#include "session/outputs/webp_file.h"

namespace zam::session {

/// Writes what an output names, as the ending of the file name says.
/// @param network  whose definitions say which way up images are
/// @param directory  where relative names go
/// @return what was written, for people: "out/orbital.png 640 × 640"; empty for the standard output
std::string write_output(const Output& output, const Network& network, const std::string& directory);

/// Adds what an output names at this moment to the frames of its animation.
/// @param milliseconds  when it is to be shown
void add_frame(const Output& output, const Network& network, int milliseconds, WebpFrames& frames);
/// Writes an animation.
/// @param milliseconds  its length
/// @return what was written, as write_output() says it
std::string write_frames(const Output& output, const std::string& directory, int milliseconds, WebpFrames& frames);

/// Any object as JSON.
void write_json(OMobj_id object, OutputFile& file);

/// The values of an array, or of one component of a field, little-endian.
void write_raw(OMobj_id object, int component, OutputFile& file);

/// An image field: 2-D, component 0 of veclen 4 or 5 with the bytes opacity, red, green, blue first.
void write_png(OMobj_id object, const ImageStyle& style, OutputFile& file);

/// The same picture, its first row on top, as the bytes of a PNG file.
std::string encode_png(OMobj_id object);

/// A field's lines, or its points where it has none, as vector graphics.
/// @param under   image field drawn beneath
/// @param origin  where the first row of that image belongs
/// @param points  field of points on top; their labels are the characters of component 0
void write_svg(OMobj_id object, const std::optional<OMobj_id>& under, ImageOrigin origin,
               const std::optional<OMobj_id>& points, OutputFile& file);

/// A field as a VTK XML file of the kind that suits its grid type. The field's transform is not applied.
void write_vtk(OMobj_id object, OutputKind kind, OutputFile& file);

}  // namespace zam::session
