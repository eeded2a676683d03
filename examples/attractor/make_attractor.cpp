// Writes a trajectory on the Lorenz attractor as a volume of opacity, red, green and blue: each point of it is shared
// out among the eight nodes round it, which keeps the line smooth.
//
// Opacity grows with the logarithm of the time spent near a node, so that where the line runs many times does not
// drown where it runs once; the colour goes with the speed. The file holds the bytes alone, x fastest.
//
// Source: Lorenz, "Deterministic Nonperiodic Flow", Journal of the Atmospheric Sciences 20 (1963); Runge and Kutta's
// fourth-order method.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <vector>

#include "examples/field_file.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program
using Vector = std::array<double, 3>;

constexpr double kStep = 0.0005;  // units of the equations' time; some nine points per node spacing
constexpr int kSteps = 360'000;
constexpr int kSettling = 20'000;  // steps until the trajectory is on the attractor
constexpr double kSpacing = 0.3;   // of the nodes, the same on every axis
constexpr Vector kCorner{-22, -28.6, 0};
constexpr std::array<int, 3> kDims{148, 192, 166};
constexpr std::size_t kNodes = std::size_t{kDims[0]} * kDims[1] * kDims[2];

Vector velocity(const Vector& p) {
    return {10 * (p[1] - p[0]), p[0] * (28 - p[2]) - p[1], p[0] * p[1] - 8.0 / 3 * p[2]};
}

Vector along(const Vector& p, const Vector& v, double time) {
    return {p[0] + time * v[0], p[1] + time * v[1], p[2] + time * v[2]};
}

Vector advance(const Vector& p) {
    const Vector a = velocity(p);
    const Vector b = velocity(along(p, a, kStep / 2));
    const Vector c = velocity(along(p, b, kStep / 2));
    const Vector d = velocity(along(p, c, kStep));
    Vector mean{};
    for (std::size_t axis = 0; axis < 3; ++axis) mean[axis] = (a[axis] + 2 * b[axis] + 2 * c[axis] + d[axis]) / 6;
    return along(p, mean, kStep);
}

struct Visits {
    double weight = 0;
    double speed = 0;  // weighted sum
};

/// Shares a point out among the nodes of its cell; points outside are left out.
void deposit(std::vector<Visits>& volume, const Vector& p, double speed) {
    std::array<std::size_t, 3> low{};
    Vector share{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double place = (p[axis] - kCorner[axis]) / kSpacing;
        if (!(place >= 0 && place < kDims[axis] - 1)) return;
        low[axis] = static_cast<std::size_t>(place);
        share[axis] = place - std::floor(place);
    }
    for (std::size_t corner = 0; corner < 8; ++corner) {
        std::array<std::size_t, 3> node = low;
        double weight = 1;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::size_t up = corner >> axis & 1U;
            node[axis] += up;
            weight *= up != 0 ? share[axis] : 1 - share[axis];
        }
        Visits& visits = volume[(node[2] * kDims[1] + node[1]) * kDims[0] + node[0]];
        visits.weight += weight;
        visits.speed += weight * speed;
    }
}

std::vector<Visits> follow() {
    std::vector<Visits> volume(kNodes);
    Vector p{1, 1, 20};
    for (int step = 0; step < kSettling; ++step) p = advance(p);
    for (int step = 0; step < kSteps; ++step) {
        p = advance(p);
        const Vector v = velocity(p);
        deposit(volume, p, std::hypot(v[0], v[1], v[2]));
    }
    return volume;
}

/// From slow to fast: indigo, magenta, orange, pale yellow.
std::array<std::uint8_t, 3> colour_of(double speed) {
    constexpr std::array<std::array<double, 3>, 4> kStops{
        {{70, 40, 220}, {215, 40, 150}, {255, 140, 40}, {255, 245, 190}}};
    const double place = std::clamp(speed / 220, 0.0, 1.0) * (kStops.size() - 1);
    const std::size_t stop = std::min(static_cast<std::size_t>(place), kStops.size() - 2);
    std::array<std::uint8_t, 3> colour{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const double share = place - static_cast<double>(stop);
        colour[channel] = static_cast<std::uint8_t>(
            std::lround(kStops[stop][channel] * (1 - share) + kStops[stop + 1][channel] * share));
    }
    return colour;
}

std::vector<std::uint8_t> paint(const std::vector<Visits>& volume) {
    double most = 0;
    for (const Visits& visits : volume) most = std::max(most, visits.weight);
    std::vector<std::uint8_t> bytes;
    bytes.reserve(volume.size() * 4);
    for (const Visits& visits : volume) {
        const double opacity = std::log1p(visits.weight) / std::log1p(most);
        bytes.push_back(static_cast<std::uint8_t>(std::lround(255 * opacity)));
        const auto colour = colour_of(visits.weight > 0 ? visits.speed / visits.weight : 0);
        bytes.insert(bytes.end(), colour.begin(), colour.end());
    }
    return bytes;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: make_attractor FILE\n", stderr);
        return 2;
    }
    const std::filesystem::path path(argv[1]);
    std::ofstream file = create_file(path);
    write_values<std::uint8_t>(file, paint(follow()));
    close_file(file, path);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_attractor: %s\n", error.what());
    return 1;
}
