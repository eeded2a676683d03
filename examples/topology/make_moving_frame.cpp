// Writes the wake of a cylinder as somebody sees it who drifts along with the vortices: the first frame of
// make_vortex_street less their speed, 0.82 of the stream's. What is at rest there are the vortices' centres and the
// saddles between them.
//
// velocity.bin  479 x 167 nodes, two floats each (u, v in stream speeds, little-endian): half the flow's
// spacing,
//               interpolated by cubic splines, so that a texture has pixels enough
#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "examples/field_file.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program

constexpr int kColumns = 240;
constexpr int kRows = 84;
constexpr int kFiner = 2;
constexpr float kDrift = 0.82F;

using Plane = std::vector<float>;

Plane read_first_frame(const std::filesystem::path& path) {
    Plane plane(static_cast<std::size_t>(kColumns) * kRows);
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(plane.data()), static_cast<std::streamsize>(plane.size() * sizeof(float)));
    if (!file) throw std::runtime_error("cannot read a frame of " + path.string());
    return plane;
}

/// Catmull-Rom weights of the nodes -1, 0, 1, 2 at a fraction of the way from 0 to 1.
std::array<float, 4> weights(float t) {
    return {((2 - t) * t - 1) * t / 2, ((3 * t - 5) * t * t + 2) / 2, ((4 - 3 * t) * t + 1) * t / 2,
            (t - 1) * t * t / 2};
}

float interpolate(const Plane& plane, int fine_x, int fine_y) {
    const auto along = weights(static_cast<float>(fine_x % kFiner) / kFiner);
    const auto across = weights(static_cast<float>(fine_y % kFiner) / kFiner);
    float sum = 0;
    for (int k = 0; k < 16; ++k) {
        const int x = std::clamp(fine_x / kFiner + k % 4 - 1, 0, kColumns - 1);
        const int y = std::clamp(fine_y / kFiner + k / 4 - 1, 0, kRows - 1);
        sum += along[static_cast<std::size_t>(k % 4)] * across[static_cast<std::size_t>(k / 4)] *
               plane[static_cast<std::size_t>(y) * kColumns + static_cast<std::size_t>(x)];
    }
    return sum;
}

void make(const std::filesystem::path& flow, const std::filesystem::path& folder) {
    const Plane u = read_first_frame(flow / "velocity_x.bin");
    const Plane v = read_first_frame(flow / "velocity_y.bin");
    std::vector<float> vectors;
    for (int y = 0; y <= kFiner * (kRows - 1); ++y) {
        for (int x = 0; x <= kFiner * (kColumns - 1); ++x) {
            vectors.push_back(interpolate(u, x, y) - kDrift);
            vectors.push_back(interpolate(v, x, y));
        }
    }
    std::ofstream file = create_file(folder / "velocity.bin");
    write_values<float>(file, vectors);
    close_file(file, folder / "velocity.bin");
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::fputs("usage: make_moving_frame FOLDER_OF_VORTEX_STREET FOLDER\n", stderr);
        return 2;
    }
    make(argv[1], argv[2]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_moving_frame: %s\n", error.what());
    return 1;
}
