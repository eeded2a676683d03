// An output of a network as pages see it: its entry in the network, its picture, its drawing, the values in it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "runner/serve/preview.h"
#include "zam/session.h"

namespace zam::runner {

/// An entry of "write".
struct OutputEntry {
    enum class Kind { picture, drawing, other };  // drawings have lines or letters

    std::string file;
    Kind kind = Kind::other;
    std::string from;             // the reference
    std::string image;            // reference to the image in it; empty: there is none
    nlohmann::ordered_json json;  // as it is written

    /// The module that makes it.
    std::string module() const { return image_or_from().substr(0, image_or_from().find('.')); }
    const std::string& image_or_from() const { return image.empty() ? from : image; }
};

/// The outputs that a network file names: at the end, then in events; those that show the same thing once.
std::vector<OutputEntry> outputs_of(const nlohmann::ordered_json& network);

/// An output as it was drawn.
struct ShownOutput {
    std::string name;
    std::uint64_t version = 0;
    bool full = true;
    Size size;                                            // of the picture
    Size full_size;                                       // of the picture in full
    std::shared_ptr<const std::string> picture, drawing;  // .png and .svg; null: it is no such thing
    std::optional<std::array<double, 4>> inside;  // where the picture lies in the drawing, in parts of its sides
    std::optional<Field> image;                   // whose pixels the picture shows
    bool first_row_is_lowest = false;
};

/// Draws an output of a network that has run.
/// @param full  with what stands around its picture
/// @throws Error  if there is nothing to be drawn
ShownOutput draw(Network& network, const OutputEntry& entry, bool full);

/// What a picture shows at a pixel of the picture in full, for people.
std::string value_at(const ShownOutput& shown, int x, int y);

}  // namespace zam::runner
