// The two layouts of a volume, as the marchers read them, and the colours that four rays collect.
//
// Colours are in the order opacity (0 to 1), red, green, blue (0 to 255). A visible node has an opacity other than 0.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "modules/zam/volume/ray_lanes.h"
#include "modules/zam/volume/tracer_tables.h"

namespace zam::tracer {

using DoublePair = Lanes<double, 2>;

inline DoublePair round_to_single(DoublePair v) { return convert<DoublePair>(convert<Lanes<float, 2>>(v)); }

/// One colour.
using Color = Floats;

/// The colours of four rays: opacities, reds, greens and blues, one lane per ray.
struct ColorQuad {
    std::array<Floats, 4> channel;

    Color color(int lane) const {
        return Color{channel[0][lane], channel[1][lane], channel[2][lane], channel[3][lane]};
    }
};

/// Four bytes per node: opacity, red, green, blue.
class RgbaVoxels {
public:
    explicit RgbaVoxels(const std::uint8_t* bytes) : bytes_(bytes) {}

    /// Not 0 for a visible node.
    unsigned visible(std::size_t node) const { return bytes_[4 * node]; }
    double opacity(std::size_t node) const { return kFractions[bytes_[4 * node]]; }

    Color color(std::size_t node) const {
        Color color = bytes_at(node);
        color[0] = static_cast<float>(opacity(node));
        return color;
    }

    /// Adds a node's weighted colour (not its opacity) to the sum of one ray.
    void add(std::size_t node, float weight, Color& sum) const {
        const float opacity = sum[0];
        sum += bytes_at(node) * weight;
        sum[0] = opacity;
    }

    /// The weighted colours (not opacities) that four rays collect. Terms and sums are single precision.
    class Sum {
    public:
        void clear(int lane) { sums_[lane] = Color{}; }
        Color color(int lane) const { return sums_[lane]; }

        template <class Nodes>
        void add(const RgbaVoxels& voxels, const Nodes& node, Floats weight) {
            sums_[0] += voxels.bytes_at(static_cast<std::size_t>(node[0])) * broadcast<0>(weight);
            sums_[1] += voxels.bytes_at(static_cast<std::size_t>(node[1])) * broadcast<1>(weight);
            sums_[2] += voxels.bytes_at(static_cast<std::size_t>(node[2])) * broadcast<2>(weight);
            sums_[3] += voxels.bytes_at(static_cast<std::size_t>(node[3])) * broadcast<3>(weight);
        }

    private:
        Color sums_[kQuadLanes] = {};
    };

private:
    static constexpr std::array<double, 256> kFractions = [] {
        std::array<double, 256> fractions{};
        for (std::size_t i = 0; i < fractions.size(); ++i) fractions[i] = static_cast<double>(i) / 255.0;
        return fractions;
    }();

    Color bytes_at(std::size_t node) const { return load_bytes(bytes_ + 4 * node); }

    const std::uint8_t* bytes_;
};

/// One byte per node, classified by a colour table.
class TableVoxels {
public:
    /// @param table  as for classify()
    TableVoxels(const std::uint8_t* bytes, const TracerColor* table) : bytes_(bytes) {
        for (std::size_t i = 0; i < kTableSize; ++i) {
            const TracerColor entry = classify(static_cast<std::uint8_t>(i), table);
            colors_[i] = Color{entry.opacity, entry.red, entry.green, entry.blue};
            for (int c = 0; c < 4; ++c) wide_colors_[i][c] = static_cast<double>(colors_[i][c]);
            visible_[i] = entry.opacity != 0;
        }
    }

    unsigned visible(std::size_t node) const { return visible_[bytes_[node]]; }
    double opacity(std::size_t node) const { return wide_colors_[bytes_[node]][0]; }
    Color color(std::size_t node) const { return colors_[bytes_[node]]; }

    /// As RgbaVoxels::Sum, but terms and sums are formed in double precision, then rounded to single, as by get_rgb().
    class Sum {
    public:
        // The pair is chosen by its number. Written as `(lane < 2 ? low : high)[lane % 2]`, g++ 12 with
        // -fsanitize=undefined computes the subscript in the first arm only and uses it uninitialised in the second.
        void clear(int lane) {
            for (auto& channel : sums_) channel[lane / 2][lane % 2] = 0;
        }
        Color color(int lane) const {
            const auto sum = [&](int c) { return static_cast<float>(sums_[c][lane / 2][lane % 2]); };
            return Color{0, sum(0), sum(1), sum(2)};
        }

        template <class Nodes>
        void add(const TableVoxels& voxels, const Nodes& node, Floats weight) {
            const auto wide = widen(weight);
            const double* color[kQuadLanes];
            for (int i = 0; i < kQuadLanes; ++i)
                color[i] = voxels.wide_colors_[voxels.bytes_[static_cast<std::size_t>(node[i])]];
            for (int c = 0; c < 3; ++c) {
                const auto level = [&](int i) { return color[i][c + 1]; };
                sums_[c][0] = round_to_single(sums_[c][0] + gather<DoublePair>(level) * wide.low);
                sums_[c][1] = round_to_single(sums_[c][1] + gather<DoublePair, 2>(level) * wide.high);
            }
        }

    private:
        DoublePair sums_[3][2] = {};  // red, green, blue of two rays each: doubles that hold single precision
    };

private:
    const std::uint8_t* bytes_;
    std::uint8_t visible_[kTableSize];
    Color colors_[kTableSize];
    double wide_colors_[kTableSize][4];
};

}  // namespace zam::tracer
