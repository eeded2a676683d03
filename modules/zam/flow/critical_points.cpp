#include "modules/zam/flow/critical_points.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>

namespace zam::topology {
namespace {

/// Step of the differences that make the Jacobian, in cells.
constexpr double kStep = 0.0001;
/// A trace nearer to 0 than this is that of a centre.
constexpr double kCentreTrace = 0.0001;

/// In place of a position: there is no root.
constexpr float kNoRoot = -1.0F;

bool in_cell(float position) { return position >= 0.0F && position <= 1.0F; }

/// One component over a cell: f = at + s along + t across + s t twist, s along the row and t across the rows.
struct Bilinear {
    float at, along, across, twist;

    Bilinear(float a, float b, float c, float d) : at(a), along(b - a), across(c - a), twist(a - b - c + d) {}

    /// Where the component vanishes on the line at t across.
    float zero_along(float t) const { return -(t * across + at) / (t * twist + along); }
    /// Whether it is constant on that line.
    bool flat_along(float t) const { return t * twist + along == 0.0F; }
};

/// Positions t of zeros across the rows, each in 0 to 1 or kNoRoot.
struct Roots {
    float first = kNoRoot, second = kNoRoot;
};

/// Where a quadratic qa t t + qb t + qc vanishes inside a cell. The root of larger magnitude comes from the formula,
/// the other one from their product, so that neither loses digits.
Roots roots_in_cell(float qa, float qb, float qc) {
    const auto root_or_none = [](float t) { return in_cell(t) ? t : kNoRoot; };
    if (qa == 0.0F) return {root_or_none(-qc / qb), kNoRoot};  // no square term, as in linear fields
    const float disc = qb * qb - 4 * qa * qc;
    if (disc == 0.0F) return {root_or_none(-qb / (2 * qa)), kNoRoot};
    if (!(disc > 0.0F)) return {};
    const double root = std::sqrt(static_cast<double>(disc));
    const auto t1 = static_cast<float>((qb >= 0.0F ? -qb - root : root - qb) / static_cast<double>(2 * qa));
    const float t2 = qc / (t1 * qa);
    if (!in_cell(t1)) return {root_or_none(t2), kNoRoot};
    return {t1, root_or_none(t2)};
}

/// Smallest and largest of the values at the corners of a cell.
struct Range {
    float low, high;

    Range(float a, float b, float c, float d)
        : low(std::min(std::min(a, b), std::min(c, d))), high(std::max(std::max(a, b), std::max(c, d))) {}

    bool changes_sign() const { return low <= 0.0F && high >= 0.0F; }

