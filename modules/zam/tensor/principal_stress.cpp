// Jacobi rotations take the same operations for every tensor, so that several are turned at once.
#include "modules/zam/tensor/principal_stress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "modules/support/lanes.h"

namespace zam {
namespace {

using Pair = Lanes<double, 2>;
using PairMask = MaskOf<Pair>;

// Tensors processed together: several pairs, which hide each other's latency.
constexpr std::size_t kPairs = 8;
constexpr std::size_t kTensors = 2 * kPairs;

constexpr int kMaxSweeps = 100;

// Elements off the diagonal count as zero at 1e-6 of the step between neighbouring floats of the tensor's size: what is
// stored as float cannot tell the difference.
constexpr double kThreshold = 1e-6 * std::numeric_limits<float>::epsilon();

/// One number per tensor.
struct Numbers {
    Pair pair[kPairs];

    void set(std::size_t tensor, double value) { pair[tensor / 2][tensor % 2] = value; }
    double operator[](std::size_t tensor) const { return pair[tensor / 2][tensor % 2]; }
};

/// Tensors on their way to being diagonal.
struct Tensors {
    std::array<std::array<Numbers, 3>, 3> element;  // upper triangle
    std::array<std::array<Numbers, 3>, 3> axis;     // [column][component]: the rotations so far
    Numbers limit;                                  // squared threshold of the elements off the diagonal
    PairMask active[kPairs];                        // set until these are below it
};

bool has_stress(const float* tensor) {
    for (int k = 0; k < 6; ++k) {
        if (!std::isfinite(tensor[k])) return false;
    }
    // deliberate: the test is on the sum, so tensors whose components cancel count as zero
    return tensor[0] + tensor[1] + tensor[2] + tensor[3] + tensor[4] + tensor[5] != 0.0F;
}

/// Places without stress hold zeros.
void load(const float* tensors, std::size_t count, Tensors& work) {
    constexpr std::array<std::pair<std::size_t, std::size_t>, 6> kPlaces{
        {{0, 0}, {1, 1}, {2, 2}, {0, 1}, {1, 2}, {0, 2}}};
    for (std::size_t n = 0; n < kTensors; ++n) {
        const float* tensor = tensors + 6 * n;
        const bool used = n < count && has_stress(tensor);
        double squares = 0;
        for (std::size_t k = 0; k < 6; ++k) {
            const double value = used ? tensor[k] : 0.0;
            work.element[kPlaces[k].first][kPlaces[k].second].set(n, value);
            squares += (k < 3 ? 1.0 : 2.0) * value * value;
        }
        work.limit.set(n, kThreshold * kThreshold * squares);
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t k = 0; k < 3; ++k) work.axis[column][k].set(n, column == k ? 1.0 : 0.0);
        }
    }
}

/// Marks the tensors that are not finished yet. @return whether there are any
bool find_active(Tensors& work) {
    const auto& [row0, row1, row2] = work.element;
    PairMask any = {};
    for (std::size_t n = 0; n < kPairs; ++n) {
        const Pair xy = row0[1].pair[n];
        const Pair xz = row0[2].pair[n];
        const Pair yz = row1[2].pair[n];
        work.active[n] = xy * xy + xz * xz + yz * yz > work.limit.pair[n];
        any |= work.active[n];
    }
    return any_negative(any);
}

void turn(const Numbers& cosine, const Numbers& sine, Numbers& p, Numbers& q) {
    for (std::size_t n = 0; n < kPairs; ++n) {
        const Pair before = p.pair[n];
        p.pair[n] = cosine.pair[n] * before - sine.pair[n] * q.pair[n];
        q.pair[n] = sine.pair[n] * before + cosine.pair[n] * q.pair[n];
    }
}

/// Turns axes p and q, p < q, by the smaller angle that makes their element 0.
template <std::size_t p, std::size_t q>
void rotate(Tensors& work) {
    constexpr std::size_t kOther = 3 - p - q;
    constexpr PairMask kSign = {INT64_MIN, INT64_MIN};
    constexpr Pair kOnes = {1, 1};
    Numbers& diagonal_p = work.element[p][p];
    Numbers& diagonal_q = work.element[q][q];
    Numbers& element = work.element[p][q];
    Numbers cosine;
    Numbers sine;
    for (std::size_t n = 0; n < kPairs; ++n) {
        const Pair beside = element.pair[n];
        const Pair twice = 2 * beside * keep(work.active[n], kOnes);
        const Pair gap = diagonal_q.pair[n] - diagonal_p.pair[n];
        const PairMask sign = bits(gap) & kSign;
        const Pair root = square_root(gap * gap + twice * twice);
        // the smallest normal number only prevents 0 / 0
        const Pair tangent =
            from_bits<Pair>(bits(twice) ^ sign) / (keep(~kSign, gap) + root + std::numeric_limits<double>::min());
        cosine.pair[n] = 1 / square_root(1 + tangent * tangent);
        sine.pair[n] = tangent * cosine.pair[n];
        diagonal_p.pair[n] -= tangent * beside;
        diagonal_q.pair[n] += tangent * beside;
        element.pair[n] = keep(~work.active[n], beside);
    }
    turn(cosine, sine, work.element[std::min(p, kOther)][std::max(p, kOther)],
         work.element[std::min(q, kOther)][std::max(q, kOther)]);
    for (std::size_t k = 0; k < 3; ++k) turn(cosine, sine, work.axis[p][k], work.axis[q][k]);
}

void make_diagonal(Tensors& work) {
    for (int sweep = 0; sweep < kMaxSweeps && find_active(work); ++sweep) {
        rotate<0, 1>(work);
        rotate<0, 2>(work);
        rotate<1, 2>(work);
    }
}

/// Columns in the order of a selection sort: the largest of the remaining values comes next, of equal ones the first.
std::array<std::size_t, 3> descending(double first, double second, double third) {
    const std::array<double, 3> values{first, second, third};
    std::array<std::size_t, 3> order{0, 1, 2};
    for (std::size_t place = 0; place < 2; ++place) {
        std::size_t best = place;
        for (std::size_t k = place + 1; k < 3; ++k) {
            if (values[order[k]] > values[order[best]]) best = k;
        }
        std::swap(order[place], order[best]);
    }
    return order;
}

void store(const Tensors& work, std::size_t n, bool stressed, float* values, float* axes) {
    const auto& element = work.element;
    const auto order = descending(element[0][0][n], element[1][1][n], element[2][2][n]);
    for (std::size_t place = 0; place < 3; ++place) {
        const std::size_t column = order[place];
        values[place] = static_cast<float>(element[column][column][n]);
        for (std::size_t k = 0; k < 3; ++k) {
            axes[3 * place + k] = stressed ? static_cast<float>(work.axis[column][k][n]) : 0.0F;
        }
    }
}

}  // namespace

void principal_stresses(std::span<const float> tensors, std::span<float> values, std::span<float> axes) {
    const std::size_t nodes = values.size() / 3;
    Tensors work;
    for (std::size_t first = 0; first < nodes; first += kTensors) {
        const std::size_t count = std::min(kTensors, nodes - first);
        const float* block = tensors.data() + 6 * first;
        load(block, count, work);
        make_diagonal(work);
        for (std::size_t n = 0; n < count; ++n) {
            store(work, n, has_stress(block + 6 * n), values.data() + 3 * (first + n), axes.data() + 9 * (first + n));
        }
    }
}

}  // namespace zam
