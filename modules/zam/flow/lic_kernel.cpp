#include "modules/zam/flow/lic_kernel.h"

#include <cmath>
#include <cstddef>

#include "modules/zam/lic_texture.h"

namespace {

/// The integral of cos(frequency s + phase) over s from s0 to s1; the limit of the quotient where it is undefined.
double wave_integral(double s0, double s1, double frequency, double phase) {
    if (frequency == 0) return std::cos(phase) * (s1 - s0);
    return (std::sin(frequency * s1 + phase) - std::sin(frequency * s0 + phase)) / frequency;
}

/// Half of that, with the 2 in the divisor.
double half_wave_integral(double s0, double s1, double frequency, double phase) {
    if (frequency == 0) return std::cos(phase) * (s1 - s0) / 2;
    return (std::sin(frequency * s1 + phase) - std::sin(frequency * s0 + phase)) / (2 * frequency);
}

}  // namespace

float ripple(double s0, double s1, double a, double b, double p) {
    return static_cast<float>(0.25 * (wave_integral(s0, s1, a, 0) + (s1 - s0) + wave_integral(s0, s1, b, p) +
                                      half_wave_integral(s0, s1, a - b, -p) + half_wave_integral(s0, s1, a + b, p)));
}

namespace zam::lic {

Kernel box_kernel(int half_length, int steps) {
    const std::vector<double> ones(static_cast<std::size_t>(steps), 1.0);
    return {.forward = ones, .backward = ones, .full = 2.0 * half_length - 1, .alike = true};
}

Kernel ripple_kernel(int half_length, int cycle, int phase, int steps) {
    const double reach = half_length - 0.5;
    const double angle = phase * 2.0 * kPi / 5;
    Kernel kernel{};
    kernel.forward.reserve(static_cast<std::size_t>(steps));
    kernel.backward.reserve(static_cast<std::size_t>(steps));
    double u = 0;
    double width = 0.5;
    for (int step = 0; step < steps; ++step) {
        const double a = kPi / reach;
        const double b = cycle * kPi / reach;
        kernel.forward.push_back(ripple(u, u + width, a, b, angle));
        kernel.backward.push_back(ripple(-u - width, -u, a, b, angle));
        u += width;
        width = 1;
    }
    const double length = half_length;
    kernel.full = ripple(-length, length, kPi / length, cycle * kPi / length, angle);
    return kernel;
}

}  // namespace zam::lic
