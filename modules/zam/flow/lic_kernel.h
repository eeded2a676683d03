// Convolution kernels: the weight of each step of a streamline.
#pragma once

#include <vector>

namespace zam::lic {

/// deliberate: the kernels' frequencies and phases use exactly this value.
constexpr double kPi = 3.141592;

/// Weights by the number of the step, counted from the pixel outward. Steps count alike however long they are, except
/// for the first of each direction, which is half a step.
struct Kernel {
    std::vector<double> forward, backward;
    double full;  // what the weights of a streamline that nothing stops add up to
    bool alike;   // all weights are 1
};

/// Every step counts 1.
/// @param half_length  steps in each direction
/// @param steps        weights to make, at least 1
/// @throws std::bad_alloc
Kernel box_kernel(int half_length, int steps);

/// A Hann window times a ripple that moves with its phase.
/// @param cycle  periods of the ripple over the kernel
/// @param phase  fifths of a period
Kernel ripple_kernel(int half_length, int cycle, int phase, int steps);

}  // namespace zam::lic
