#include "session/values/transforms.h"

#include <cmath>
#include <cstring>
#include <numbers>

#include "session/values/number_array.h"

namespace zam::session {
namespace {

struct SineCosine {
    double sine, cosine;
};

/// Multiples of 90 degrees give 0, 1 and -1 exactly, so that such rotations map a grid onto itself.
SineCosine sine_cosine(double degrees) {
    const double turned = std::fmod(degrees, 360.0);
    const double quarters = turned / 90.0;
    if (quarters == std::trunc(quarters)) {
        constexpr SineCosine kQuarters[] = {{0, 1}, {1, 0}, {0, -1}, {-1, 0}};
        return kQuarters[(static_cast<int>(quarters) + 4) % 4];
    }
    const double radians = turned * std::numbers::pi / 180.0;
    return {std::sin(radians), std::cos(radians)};
}

using Rows = std::array<std::array<double, 3>, 3>;

/// Rotates the images of the axes about coordinate `axis`: the next coordinate turns toward the one after it.
void rotate(Rows& rows, int axis, double degrees) {
    const auto [sine, cosine] = sine_cosine(degrees);
    const auto from = static_cast<std::size_t>((axis + 1) % 3);
    const auto to = static_cast<std::size_t>((axis + 2) % 3);
    for (auto& row : rows) {
        const double a = row[from];
        const double b = row[to];
        row[from] = a * cosine - b * sine;
        row[to] = a * sine + b * cosine;
    }
}

/// Reads N numbers into `values`; false after a problem.
template <class T, std::size_t N>
bool read_values(const Cursor& place, std::array<T, N>& values) {
    const int type = std::is_same_v<T, float> ? DTYPE_FLOAT : DTYPE_DOUBLE;
    const auto array = read_exactly(place, type, static_cast<xp_long>(N));
    if (!array) return false;
    const std::string error = copy_values(*array, values.data());
    if (!error.empty()) place.problem(error);
    return error.empty();
}

/// As above from member `key`; `values` stay as they are if it is not given.
template <class T, std::size_t N>
bool read_member(const Cursor& object, std::string_view key, std::array<T, N>& values) {
    const auto place = object.find(key);
    return !place || read_values(*place, values);
}

std::optional<Transform> read_placed(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"rotate", "scale", "translate"};
    cursor.expect_keys(kKeys);
    std::array<double, 3> degrees{};
    Vector translation{};
    const auto scale_place = cursor.find("scale");
    const auto scale = scale_place ? scale_place->real() : 1.0;
    const bool read = read_member(cursor, "rotate", degrees) && read_member(cursor, "translate", translation);
    if (!read || !scale) return std::nullopt;
    return placed(*scale, degrees, translation);
}

std::optional<Transform> read_arrays(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"mat", "xlate", "center"};
    cursor.expect_keys(kKeys);
    Transform transform;
    const bool read = read_member(cursor, "mat", transform.mat) && read_member(cursor, "xlate", transform.xlate) &&
                      read_member(cursor, "center", transform.center);
    return read ? std::optional(transform) : std::nullopt;
}

std::optional<Transform> read_matrix(const Cursor& numbers) {
    Matrix matrix;
    return read_values(numbers, matrix) ? std::optional(from_matrix(matrix)) : std::nullopt;
}

}  // namespace

Transform placed(double scale, const std::array<double, 3>& degrees, const Vector& translation) {
    Rows rows{{{scale, 0, 0}, {0, scale, 0}, {0, 0, scale}}};
    for (int axis = 0; axis < 3; ++axis) rotate(rows, axis, degrees[static_cast<std::size_t>(axis)]);
    Transform transform;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            transform.mat[row * 4 + column] = static_cast<float>(rows[row][column]);
        }
    }
    transform.xlate = translation;
    return transform;
}

Transform from_matrix(const Matrix& matrix) {
    Transform transform{.mat = matrix};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        transform.xlate[axis] = matrix[12 + axis];
        transform.mat[12 + axis] = 0.0F;
    }
    return transform;
}

std::optional<Transform> read_transform(const Cursor& cursor) {
    if (cursor.is_array() || cursor.find("values_file")) return read_matrix(cursor);
    if (!cursor.object()) return std::nullopt;
    if (const auto matrix = cursor.find("matrix")) {
        constexpr std::string_view kKeys[] = {"matrix"};
        cursor.expect_keys(kKeys);
        return read_matrix(*matrix);
    }
    const bool by_arrays = cursor.find("mat") || cursor.find("xlate") || cursor.find("center");
    return by_arrays ? read_arrays(cursor) : read_placed(cursor);
}

}  // namespace zam::session
