// Writes the flow without friction round a Joukowski airfoil on a grid that follows its surface, as a table of text:
// x and y in quarter chords, velocity in units of the stream's, pressure coefficient 1 - |velocity|^2.
//
// The flow round a circle through zeta = 1 is mapped by z = zeta + 1 / zeta; the circulation is the one for which the
// flow leaves the trailing edge smoothly. Source: Milne-Thomson, "Theoretical Aerodynamics", chapters 6 and 7.
#include <cmath>
#include <complex>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <numbers>

#include "examples/field_file.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program
using std::numbers::pi;
using Complex = std::complex<double>;

const Complex kCentre{-0.12, 0.1};           // of the circle: thickness and camber
constexpr double kIncidence = 7 * pi / 180;  // of the stream, radians
constexpr int kAround = 161;                 // nodes round the airfoil; the last one lies on the first
constexpr int kOutward = 49;
constexpr double kReach = 5;  // radius of the outermost ring, in radii of the circle

struct Sample {
    Complex place, velocity;
};

Sample flow_at(Complex zeta) {
    const double radius = std::abs(1.0 - kCentre);
    const double lag = std::asin(kCentre.imag() / radius);  // angle of the trailing edge below the circle's axis
    const double circulation = 4 * pi * radius * std::sin(kIncidence + lag);
    const Complex arm = zeta - kCentre;
    const Complex turn = std::polar(1.0, kIncidence);
    const Complex on_circle =
        std::conj(turn) - turn * radius * radius / (arm * arm) + Complex(0, circulation / (2 * pi)) / arm;
    const Complex stretch = 1.0 - 1.0 / (zeta * zeta);
    return {.place = zeta + 1.0 / zeta, .velocity = std::conj(on_circle / stretch)};
}

// The trailing edge, where the map folds, lies half-way between two nodes. Rings are spaced like their radii.
Sample node(int around, int outward) {
    const double radius = std::abs(1.0 - kCentre);
    const double lag = std::asin(kCentre.imag() / radius);
    const double angle = 2 * pi * ((around % (kAround - 1)) + 0.5) / (kAround - 1) - lag;
    return flow_at(kCentre + std::polar(radius * std::pow(kReach, outward / (kOutward - 1.0)), angle));
}

void write_table(const std::filesystem::path& path) {
    std::ofstream file = create_file(path);
    file << "Joukowski airfoil, incidence 7 degrees\n"
         << "       x        y        u        v       cp\n"
         << std::fixed << std::setprecision(5);
    for (int j = 0; j < kOutward; ++j) {
        for (int i = 0; i < kAround; ++i) {
            const Sample sample = node(i, j);
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
    write_header(file, {.dims = {kAround, kOutward},
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
