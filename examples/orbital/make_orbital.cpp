// Writes a stationary state of the hydrogen atom as a byte volume that a colour table can show with its signs.
//
// The real orbital is psi = R_nl(r) Y_lm(theta, phi) in atomic units. What is stored is its amplitude with the range
// compressed, 128 + 127 sign(psi) |psi / psi_max|^(1/2): nodal surfaces are 128, one sign lies above, the other below.
// Without the root everything but the lobes next to the nucleus would round to the same byte.
//
// Source: Bethe and Salpeter, "Quantum Mechanics of One- and Two-Electron Atoms", section 3.
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

#include "examples/field_file.h"

namespace {

using zam::examples::FieldHeader;

struct State {
    unsigned n, l;  // n > l
    int m;          // |m| <= l; negative: the sine of m phi
};

/// Radial function R_nl at `r` Bohr radii, normalised to the integral of R^2 r^2 dr = 1.
double radial(const State& state, double r) {
    const double n = state.n;
    const double rho = 2 * r / n;
    const double factorials = std::tgamma(n - state.l) / std::tgamma(n + state.l + 1);
    const double norm = std::sqrt(std::pow(2 / n, 3) * factorials / (2 * n));
    return norm * std::exp(-rho / 2) * std::pow(rho, state.l) *
           std::assoc_laguerre(state.n - state.l - 1, 2 * state.l + 1, rho);
}

/// Real spherical harmonic, normalised over the sphere.
double angular(const State& state, double theta, double phi) {
    const auto order = static_cast<unsigned>(std::abs(state.m));
    const double legendre = std::sph_legendre(state.l, order, theta);
    if (state.m == 0) return legendre;
    return std::numbers::sqrt2 * legendre * (state.m > 0 ? std::cos(order * phi) : std::sin(order * phi));
}

double amplitude(const State& state, double x, double y, double z) {
    const double r = std::hypot(x, y, z);
    if (r == 0) return state.l == 0 ? radial(state, r) * angular(state, 0, 0) : 0;
    return radial(state, r) * angular(state, std::acos(z / r), std::atan2(y, x));
}

/// Samples psi on size^3 nodes over the cube of half-width `reach` Bohr radii, x fastest.
std::vector<double> sample(const State& state, int size, double reach) {
    const auto place = [&](int index) { return reach * (2.0 * index / (size - 1) - 1); };
    std::vector<double> psi;
    psi.reserve(static_cast<std::size_t>(size) * static_cast<std::size_t>(size) * static_cast<std::size_t>(size));
    for (int k = 0; k < size; ++k) {
        for (int j = 0; j < size; ++j) {
            for (int i = 0; i < size; ++i) psi.push_back(amplitude(state, place(i), place(j), place(k)));
        }
    }
    return psi;
}

std::vector<std::uint8_t> compress(const std::vector<double>& psi) {
    double largest = 0;
    for (const double value : psi) largest = std::max(largest, std::abs(value));
    std::vector<std::uint8_t> bytes;
    bytes.reserve(psi.size());
    for (const double value : psi) {
        const double root = std::copysign(std::sqrt(std::abs(value) / largest), value);
        bytes.push_back(static_cast<std::uint8_t>(std::lround(128 + 127 * root)));
    }
    return bytes;
}

int number(const char* text) {
    int value = 0;
    const std::string digits(text);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || end != digits.data() + digits.size())
        throw std::runtime_error("not a number: " + digits);
    return value;
}

void make(const std::filesystem::path& path, const State& state, double reach, int size) {
    const std::string name =
        "orbital n=" + std::to_string(state.n) + " l=" + std::to_string(state.l) + " m=" + std::to_string(state.m);
    const FieldHeader header{.dims = {size, size, size},
                             .nspace = 3,
                             .data_type = "byte",
                             .kind = "uniform",
                             .label = {"amplitude"},
                             .unit = {"128 + 127 sqrt(psi / max)"},
                             .min_ext = {-reach, -reach, -reach},
                             .max_ext = {reach, reach, reach},
                             .comment = name + ", positions in Bohr radii"};
    std::ofstream file = zam::examples::create_file(path);
    zam::examples::write_header(file, header);
    zam::examples::end_header(file);
    const std::vector<std::uint8_t> bytes = compress(sample(state, size, reach));
    zam::examples::write_values<std::uint8_t>(file, bytes);
    zam::examples::close_file(file, path);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 6 && argc != 7) {
        std::fputs("usage: make_orbital FILE N L M REACH [SIZE]   (REACH in Bohr radii, SIZE nodes an axis)\n", stderr);
        return 2;
    }
    const int n = number(argv[2]);
    const int l = number(argv[3]);
    const int m = number(argv[4]);
    const int reach = number(argv[5]);
    const int size = argc == 7 ? number(argv[6]) : 128;
    if (n < 1 || n > 20 || l < 0 || l >= n || std::abs(m) > l || reach < 1 || size < 2 || size > 1024) {
        throw std::runtime_error("needs 1 <= N <= 20, 0 <= L < N, |M| <= L, REACH >= 1, 2 <= SIZE <= 1024");
    }
    make(argv[1], {.n = static_cast<unsigned>(n), .l = static_cast<unsigned>(l), .m = m}, reach, size);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_orbital: %s\n", error.what());
    return 1;
}
