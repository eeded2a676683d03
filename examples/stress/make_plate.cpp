// Writes the stress in a wide plate with a hole of radius 1 that is pulled along x: positions.bin (x y per node) and
// stress.bin (xx yy zz xy yz zx per node, in units of the pull). There are no values in the hole.
//
// Source: Kirsch, "Die Theorie der Elastizitaet und die Beduerfnisse der Festigkeitslehre" (1898). At the rim the
// stress along it is 3 across the pull and -1 along it.
#include <array>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <vector>

#include "examples/field_file.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program

constexpr int kNodesPerRadius = 60;  // the rim's extremes are nodes
constexpr int kHalfWidth = 4 * kNodesPerRadius;
constexpr int kHalfHeight = 3 * kNodesPerRadius;

std::array<double, 6> stress_at(double x, double y) {
    const double square = x * x + y * y;
    if (square < 1) return {};
    const double a2 = 1 / square;
    const double a4 = a2 * a2;
    const double cosine = x / std::sqrt(square);
    const double sine = y / std::sqrt(square);
    const double cosine2 = cosine * cosine - sine * sine;  // of twice the angle
    const double sine2 = 2 * sine * cosine;
    const double radial = ((1 - a2) + (1 - 4 * a2 + 3 * a4) * cosine2) / 2;
    const double hoop = ((1 + a2) - (1 + 3 * a4) * cosine2) / 2;
    const double shear = -(1 + 2 * a2 - 3 * a4) * sine2 / 2;
    return {radial * cosine * cosine + hoop * sine * sine - shear * sine2,
            radial * sine * sine + hoop * cosine * cosine + shear * sine2,
            0,
            (radial - hoop) * sine * cosine + shear * cosine2,
            0,
            0};
}

void write_floats(const std::filesystem::path& path, const std::vector<float>& values) {
    std::ofstream file = create_file(path);
    write_values<float>(file, values);
    close_file(file, path);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: make_plate FOLDER\n", stderr);
        return 2;
    }
    std::vector<float> positions;
    std::vector<float> stress;
    for (int j = kHalfHeight; j >= -kHalfHeight; --j) {  // the top row of pictures first
        for (int i = -kHalfWidth; i <= kHalfWidth; ++i) {
            const double x = static_cast<double>(i) / kNodesPerRadius;
            const double y = static_cast<double>(j) / kNodesPerRadius;
            for (const double value : {x, y}) positions.push_back(static_cast<float>(value));
            for (const double value : stress_at(x, y)) stress.push_back(static_cast<float>(value));
        }
    }
    const std::filesystem::path folder(argv[1]);
    write_floats(folder / "positions.bin", positions);
    write_floats(folder / "stress.bin", stress);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_plate: %s\n", error.what());
    return 1;
}
