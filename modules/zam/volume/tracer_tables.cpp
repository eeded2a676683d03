#include "modules/zam/volume/tracer_tables.h"

#include <cmath>

float pow_table[256];

namespace zam::tracer {

void fill_color_table(const ColorMap& map, std::span<TracerColor, kTableSize> table) {
    for (std::size_t i = 0; i < kTableSize; ++i) {
        table[i].opacity = static_cast<float>(map.alpha[i] / 255.0);
        table[i].red = static_cast<float>(map.red[i]);
        table[i].green = static_cast<float>(map.green[i]);
        table[i].blue = static_cast<float>(map.blue[i]);
    }
}

TracerColor classify(std::uint8_t value, const TracerColor* table) {
    if (table) return table[value];
    const auto grey = static_cast<float>(value);
    return {get_alpha(value, nullptr), grey, grey, grey};
}

}  // namespace zam::tracer

void init_pow_table(void) {
    for (int i = 0; i < 256; ++i) pow_table[i] = static_cast<float>(std::pow(i / 255.0, 2.0));
}

float get_alpha(unsigned char value, const TracerColor* color_table) {
    if (color_table) return color_table[value].opacity;
    return value == 0 ? 0.0F : pow_table[value];
}

int get_rgb(unsigned char value, const TracerColor* color_table, double weight, float* red, float* green, float* blue) {
    const auto add = [weight](float& sum, double level) {
        sum = static_cast<float>(static_cast<double>(sum) + level * weight);
    };
    if (color_table) {
        const TracerColor& entry = color_table[value];
        add(*red, static_cast<double>(entry.red));
        add(*green, static_cast<double>(entry.green));
        add(*blue, static_cast<double>(entry.blue));
    } else {
        add(*red, value);
        *green = *blue = *red;  // deliberate: grey keeps the three equal, so one sum serves all
    }
    return 0;
}
