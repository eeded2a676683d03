// The flow without friction round a Joukowski airfoil, on grids that follow its surface.
//
// The flow round a circle through zeta = 1 is mapped by z = zeta + 1 / zeta; the circulation is the one for which the
// flow leaves the trailing edge smoothly. Source: Milne-Thomson, "Theoretical Aerodynamics", chapters 6 and 7.
#pragma once

#include <cmath>
#include <complex>
#include <numbers>

namespace zam::examples {

using std::numbers::pi;
using Complex = std::complex<double>;

const Complex kCentre{-0.12, 0.1};           // of the circle: thickness and camber
constexpr double kIncidence = 7 * pi / 180;  // of the stream, radians
constexpr double kReach = 5;                 // radius of the outermost ring, in radii of the circle

/// Place in quarter chords, velocity in units of the stream's.
struct Sample {
    Complex place, velocity;
};

inline Sample flow_at(Complex zeta) {
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

/// Nodes round the airfoil, the last one lying on the first, and rings outward.
struct AirfoilGrid {
    int around, outward;

    /// The trailing edge, where the map folds, lies half-way between two nodes. Rings are spaced like their radii.
    Sample node(int i, int j) const {
        const double radius = std::abs(1.0 - kCentre);
        const double lag = std::asin(kCentre.imag() / radius);
        const double angle = 2 * pi * ((i % (around - 1)) + 0.5) / (around - 1) - lag;
        return flow_at(kCentre + std::polar(radius * std::pow(kReach, j / (outward - 1.0)), angle));
    }
};

}  // namespace zam::examples