    /// Whether a zero could be found in the cell. False only where rounding cannot matter: the corners have one sign,
    /// and the smallest is further from 0 than all rounding errors of a zero's position together, which stay below 2e-6
    /// of the largest. Beyond the limits given here differences could overflow, products underflow.
    bool may_vanish() const {
        const float nearest = low > 0.0F ? low : -high;
        const float farthest = low > 0.0F ? high : -low;
        return !(nearest > 1e-5F * farthest + 1e-37F && farthest < 1e37F);
    }
};

/// Appends the zeros of cell (i, j). @return whether they fit
bool append_zeros(const VectorGrid& grid, int i, int j, std::span<CriticalPoint> points, std::size_t& count) {
    const float* near = grid.node(i, j);
    const float* far = grid.node(i, j + 1);
    const Bilinear u(near[0], near[2], far[0], far[2]);
    const Bilinear v(near[1], near[3], far[1], far[3]);
    const float qa = v.twist * u.across - v.across * u.twist;
    const float qc = v.along * u.at - v.at * u.along;
    const float qb = v.twist * u.at - v.at * u.twist + v.along * u.across - v.across * u.along;
    const Roots roots = roots_in_cell(qa, qb, qc);
    for (const float t : {roots.first, roots.second}) {
        if (t == kNoRoot) continue;
        // where u is constant on the line, its quotient is undefined, and the zero is where v vanishes
        const bool only_v_tells = u.flat_along(t) && Range(near[0], near[2], far[0], far[2]).changes_sign();
        const float s = (only_v_tells ? v : u).zero_along(t);
        if (!in_cell(s)) continue;
        if (count == points.size()) return false;
        points[count].x = static_cast<float>(i) + s;
        points[count].y = static_cast<float>(j) + t;
        ++count;
    }
    return true;
}

/// Vectors on both sides of a point along one axis.
struct Sides {
    TopologyVector plus, minus;
};

/// Samples both sides along an axis of `nodes` nodes, where `sample_at` takes the position on that axis.
template <class SampleAt>
Sides sample_sides(double position, int nodes, SampleAt sample_at) {
    const auto twice = [](const TopologyVector& vector) { return TopologyVector{2 * vector.x, 2 * vector.y}; };
    // deliberate: at a border the inner sample counts twice and the outer one as zero.
    if (position > nodes - 1 - kStep) return {{0.0, 0.0}, twice(sample_at(position - kStep))};
    if (position < kStep) return {twice(sample_at(position + kStep)), {0.0, 0.0}};
    return {sample_at(position + kStep), sample_at(position - kStep)};
}

Jacobian jacobian_at(const VectorGrid& grid, double x, double y) {
    const Sides along_x = sample_sides(x, grid.columns, [&](double at) { return sample_vector(grid, at, y); });
    const Sides along_y = sample_sides(y, grid.rows, [&](double at) { return sample_vector(grid, x, at); });
    // deliberate: divided by h, although the samples are 2 h apart.
    return {.a = (along_x.plus.x - along_x.minus.x) / kStep,
            .b = (along_y.plus.x - along_y.minus.x) / kStep,
            .c = (along_x.plus.y - along_x.minus.y) / kStep,
            .d = (along_y.plus.y - along_y.minus.y) / kStep};
}

/// Eigenvector of one eigenvalue: (w, 1), or the axis of the eigenvalue where the quotients for w are undefined.
TopologyVector eigen_direction(const Jacobian& jacobian, double lambda) {
    const auto [a, b, c, d] = jacobian;
    const bool along_x = std::abs(lambda - a) < std::abs(lambda - d);
    // of a diagonal matrix, whose first quotient may be 0 by a rounding error of the eigenvalue alone
    if (b == 0.0 && c == 0.0 && along_x) return {1.0, 0.0};
    const double first = b / (lambda - a);
    const double second = (lambda - d) / c;
    double w = (first + second) * 0.5;
    if (!std::isfinite(first)) w = second;
    if (!std::isfinite(second)) w = first;
    if (!std::isfinite(w)) return along_x ? TopologyVector{1.0, 0.0} : TopologyVector{0.0, 1.0};
    if (w > 1000.0) return {w / 100.0, 1.0 / 100.0};
    if (w < 0.0001) return {w * 100.0, 100.0};  // deliberate: negative ones too
    return {w, 1.0};
}

}  // namespace

bool find_critical_points(const VectorGrid& grid, Skeleton& skeleton) {
    std::size_t count = 0;
    for (int j = 0; j < grid.rows - 1; ++j) {
        const float* near = grid.node(0, j);
        const float* far = grid.node(0, j + 1);
        for (int i = 0; i < grid.columns - 1; ++i, near += 2, far += 2) {
            if (!Range(near[0], near[2], far[0], far[2]).may_vanish()) continue;
            if (!append_zeros(grid, i, j, skeleton.critical_points, count)) return false;
        }
    }
    return true;
}

int classify_critical_point(const VectorGrid& grid, CriticalPoint& point, Skeleton& skeleton) {
    const Jacobian jacobian = jacobian_at(grid, point.x, point.y);
    const double p = jacobian.a + jacobian.d;
    const double q = jacobian.a * jacobian.d - jacobian.c * jacobian.b;
    const double disc = p * p - 4 * q;
    if (disc < 0.0) {
        if (p > -kCentreTrace && p < kCentreTrace) return TOPOLOGY_CENTRE;
        return p > 0.0 ? TOPOLOGY_REPELLING_FOCUS : TOPOLOGY_ATTRACTING_FOCUS;
    }
    const double root = std::sqrt(disc);
    const double lambda1 = (p >= 0.0 ? p + root : p - root) * 0.5;
    const double lambda2 = q / lambda1;
    if (lambda1 > 0.0 && lambda2 > 0.0) return TOPOLOGY_REPELLING_NODE;
    if (lambda1 < 0.0 && lambda2 < 0.0) return TOPOLOGY_ATTRACTING_NODE;
    if (!(lambda1 * lambda2 < 0.0)) return -1;
    skeleton.directions[static_cast<std::size_t>(skeleton.saddle_num)] = saddle_directions(jacobian, lambda1, lambda2);
    point.saddle = skeleton.saddle_num++;
    return TOPOLOGY_SADDLE;
}

Directions saddle_directions(const Jacobian& jacobian, double lambda1, double lambda2) {
    const TopologyVector e1 = eigen_direction(jacobian, lambda1);
    const TopologyVector e2 = eigen_direction(jacobian, lambda2);
    return {e1, e2, TopologyVector{-e1.x, -e1.y}, TopologyVector{-e2.x, -e2.y}};
}

}  // namespace zam::topology
