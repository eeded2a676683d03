// How an object is turned and scaled so that it fills a picture.
#pragma once

#include <array>
#include <vector>

#include "session/values/transforms.h"

namespace zam::session {

/// A view as the tracer and the host's view have it: the shorter side of the picture spans -0.5 to 0.5, the viewer
/// looks along -z.
struct Camera {
    int width = 512, height = 512;
    double perspective = 0;  // 0: parallel, else 1 / distance of the eye
    double zoom = 1;
};

/// Part of the picture that an object fills.
constexpr double kFilled = 0.9;

/// The largest scale at which a box that is turned about its middle is seen whole.
/// @param turn  a rotation
/// @param half  half the length of each of the box' edges
double fitting_scale(const Camera& camera, const Matrix& turn, const std::array<double, 3>& half);

/// A turn by that many degrees about the z axis of an object, before another.
Matrix turned_first(double degrees, const Matrix& turn);

/// A turn after the axes of the object have been scaled.
Matrix scaled_first(const std::array<double, 3>& scale, const Matrix& turn);

}  // namespace zam::session
