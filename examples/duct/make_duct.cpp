// Writes the pressure of a standing sound wave in a duct of three quarters of a circle, over length, radius and angle.
//
// Between rigid walls the mode is J_m(k r) cos(m phi) cos(2 pi x / length): m = 2 puts three half waves into 270
// degrees, and k = 9.969, the third zero of J_2', ends the radius at a crest. Bytes hold 128.5 + 126.5 p, cut, with p
// from -1 to 1. Source: Morse and Ingard, "Theoretical Acoustics", section 9.2.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <vector>

#include "examples/field_file.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program

constexpr int kLength = 61, kRadius = 41, kAngle = 136;               // nodes
constexpr double kOrder = 2, kWaveNumber = 9.969, kLargest = 0.4865;  // J_2 at its first crest

double pressure(int i, int j, int k) {
    const double x = static_cast<double>(i) / (kLength - 1);
    const double r = static_cast<double>(j) / kRadius;  // the bent rows are a kRadius-th of the radius apart
    const double angle = 1.5 * std::numbers::pi * k / (kAngle - 1);
    return std::cyl_bessel_j(kOrder, kWaveNumber * r) / kLargest * std::cos(kOrder * angle) *
           std::cos(2 * std::numbers::pi * x);
}

std::vector<std::uint8_t> sample() {
    std::vector<std::uint8_t> bytes;
    for (int k = 0; k < kAngle; ++k) {
        for (int j = 0; j < kRadius; ++j) {
            for (int i = 0; i < kLength; ++i)
                bytes.push_back(static_cast<std::uint8_t>(128.5 + 126.5 * pressure(i, j, k)));
        }
    }
    return bytes;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: make_duct FILE\n", stderr);
        return 2;
    }
    const std::filesystem::path path(argv[1]);
    std::ofstream file = create_file(path);
    write_values<std::uint8_t>(file, sample());
    close_file(file, path);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_duct: %s\n", error.what());
    return 1;
}
