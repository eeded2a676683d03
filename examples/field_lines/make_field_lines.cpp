// Writes the magnetic field of a star: its surface with the field's radial part (sphere_*.bin), and field lines that
// leave it, as tubes with the logarithm of the field's strength (lines_*.bin). Floats, and 64-bit node numbers.
//
// The field is that of dipoles: a tilted one in the middle and three pairs of spots close below the surface.
// Source of the tubes' frames: Bishop, "There is More than One Way to Frame a Curve", American Mathematical Monthly
// 1975.
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

#include "examples/field_file.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program
using Vector = std::array<double, 3>;

Vector operator+(const Vector& a, const Vector& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
Vector operator-(const Vector& a, const Vector& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Vector operator*(double s, const Vector& a) { return {s * a[0], s * a[1], s * a[2]}; }
double dot(const Vector& a, const Vector& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
double length(const Vector& a) { return std::sqrt(dot(a, a)); }
Vector unit(const Vector& a) { return (1 / length(a)) * a; }
Vector cross(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

struct Dipole {
    Vector place, moment;
};
constexpr Dipole kDipoles[] = {
    {{0, 0, 0}, {0.25, 0.1, 1.0}},
    {{0.60, -0.48, 0.18}, {-0.035, -0.050, 0.03}},
    {{-0.30, -0.66, -0.26}, {0.05, -0.02, -0.04}},
    {{0.28, -0.35, -0.64}, {0.045, 0.02, 0.03}},
    {{-0.42, -0.46, 0.48}, {0.04, 0.03, 0.0}},
};

Vector field(const Vector& at) {
    Vector sum{};
    for (const auto& [place, moment] : kDipoles) {
        const Vector away = at - place;
        const double distance = length(away);
        const Vector direction = (1 / distance) * away;
        sum = sum + (1 / (distance * distance * distance)) * (3 * dot(moment, direction) * direction - moment);
    }
    return sum;
}

/// A mesh in the form that the network reads.
struct Mesh {
    std::vector<float> coord, values;
    std::vector<std::int64_t> quads;

    void node(const Vector& place, double value) {
        for (const double x : place) coord.push_back(static_cast<float>(x));
        values.push_back(static_cast<float>(value));
    }
    /// Quads between nodes of which the last `columns` follow the `columns` before them round a ring.
    void ring(std::int64_t columns) {
        const auto end = static_cast<std::int64_t>(values.size());
        for (std::int64_t i = 0; i < columns; ++i) {
            const std::int64_t a = end - 2 * columns + i, b = end - 2 * columns + (i + 1) % columns;
            quads.insert(quads.end(), {a, b, b + columns, a + columns});
        }
    }
    void write(const std::filesystem::path& folder, const std::string& name) const {
        const auto write = [&]<class T>(const std::string& what, const std::vector<T>& numbers) {
            const auto path = folder / (name + "_" + what + ".bin");
            std::ofstream file = create_file(path);
            write_values<T>(file, numbers);
            close_file(file, path);
        };
        write("coord", coord);
        write("values", values);
        write("quads", quads);
    }
};

Mesh make_sphere(int rows, int columns) {
    Mesh mesh;
    for (int j = 0; j <= rows; ++j) {
        const double polar = std::numbers::pi * j / rows;
        for (int i = 0; i < columns; ++i) {
            const double around = 2 * std::numbers::pi * i / columns;
            const Vector place{std::sin(polar) * std::cos(around), std::sin(polar) * std::sin(around), std::cos(polar)};
            mesh.node(place, dot(field(place), place));
        }
        if (j > 0) mesh.ring(columns);
    }
    return mesh;
}

/// The line that leaves the surface at a point, until it comes back or goes far away.
std::vector<Vector> trace(Vector at) {
    constexpr double kFar = 3.2;
    std::vector<Vector> line{at};
    for (int step = 0; step < 2000; ++step) {
        // the classical method of Runge and Kutta; steps grow with the distance from what makes the field
        const double h = 0.02 * std::max(length(at) - 0.6, 0.4);
        const auto slope = [](const Vector& p) { return unit(field(p)); };
        const Vector a = slope(at), b = slope(at + 0.5 * h * a), c = slope(at + 0.5 * h * b), d = slope(at + h * c);
        at = at + (h / 6) * (a + 2.0 * b + 2.0 * c + d);
        if (length(at) < 1 || length(at) > kFar) break;
        line.push_back(at);
    }
    line.push_back(at);
    return line;
}

void add_tube(Mesh& mesh, const std::vector<Vector>& line) {
    constexpr int kSides = 8;
    constexpr double kRadius = 0.009;
    Vector side = unit(cross(line[1] - line[0], Vector{0.3, 0.5, 0.81}));
    for (std::size_t i = 0; i < line.size(); ++i) {
        const Vector along = unit(line[std::min(i + 1, line.size() - 1)] - line[i > 0 ? i - 1 : 0]);
        side = unit(side - dot(side, along) * along);
        const Vector other = cross(along, side);
        for (int k = 0; k < kSides; ++k) {
            const double angle = 2 * std::numbers::pi * k / kSides;
            mesh.node(line[i] + kRadius * (std::cos(angle) * side + std::sin(angle) * other),
                      std::log10(length(field(line[i]))));
        }
        if (i > 0) mesh.ring(kSides);
    }
}

Mesh make_lines(int seeds) {
    Mesh mesh;
    for (int i = 0; i < seeds; ++i) {  // evenly spread, on a spiral from pole to pole
        const double z = 1 - 2 * (i + 0.5) / seeds;
        const double around = i * std::numbers::pi * (3 - std::sqrt(5.0));
        const Vector seed{std::sqrt(1 - z * z) * std::cos(around), std::sqrt(1 - z * z) * std::sin(around), z};
        if (dot(field(seed), seed) > 0) add_tube(mesh, trace(seed));
    }
    return mesh;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: make_field_lines FOLDER\n", stderr);
        return 2;
    }
    make_sphere(180, 360).write(argv[1], "sphere");
    make_lines(420).write(argv[1], "lines");
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_field_lines: %s\n", error.what());
    return 1;
}
