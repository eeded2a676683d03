// Samples a trefoil knot made of rings, a line each as x, y, z and brightness: a text that any program could write.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <numbers>
#include <optional>
#include <random>
#include <vector>

#include "examples/field_file.h"

namespace {

using zam::examples::close_file;
using zam::examples::create_file;

constexpr double kSpacing = 0.5;  // mm
constexpr int kHalfWidth = 36;    // samples from the middle to the side
constexpr int kHalfHeight = 16;
constexpr double kRadius = 11.0;  // mm, of the ring that the curve winds round
constexpr double kWinding = 4.6;  // mm, its distance from that ring
constexpr double kTube = 2.4;     // mm, radius of the tube round the curve
constexpr int kRings = 42;
constexpr double kGap = 0.22;  // part of the tube's length that is left out
constexpr int kSteps = 2000;   // along the curve

struct Point {
    double x, y, z;
};

std::vector<Point> trefoil() {
    std::vector<Point> curve;
    for (int step = 0; step < kSteps; ++step) {
        const double t = 2 * std::numbers::pi * step / kSteps;
        const double distance = kRadius + kWinding * std::cos(3 * t);
        curve.push_back({distance * std::cos(2 * t), distance * std::sin(2 * t), kWinding * std::sin(3 * t)});
    }
    return curve;
}

/// 255 on the curve, falling to 1 at the side of the tube; nothing outside and between rings.
std::optional<int> brightness(const std::vector<Point>& curve, const Point& at) {
    double nearest = kTube * kTube;
    int place = -1;
    for (int step = 0; step < kSteps; ++step) {
        const Point& on = curve[static_cast<std::size_t>(step)];
        const double distance =
            (on.x - at.x) * (on.x - at.x) + (on.y - at.y) * (on.y - at.y) + (on.z - at.z) * (on.z - at.z);
        if (distance >= nearest) continue;
        nearest = distance;
        place = step;
    }
    const double ring = static_cast<double>(place) * kRings / kSteps;
    if (place < 0 || ring - std::floor(ring) < kGap) return std::nullopt;
    return 1 + static_cast<int>(254 * (1 - nearest / (kTube * kTube)));
}

struct Sample {
    Point at;
    int value;
};

/// All samples, in no order.
std::vector<Sample> scan() {
    const std::vector<Point> curve = trefoil();
    std::vector<Sample> samples;
    for (int k = -kHalfHeight; k <= kHalfHeight; ++k)
        for (int j = -kHalfWidth; j <= kHalfWidth; ++j)
            for (int i = -kHalfWidth; i <= kHalfWidth; ++i) {
                const Point at{i * kSpacing, j * kSpacing, k * kSpacing};
                if (const auto value = brightness(curve, at)) samples.push_back({at, *value});
            }
    std::mt19937 random(1);
    for (std::size_t left = samples.size(); left > 1; --left) std::swap(samples[left - 1], samples[random() % left]);
    // The corners give the extent. The reader takes the spacing from the last increase along each axis.
    const Point corner{kHalfWidth * kSpacing, kHalfWidth * kSpacing, kHalfHeight * kSpacing};
    samples.push_back({{-corner.x, -corner.y, -corner.z}, 0});
    samples.push_back({{corner.x - kSpacing, corner.y - kSpacing, corner.z - kSpacing}, 0});
    samples.push_back({corner, 0});
    return samples;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: make_knot FILE\n", stderr);
        return 2;
    }
    const std::filesystem::path path(argv[1]);
    std::ofstream file = create_file(path);
    file << "Trefoil of " << kRings << " rings, " << kSpacing << " mm\nscan 1, time = 12.5 s\n# x y z brightness\n";
    for (const auto& [at, value] : scan()) file << at.x << ' ' << at.y << ' ' << at.z << ' ' << value << '\n';
    close_file(file, path);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_knot: %s\n", error.what());
    return 1;
}
