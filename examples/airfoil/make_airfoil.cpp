// Writes the flow without friction round a Joukowski airfoil on a grid that follows its surface, as a table of text:
// x and y in quarter chords, velocity in units of the stream's, pressure coefficient 1 - |velocity|^2.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iomanip>

#include "examples/airfoil/joukowski.h"
#include "examples/field_file.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program
constexpr AirfoilGrid kGrid{.around = 161, .outward = 49};

void write_table(const std::filesystem::path& path) {
    std::ofstream file = create_file(path);
    file << "Joukowski airfoil, incidence 7 degrees\n"
         << "       x        y        u        v       cp\n"
         << std::fixed << std::setprecision(5);
    for (int j = 0; j < kGrid.outward; ++j) {
        for (int i = 0; i < kGrid.around; ++i) {
            const Sample sample = kGrid.node(i, j);
            for (const double value : {sample.place.real(), sample.place.imag(), sample.velocity.real(),
                                       sample.velocity.imag(), 1 - std::norm(sample.velocity)}) {
                file << std::setw(10) << value;
            }
            file << '\n';
        }
    }
    close_file(file, path);
}

void write_header_file(const std::filesystem::path& path) {
    std::ofstream file = create_file(path);
    write_header(file, {.dims = {kGrid.around, kGrid.outward},
                        .nspace = 2,
                        .data_type = "float",
                        .kind = "irregular",
                        .label = {"velocity x", "velocity y", "pressure coefficient"},
                        .unit = {"U", "U", "1"},
                        .min_ext = {},
                        .max_ext = {},
                        .comment = "Flow round an airfoil; columns of a table"});
    const char* const kinds[] = {"coord 1", "coord 2", "variable 1", "variable 2", "variable 3"};
    int column = 0;
    for (const char* kind : kinds) {
        file << kind << " file = airfoil.txt filetype = ascii skip = 2 offset = " << column++ << " stride = 5\n";
    }
    close_file(file, path);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: make_airfoil FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path folder(argv[1]);
    write_table(folder / "airfoil.txt");
    write_header_file(folder / "airfoil.fld");
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_airfoil: %s\n", error.what());
    return 1;
}
