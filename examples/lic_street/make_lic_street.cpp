// Writes the velocity of a cylinder's wake as raw floats, a node after another, on a grid fine enough for a texture:
// 957 x 333 nodes of four values: x and y as seen by the cylinder, x and y as seen by the vortices, which drift along
// with most of the stream. Velocities are in stream speeds.
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

#include "examples/field_file.h"
#include "examples/vortex_street/lattice.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program

constexpr Channel kChannel{
    .width = 288, .height = 108, .cylinder_x = 48, .cylinder_y = 54.5, .diameter = 12, .speed = 0.1, .reynolds = 120};
constexpr int kSpinUp = 5600;    // steps until the wake repeats itself
constexpr double kDrift = 0.86;  // of the vortices

// The part of the plane that is written, as in the other wakes, and how much finer.
constexpr int kLeft = 36;
constexpr int kBelow = 12;
constexpr int kColumns = 240;
constexpr int kRows = 84;
constexpr int kFiner = 4;

using Velocity = std::array<double, 2>;

/// Weights of four neighbours for a place between the second and the third (Catmull and Rom).
std::array<double, 4> cubic_weights(double t) {
    return {((2 - t) * t - 1) * t / 2, ((3 * t - 5) * t * t + 2) / 2, ((4 - 3 * t) * t + 1) * t / 2,
            (t - 1) * t * t / 2};
}

/// Smooth between the lattice's nodes; 0 inside the cylinder.
Velocity velocity_at(const Lattice& flow, double x, double y) {
    if (std::hypot(x - kChannel.cylinder_x, y - kChannel.cylinder_y) < kChannel.diameter / 2) return {0, 0};
    const int column = static_cast<int>(x);
    const int row = static_cast<int>(y);
    const std::array<double, 4> across = cubic_weights(x - column);
    const std::array<double, 4> up = cubic_weights(y - row);
    Velocity sum{0, 0};
    for (int j = 0; j < 4; ++j) {
        for (int i = 0; i < 4; ++i) {
            const double weight = across[static_cast<std::size_t>(i)] * up[static_cast<std::size_t>(j)];
            const Velocity node = flow.velocity(column - 1 + i, row - 1 + j);
            for (std::size_t axis = 0; axis < 2; ++axis) sum[axis] += weight * node[axis] / kChannel.speed;
        }
    }
    return sum;
}

void make(const char* path, int spin_up) {
    Lattice flow(kChannel);
    for (int step = 0; step < spin_up; ++step) flow.step();
    std::vector<float> values;
    for (int j = 0; j <= (kRows - 1) * kFiner; ++j) {
        for (int i = 0; i <= (kColumns - 1) * kFiner; ++i) {
            const Velocity v = velocity_at(flow, kLeft + i / double{kFiner}, kBelow + j / double{kFiner});
            const bool solid = v[0] == 0 && v[1] == 0;
            for (const double value : {v[0], v[1], solid ? 0 : v[0] - kDrift, v[1]}) {
                values.push_back(static_cast<float>(value));
            }
        }
    }
    std::ofstream file = create_file(path);
    write_values<float>(file, values);
    close_file(file, path);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 2 || argc > 3) {
        std::fputs("usage: make_lic_street FILE [STEPS]\n", stderr);
        return 2;
    }
    make(argv[1], argc == 3 ? std::atoi(argv[2]) : kSpinUp);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_lic_street: %s\n", error.what());
    return 1;
}
