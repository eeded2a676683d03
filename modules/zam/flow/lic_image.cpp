#include "modules/zam/flow/lic_image.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "modules/zam/lic_texture.h"

namespace zam::lic {
namespace {

constexpr int kSeed = 5993232;
constexpr std::uint8_t kGrey = 50;  // where there is no vector
constexpr int kColors = 512;        // steps between the least and the greatest magnitude
constexpr int kMiddleColor = 256;

/// The low byte of the integer part. What is no number, or beyond an int, gives 0.
std::uint8_t to_byte(double value) {
    if (!(std::abs(value) <= std::numeric_limits<int>::max())) return 0;
    return static_cast<std::uint8_t>(static_cast<int>(value));  // deliberate: wraps above 255
}

}  // namespace

int longest_walk(int width, int height) {
    const std::int64_t across = std::int64_t{width} + height;
    return static_cast<int>(std::clamp<std::int64_t>(across, 1 << 16, std::numeric_limits<int>::max()));
}

Range measure(const VectorValues& vectors, std::span<float> magnitudes) {
    Range range{};
    for (std::size_t p = 0; p < magnitudes.size(); ++p) {
        const Vector v = vectors.at(static_cast<std::int64_t>(p));
        const double length = std::sqrt(double{v.x} * v.x + double{v.y} * v.y);
        const auto m = static_cast<float>(std::min<double>(length, std::numeric_limits<float>::max()));
        magnitudes[p] = m;
        if (p == 0) range = {m, m};
        range = {std::min(range.min, m), std::max(range.max, m)};
    }
    return range;
}

void fill_noise(double rate, std::span<std::uint8_t> noise) {
    static int index;  // one generator per process
    static int table[56];
    init_rnd2(kSeed, &index, table);
    for (std::uint8_t& level : noise) level = rate < rnd2(&index, table) ? 255 : 0;
}

void subtract_axis(std::span<const std::byte> bytes, int axis, std::span<float> vectors) {
    const NodeFloats floats(bytes, 3);
    for (std::size_t v = 0; v + 2 < vectors.size(); v += 3) {
        double value[3];
        for (int c = 0; c < 3; ++c) {
            const float read = floats.at(static_cast<std::int64_t>(v / 3), c);
            value[c] = std::isfinite(read) ? read : 0;
        }
        const double length = std::sqrt(value[0] * value[0] + value[1] * value[1] + value[2] * value[2]);
        for (int c = 0; c < 3; ++c) {
            const double unit = length > 0 ? value[c] / length : 0;
            vectors[v + static_cast<std::size_t>(c)] = static_cast<float>(unit - (c == axis ? 1 : 0));
        }
    }
}

RowPainter::RowPainter(const Flow& flow, int width, std::span<const float> magnitudes, Range range,
                       const Kernel& kernel, const Shading& shading)
    : flow_(flow), width_(width), magnitudes_(magnitudes), range_(range), kernel_(kernel), shading_(shading) {}

int RowPainter::steps_of(float magnitude) const {
    if (!shading_.magnitude_to_length || !(range_.max > range_.min)) return std::max(shading_.half_length, 1);
    const double step = (double{range_.max} - range_.min) / 5.0;
    const double scale = (double{magnitude} - range_.min) / step + 1.0;
    const double steps = std::min<double>(shading_.half_length, std::trunc(shading_.half_length / 5.0 * scale));
    return static_cast<int>(std::clamp<double>(steps, 1, std::numeric_limits<int>::max()));
}

void RowPainter::color(float magnitude, const Tally& tally, std::uint8_t* pixel) const {
    const double grey = tally.noise / (shading_.by_kernel ? kernel_.full : tally.weight);
    pixel[0] = 0;
    pixel[1] = pixel[2] = pixel[3] = to_byte(grey);
    if (!shading_.magnitude_to_color) return;
    const double step = (double{range_.max} - range_.min) * (1.0 / kColors);
    const int index = step > 0 ? static_cast<int>((double{magnitude} - range_.min) / step) : 0;
    const int blue = index < kMiddleColor ? kMiddleColor - index : 0;
    const int red = index < kMiddleColor ? 0 : index - kMiddleColor;
    pixel[1] = to_byte((grey + red) / 2);
    pixel[2] = to_byte(grey / 2);
    pixel[3] = to_byte((grey + blue) / 2);
}

void RowPainter::paint(int row, std::span<std::uint8_t> pixels) const {
    const auto magnitudes = magnitudes_.subspan(static_cast<std::size_t>(row) * static_cast<std::size_t>(width_),
                                                static_cast<std::size_t>(width_));
    Start starts[kTogether];
    Tally tallies[kTogether];
    std::size_t count = 0;
    const auto flush = [&] {
        follow(flow_, {starts, count}, kernel_, {tallies, count});
        for (std::size_t k = 0; k < count; ++k) {
            const auto column = static_cast<std::size_t>(starts[k].column);
            color(magnitudes[column], tallies[k], &pixels[4 * column]);
        }
        count = 0;
    };
    for (int column = 0; column < width_; ++column) {
        const float magnitude = magnitudes[static_cast<std::size_t>(column)];
        if (magnitude == 0) {
            std::uint8_t* pixel = &pixels[4 * static_cast<std::size_t>(column)];
            pixel[0] = 0;
            pixel[1] = pixel[2] = pixel[3] = kGrey;
            continue;
        }
        starts[count++] = {column, row, steps_of(magnitude)};
        if (count == kTogether) flush();
    }
    flush();
}

}  // namespace zam::lic
