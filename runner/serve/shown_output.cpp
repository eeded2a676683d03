#include "runner/serve/shown_output.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "runner/serve/json_text.h"
#include "session/network/network.h"

namespace zam::runner {
namespace {

bool flag(const Json& entry, const char* name) { return entry.is_object() && entry.value(name, Json()) == true; }

std::string text_member(const Json& entry, const char* name) {
    const auto found = entry.is_object() ? entry.find(name) : entry.end();
    return entry.is_object() && found != entry.end() && found->is_string() ? found->get<std::string>() : "";
}

std::optional<OutputEntry> read_entry(const std::string& file, const Json& json) {
    OutputEntry entry{.file = file,
                      .from = json.is_string() ? json.get<std::string>() : text_member(json, "from"),
                      .image = {},
                      .json = json};
    const std::string as = text_member(json, "as");
    const auto kind = session::output_kind(as.empty() ? file : as);
    if (!kind || entry.from.empty()) return std::nullopt;
    const bool letters = flag(json, "legend") || flag(json, "axes");
    if (*kind == session::OutputKind::png || *kind == session::OutputKind::webp) {
        entry.kind = letters ? OutputEntry::Kind::drawing : OutputEntry::Kind::picture;
        entry.image = entry.from;
    } else if (*kind == session::OutputKind::svg) {
        entry.kind = OutputEntry::Kind::drawing;
        entry.image = text_member(json, "under");
    }
    return entry;
}

void add_entries(const Json& write, std::vector<OutputEntry>& outputs) {
    if (!write.is_object()) return;
    for (const auto& [file, json] : write.items()) {
        auto entry = read_entry(file, json);
        const auto same = [&entry](const OutputEntry& other) {
            return other.file == entry->file || (other.json == entry->json && other.kind == entry->kind);
        };
        if (entry && std::none_of(outputs.begin(), outputs.end(), same)) outputs.push_back(std::move(*entry));
    }
}

/// The entry's options that count for its picture alone, without what stands around it.
Json bare(const OutputEntry& entry) {
    Json json{{"from", entry.image}};
    for (const char* option : {"origin", "alpha", "background"}) {
        const auto found = entry.json.is_object() ? entry.json.find(option) : entry.json.end();
        if (entry.json.is_object() && found != entry.json.end()) json[option] = *found;
    }
    return json;
}

/// The entry's options as those of an .svg file, which has no others.
Json as_drawing(const OutputEntry& entry) {
    Json json{{"from", entry.from}};
    for (const char* option : {"origin", "legend", "axes", "under", "points"}) {
        const auto found = entry.json.is_object() ? entry.json.find(option) : entry.json.end();
        if (entry.json.is_object() && found != entry.json.end()) json[option] = *found;
    }
    return json;
}

// --- Where the picture lies in a drawing ---

/// The numbers of an attribute; those that are not there are 0.
std::array<double, 4> numbers(std::string_view element, const std::string& attribute) {
    std::array<double, 4> values{};
    const auto found = element.find(" " + attribute + "=\"");
    if (found == std::string_view::npos) return values;
    std::string_view rest = element.substr(found + attribute.size() + 3);
    for (double& value : values) {
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
        if (error != std::errc() || end == rest.data() + rest.size() || *end != ' ') break;
        rest.remove_prefix(static_cast<std::size_t>(end - rest.data()) + 1);
    }
    return values;
}

/// Where the image of a drawing lies, in parts of the drawing's sides. Knows how write_svg() builds its files: a
/// picture, or one within a page, and in it the image.
std::optional<std::array<double, 4>> image_place(std::string_view svg) {
    const auto image_start = svg.find("<image ");
    if (image_start == std::string_view::npos) return std::nullopt;
    const std::string_view before = svg.substr(0, image_start);
    const std::string_view image = svg.substr(image_start, svg.find("xlink:href", image_start) - image_start);
    const auto head = before.find("<svg ");
    const auto inner = before.find("<svg ", head + 1);
    const std::string_view frame = before.substr(inner == std::string_view::npos ? head : inner);
    const auto box = numbers(frame, "viewBox");
    if (!(box[2] > 0 && box[3] > 0)) return std::nullopt;
    std::array<double, 4> place{(numbers(image, "x")[0] - box[0]) / box[2], 0, numbers(image, "width")[0] / box[2],
                                numbers(image, "height")[0] / box[3]};
    // one that is drawn upside down is named by its lower side, upward
    const double y = numbers(image, "y")[0];
    const bool flipped = image.find("scale(1 -1)") != std::string_view::npos;
    place[1] = ((flipped ? -y - numbers(image, "height")[0] : y) - box[1]) / box[3];
    if (inner == std::string_view::npos) return place;
    const auto page = numbers(before.substr(head), "viewBox");
    const double width = numbers(frame, "width")[0] / page[2];
    const double height = numbers(frame, "height")[0] / page[3];
    return std::array{numbers(frame, "x")[0] / page[2] + place[0] * width,
                      numbers(frame, "y")[0] / page[3] + place[1] * height, place[2] * width, place[3] * height};
}

}  // namespace

std::vector<OutputEntry> outputs_of(const Json& network) {
    std::vector<OutputEntry> outputs;
    add_entries(network.value("write", Json()), outputs);
    for (const auto& event : network.value("events", Json::array())) add_entries(event.value("write", Json()), outputs);
    return outputs;
}

ShownOutput draw(Network& network, const OutputEntry& entry, bool full) {
    ShownOutput shown;
    shown.name = entry.file;
    shown.full = full;
    if (!entry.image.empty()) {
        Field image = network.field(entry.image);
        if (image.dims.size() != 2) throw Error(entry.image + " is no image");
        shown.size = {static_cast<int>(image.dims[0]), static_cast<int>(image.dims[1])};
        shown.full_size = shown.size;
        shown.first_row_is_lowest = image.first_row_is_lowest;
        if (const std::string origin = text_member(entry.json, "origin"); !origin.empty())
            shown.first_row_is_lowest = origin == "lower";
        shown.image = std::move(image);
        const std::string picture = network.encode("picture.png", zam::Json{bare(entry).dump()});
        shown.picture = std::make_shared<const std::string>(picture);
    }
    if (entry.kind == OutputEntry::Kind::drawing && full) {
        const std::string drawing = network.encode("drawing.svg", zam::Json{as_drawing(entry).dump()});
        shown.inside = image_place(drawing);
        shown.drawing = std::make_shared<const std::string>(drawing);
    }
    return shown;
}

std::string value_at(const ShownOutput& shown, int x, int y) {
    if (!shown.image || x < 0 || y < 0 || x >= shown.full_size.width || y >= shown.full_size.height) return {};
    const auto column = static_cast<std::int64_t>(x) * shown.size.width / shown.full_size.width;
    auto row = static_cast<std::int64_t>(y) * shown.size.height / shown.full_size.height;
    if (shown.first_row_is_lowest) row = shown.size.height - 1 - row;
    const auto node = static_cast<std::size_t>(row * shown.size.width + column);
    const Component& component = shown.image->data.at(0);
    const auto veclen = static_cast<std::size_t>(component.veclen);
    std::string text = "pixel " + std::to_string(x) + ", " + std::to_string(y);
    if (component.values.type() != Type::Byte || veclen < 4 || component.values.size() < (node + 1) * veclen)
        return text;
    const auto values = component.values.as<std::uint8_t>().subspan(node * veclen, 4);
    constexpr std::string_view kNames[] = {"opacity", "red", "green", "blue"};
    for (std::size_t i = 0; i < 4; ++i)
        text += (i == 0 ? ": " : ", ") + std::string(kNames[i]) + " " + std::to_string(values[i]);
    return text;
}

}  // namespace zam::runner
