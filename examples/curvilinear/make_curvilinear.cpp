// Writes the flow round an airfoil on a fine grid that follows its surface: positions.bin and velocity.bin, two floats
// a node.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <vector>

#include "examples/airfoil/joukowski.h"
#include "examples/field_file.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program

constexpr AirfoilGrid kGrid{.around = 721, .outward = 240};

void write_floats(const std::filesystem::path& path, const std::vector<float>& values) {
    std::ofstream file = create_file(path);
    write_values<float>(file, values);
    close_file(file, path);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: make_curvilinear FOLDER\n", stderr);
        return 2;
    }
    std::vector<float> positions;
    std::vector<float> velocity;
    for (int j = 0; j < kGrid.outward; ++j) {
        for (int i = 0; i < kGrid.around; ++i) {
            const Sample sample = kGrid.node(i, j);
            for (const double x : {sample.place.real(), sample.place.imag()})
                positions.push_back(static_cast<float>(x));
            for (const double v : {sample.velocity.real(), sample.velocity.imag()})
                velocity.push_back(static_cast<float>(v));
        }
    }
    const std::filesystem::path folder(argv[1]);
    write_floats(folder / "positions.bin", positions);
    write_floats(folder / "velocity.bin", velocity);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_curvilinear: %s\n", error.what());
    return 1;
}
