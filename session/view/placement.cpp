#include "session/view/placement.h"

#include <algorithm>
#include <cmath>

namespace zam::session {
namespace {

Matrix product(const Matrix& a, const Matrix& b) {
    Matrix result{};
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            double sum = 0.0;
            for (std::size_t k = 0; k < 4; ++k) sum += double{a[4 * row + k]} * double{b[4 * k + column]};
            result[4 * row + column] = static_cast<float>(sum);
        }
    }
    return result;
}

}  // namespace

double fitting_scale(const Camera& camera, const Matrix& turn, const std::array<double, 3>& half) {
    std::array<double, 3> reach{};  // of the turned box, along the axes of the view
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t edge = 0; edge < 3; ++edge)
            reach[axis] += std::fabs(double{turn[4 * edge + axis]}) * half[edge];
    }
    const double side = std::min(camera.width, camera.height);
    const double room_x = 0.5 * kFilled * camera.width / side;
    const double room_y = 0.5 * kFilled * camera.height / side;
    // a point at the near side is seen at x s / (1 - perspective z s)
    const double near = camera.perspective * reach[2];
    const double needed = std::max({reach[0] / room_x + near, reach[1] / room_y + near, near / kFilled});
    return camera.zoom * (needed > 0.0 ? 1.0 / needed : 1.0);
}

Matrix turned_first(double degrees, const Matrix& turn) { return product(placed(1.0, {0, 0, degrees}, {}).mat, turn); }

Matrix scaled_first(const std::array<double, 3>& scale, const Matrix& turn) {
    Matrix result = turn;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column)
            result[4 * row + column] = static_cast<float>(double{turn[4 * row + column]} * scale[row]);
    }
    return result;
}

}  // namespace zam::session
