#include "session/values/color_tables.h"

#include <cmath>
#include <span>
#include <vector>

namespace zam::session {
namespace {

/// A point of a curve: the value at an index of the table.
struct CurvePoint {
    double index, value;
};

/// A colour at an index; between two of them the colours are joined linearly.
struct Stop {
    double index, red, green, blue;
};

constexpr Stop kGray[] = {{0, 0, 0, 0}, {255, 255, 255, 255}};
constexpr Stop kBone[] = {{0, 0, 0, 0}, {93, 81, 81, 113}, {190, 166, 198, 198}, {255, 255, 255, 255}};
constexpr Stop kHeat[] = {{0, 0, 0, 0}, {96, 255, 0, 0}, {191, 255, 255, 0}, {255, 255, 255, 255}};
constexpr Stop kRainbow[] = {{0, 0, 0, 255}, {64, 0, 255, 255}, {128, 0, 255, 0}, {191, 255, 255, 0}, {255, 255, 0, 0}};

struct StopPreset {
    std::string_view name;
    std::span<const Stop> stops;
};
constexpr StopPreset kStopPresets[] = {{"gray", kGray}, {"bone", kBone}, {"heat", kHeat}, {"rainbow", kRainbow}};

// Viridis, by S. van der Walt and N. Smith (public domain): red, green and blue of the 256 entries in hexadecimal.
constexpr std::string_view kViridis =
    "44015444025645045745055946075a46085c460a5d460b5e470d60470e61471063471164471365481467481668481769"
    "48186a481a6c481b6d481c6e481d6f481f70482071482173482374482475482576482677482878482979472a7a472c7a"
    "472d7b472e7c472f7d46307e46327e46337f463480453581453781453882443983443a83443b84433d84433e85423f85"
    "4240864241864142874144874045884046883f47883f48893e49893e4a893e4c8a3d4d8a3d4e8a3c4f8a3c508b3b518b"
    "3b528b3a538b3a548c39558c39568c38588c38598c375a8c375b8d365c8d365d8d355e8d355f8d34608d34618d33628d"
    "33638d32648e32658e31668e31678e31688e30698e306a8e2f6b8e2f6c8e2e6d8e2e6e8e2e6f8e2d708e2d718e2c718e"
    "2c728e2c738e2b748e2b758e2a768e2a778e2a788e29798e297a8e297b8e287c8e287d8e277e8e277f8e27808e26818e"
    "26828e26828e25838e25848e25858e24868e24878e23888e23898e238a8d228b8d228c8d228d8d218e8d218f8d21908d"
    "21918c20928c20928c20938c1f948c1f958b1f968b1f978b1f988b1f998a1f9a8a1e9b8a1e9c891e9d891f9e891f9f88"
    "1fa0881fa1881fa1871fa28720a38620a48621a58521a68522a78522a88423a98324aa8325ab8225ac8226ad8127ad81"
    "28ae8029af7f2ab07f2cb17e2db27d2eb37c2fb47c31b57b32b67a34b67935b77937b87838b9773aba763bbb753dbc74"
    "3fbc7340bd7242be7144bf7046c06f48c16e4ac16d4cc26c4ec36b50c46a52c56954c56856c66758c7655ac8645cc863"
    "5ec96260ca6063cb5f65cb5e67cc5c69cd5b6ccd5a6ece5870cf5773d05675d05477d1537ad1517cd2507fd34e81d34d"
    "84d44b86d54989d5488bd6468ed64590d74393d74195d84098d83e9bd93c9dd93ba0da39a2da37a5db36a8db34aadc32"
    "addc30b0dd2fb2dd2db5de2bb8de29bade28bddf26c0df25c2df23c5e021c8e020cae11fcde11dd0e11cd2e21bd5e21a"
    "d8e219dae319dde318dfe318e2e418e5e419e7e419eae51aece51befe51cf1e51df4e61ef6e620f8e621fbe723fde725";
static_assert(kViridis.size() == kTableSize * 6);

constexpr int hex_digit(char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; }

std::uint8_t viridis(std::size_t entry, std::size_t channel) {
    const std::size_t at = entry * 6 + channel * 2;
    return static_cast<std::uint8_t>(hex_digit(kViridis[at]) * 16 + hex_digit(kViridis[at + 1]));
}

/// Joins points with ascending indices.
Curve join(std::span<const CurvePoint> points) {
    Curve curve;
    std::size_t next = 0;  // first point at or after the entry
    for (std::size_t entry = 0; entry < kTableSize; ++entry) {
        const auto index = static_cast<double>(entry);
        while (next < points.size() && points[next].index < index) ++next;
        double value = 0.0;
        if (next == 0) {
            value = points.front().value;
        } else if (next == points.size()) {
            value = points.back().value;
        } else {
            const auto& [from, low] = points[next - 1];
            const auto& [to, high] = points[next];
            value = low + (high - low) * (index - from) / (to - from);
        }
        curve[entry] = static_cast<std::uint8_t>(std::lround(value));
    }
    return curve;
}

Curve join_channel(std::span<const Stop> stops, double Stop::*channel) {
    std::vector<CurvePoint> points;
    for (const auto& stop : stops) points.push_back({stop.index, stop.*channel});
    return join(points);
}

std::optional<double> as_real(const Number& number, double low, double high) {
    const double value = std::visit([](auto n) { return static_cast<double>(n); }, number);
    return value >= low && value <= high ? std::optional(value) : std::nullopt;
}

std::optional<Curve> read_entries(const Cursor& cursor, const Numbers& numbers) {
    Curve curve;
    for (std::size_t i = 0; i < kTableSize; ++i) {
        const auto value = as_real(numbers[i], 0, 255);
        if (!value) {
            cursor.problem("value " + std::to_string(i) + " is not from 0 to 255");
            return std::nullopt;
        }
        curve[i] = static_cast<std::uint8_t>(std::lround(*value));
    }
    return curve;
}

std::optional<CurvePoint> read_point(const Cursor& cursor) {
    const auto* numbers = cursor.get<Numbers>();
    const bool pair = numbers && numbers->size() == 2;
    const auto index = pair ? as_real((*numbers)[0], 0, 255) : std::nullopt;
    const auto value = pair ? as_real((*numbers)[1], 0, 255) : std::nullopt;
    if (index && value) return CurvePoint{*index, *value};
    cursor.problem("a point [index, value], both from 0 to 255, is expected");
    return std::nullopt;
}

}  // namespace

std::optional<ColorTable> preset_table(std::string_view name) {
    ColorTable table;
    for (std::size_t i = 0; i < kTableSize; ++i) table.alpha[i] = static_cast<std::uint8_t>(i);
    if (name == "viridis") {
        for (std::size_t i = 0; i < kTableSize; ++i) {
            table.red[i] = viridis(i, 0);
            table.green[i] = viridis(i, 1);
            table.blue[i] = viridis(i, 2);
        }
        return table;
    }
    for (const auto& preset : kStopPresets) {
        if (preset.name != name) continue;
        table.red = join_channel(preset.stops, &Stop::red);
        table.green = join_channel(preset.stops, &Stop::green);
        table.blue = join_channel(preset.stops, &Stop::blue);
        return table;
    }
    return std::nullopt;
}

std::vector<std::string_view> preset_names() {
    std::vector<std::string_view> names;
    for (const auto& preset : kStopPresets) names.push_back(preset.name);
    names.push_back("viridis");
    return names;
}

std::optional<Curve> read_curve(const Cursor& cursor) {
    const auto* numbers = cursor.get<Numbers>();
    if (numbers && numbers->size() == kTableSize) return read_entries(cursor, *numbers);
    const auto* elements = cursor.get<Elements>();
    if (!elements) {
        cursor.problem("a curve is 256 numbers or a list of points [index, value]");
        return std::nullopt;
    }
    std::vector<CurvePoint> points;
    for (std::size_t i = 0; i < elements->size(); ++i) {
        const auto point = read_point(cursor.at(i));
        if (!point) return std::nullopt;
        if (!points.empty() && point->index < points.back().index) {
            cursor.at(i).problem("the indices of a curve's points have to ascend");
            return std::nullopt;
        }
        points.push_back(*point);
    }
    return join(points);
}

}  // namespace zam::session
