// Matrix helpers. Products are single precision, summed in ascending order of the inner index; inverses are computed in
// double precision and rounded once.
#include <algorithm>
#include <array>
#include <cmath>

#include "contract/mat.h"

namespace {

// A pivot this small compared with its row is what rounding leaves of a zero.
constexpr double kSingularPivot = 1e-14;

template <int N>
struct Elimination {
    double left[N][N];
    double right[N][N];
    double scale[N];  // largest magnitude of each row of the matrix

    explicit Elimination(const float* matrix) {
        for (int row = 0; row < N; ++row) {
            scale[row] = 0.0;
            for (int column = 0; column < N; ++column) {
                left[row][column] = matrix[row * N + column];
                right[row][column] = row == column ? 1.0 : 0.0;
                scale[row] = std::max(scale[row], std::fabs(left[row][column]));
            }
        }
    }

    double relative(int row, int column) const { return std::fabs(left[row][column]) / scale[row]; }

    /// Brings the row with the relatively largest element of `column` into place; false if that is zero.
    bool pivot(int column) {
        int best = column;
        for (int row = column + 1; row < N; ++row) {
            if (relative(row, column) > relative(best, column)) best = row;
        }
        if (!(relative(best, column) > kSingularPivot)) return false;  // not-a-number ends here too
        std::swap(left[best], left[column]);
        std::swap(right[best], right[column]);
        std::swap(scale[best], scale[column]);
        return true;
    }

    void clear(int column) {
        const double divisor = left[column][column];
        for (int k = 0; k < N; ++k) {
            left[column][k] /= divisor;
            right[column][k] /= divisor;
        }
        for (int row = 0; row < N; ++row) {
            const double factor = left[row][column];
            if (row == column || factor == 0.0) continue;
            for (int k = 0; k < N; ++k) {
                left[row][k] -= factor * left[column][k];
                right[row][k] -= factor * right[column][k];
            }
        }
    }
};

/// Gauss-Jordan elimination with scaled partial pivoting (Golub & Van Loan, "Matrix Computations").
template <int N>
int invert(float* inverse, const float* matrix) {
    Elimination<N> work(matrix);
    for (int column = 0; column < N; ++column) {
        if (!work.pivot(column)) return 0;
        work.clear(column);
    }
    std::array<float, N * N> result;
    for (std::size_t k = 0; k < N * N; ++k) result[k] = static_cast<float>(work.right[k / N][k % N]);
    if (!std::all_of(result.begin(), result.end(), [](float value) { return std::isfinite(value); })) return 0;
    std::copy(result.begin(), result.end(), inverse);
    return 1;
}

}  // namespace

void MATmat4_multiply(const float a[16], const float b[16], float product[16]) {
    std::array<float, 16> result;
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            float sum = a[4 * row] * b[column];
            for (std::size_t k = 1; k < 4; ++k) sum += a[4 * row + k] * b[4 * k + column];
            result[4 * row + column] = sum;
        }
    }
    std::copy(result.begin(), result.end(), product);
}

void MATvec3_mat4_multiply(float vector[3], const float matrix[16]) {
    const float x = vector[0];
    const float y = vector[1];
    const float z = vector[2];
    for (int k = 0; k < 3; ++k) vector[k] = x * matrix[k] + y * matrix[4 + k] + z * matrix[8 + k] + matrix[12 + k];
}

int MATmat3_inverse(float inverse[9], const float matrix[9]) { return invert<3>(inverse, matrix); }

int MATmat4_inverse(float inverse[16], const float matrix[16]) { return invert<4>(inverse, matrix); }
