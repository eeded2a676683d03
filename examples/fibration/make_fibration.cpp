// Fibres of the Hopf fibration: circles that fill the 3-sphere, each linked once with every other, seen in space by
// stereographic projection. Those over one circle of latitude of the 2-sphere fill a torus.
//
// make_fibration DIRECTORY: for each of four tori k writes coord_k.raw (x y z of each node, floats), and for all of
// them fibre.raw (which fibre a node belongs to, 0 to 1, floats) and quads.raw (four nodes per cell, 64-bit indices).
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

constexpr double kPi = std::numbers::pi;
constexpr int kFibres = 14;          // of a torus
constexpr int kAlong = 128;          // nodes along a fibre
constexpr int kAround = 12;          // and around it
constexpr double kThickness = 0.04;  // of a fibre, where the projection does not stretch
constexpr std::array<double, 4> kLatitudes{0.30, 0.54, 0.78, 1.00};
constexpr std::array<double, 4> kShown{1.0, 0.8, 0.62, 0.46};  // of each torus; the rest is left out, to look inside

using Vector = std::array<double, 3>;

Vector operator-(const Vector& a, const Vector& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

Vector unit_normal(const Vector& a, const Vector& b) {
    const Vector c{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    const double length = std::sqrt(c[0] * c[0] + c[1] * c[1] + c[2] * c[2]);
    return {c[0] / length, c[1] / length, c[2] / length};
}

/// Fibres over one circle of latitude.
struct Torus {
    double latitude;  // 0: the fibres are one circle, pi/2: they are one axis

    double stretch(double t) const { return 1 / (1 - std::sin(latitude) * std::sin(t)); }
    /// Projected from the point (0, 0, 0, 1) of the sphere.
    Vector point(double fibre, double t) const {
        const double radius = std::cos(latitude) * stretch(t);
        return {radius * std::cos(t + fibre), radius * std::sin(t + fibre),
                std::sin(latitude) * std::cos(t) * stretch(t)};
    }
    /// Nodes of the tube round a fibre.
    void add_tube(double fibre, std::vector<float>& coord) const {
        const Vector first = point(fibre, 0);
        const Vector normal = unit_normal(point(fibre, 2) - first, point(fibre, 4) - first);  // of the circle's plane
        for (int i = 0; i < kAlong; ++i) {
            const double t = 2 * kPi * i / kAlong;
            const Vector outward = unit_normal(point(fibre, t + 1e-4) - point(fibre, t - 1e-4), normal);
            const Vector centre = point(fibre, t);
            for (int j = 0; j < kAround; ++j) {
                const double angle = 2 * kPi * j / kAround;
                const double radius = kThickness * stretch(t);
                for (std::size_t k = 0; k < 3; ++k)
                    coord.push_back(static_cast<float>(
                        centre[k] + radius * (std::cos(angle) * outward[k] + std::sin(angle) * normal[k])));
            }
        }
    }
};

template <class Value>
void write_file(const std::filesystem::path& path, const std::vector<Value>& values) {
    std::ofstream file = create_file(path);
    write_values(file, std::span<const Value>(values));
    close_file(file, path);
}

void make(const std::filesystem::path& folder) {
    std::vector<float> fibre_of;
    std::vector<std::int64_t> quads;
    for (int fibre = 0; fibre < kFibres; ++fibre) {
        const auto node = [fibre](int along, int around) {
            return std::int64_t{fibre} * kAlong * kAround + along % kAlong * kAround + around % kAround;
        };
        for (int i = 0; i < kAlong; ++i) {
            for (int j = 0; j < kAround; ++j) {
                fibre_of.push_back(static_cast<float>(fibre) / (kFibres - 1));
                quads.insert(quads.end(), {node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)});
            }
        }
    }
    write_file(folder / "fibre.raw", fibre_of);
    write_file(folder / "quads.raw", quads);
    for (std::size_t k = 0; k < kLatitudes.size(); ++k) {
        std::vector<float> coord;
        for (int fibre = 0; fibre < kFibres; ++fibre)
            Torus{kLatitudes[k]}.add_tube(2 * kPi * kShown[k] * fibre / kFibres, coord);
        write_file(folder / ("coord_" + std::to_string(k) + ".raw"), coord);
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        make(argc > 1 ? argv[1] : "data");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_fibration: %s\n", error.what());
        return 1;
    }
    return 0;
}
