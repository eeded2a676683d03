#include "embedded/view/polygon.h"

#include <cmath>
#include <numeric>

namespace zam::host::view {
namespace {

/// A corner seen along the polygon's normal, so that the polygon turns to the left.
struct Flat {
    double x, y;
};

/// Drops the coordinate in which the normal is longest.
std::vector<Flat> flatten(std::span<const Point> polygon, const Point& normal) {
    std::size_t dropped = 0;
    for (const std::size_t k : {1U, 2U}) {
        if (std::fabs(normal[k]) > std::fabs(normal[dropped])) dropped = k;
    }
    const std::size_t x = (dropped + 1) % 3;
    const std::size_t y = (dropped + 2) % 3;
    std::vector<Flat> flat;
    flat.reserve(polygon.size());
    for (const Point& p : polygon) flat.push_back(normal[dropped] < 0 ? Flat{p[y], p[x]} : Flat{p[x], p[y]});
    return flat;
}

/// Positive where the way from a over b to c turns to the left.
double turn(const Flat& a, const Flat& b, const Flat& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

bool is_convex(const std::vector<Flat>& flat) {
    const std::size_t count = flat.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (turn(flat[i], flat[(i + 1) % count], flat[(i + 2) % count]) < 0) return false;
    }
    return true;
}

/// Cuts off ears: corners that turn to the left with no other corner in their triangle.
/// Source: Meisters, "Polygons have Ears", American Mathematical Monthly 1975.
class EarClipper {
public:
    explicit EarClipper(const std::vector<Flat>& flat) : flat_(flat), left_(flat.size()) {
        std::iota(left_.begin(), left_.end(), std::size_t{0});
    }

    void clip(std::vector<Corners>& triangles) {
        std::size_t at = 0;
        std::size_t passed = 0;  // successive corners that were not ears
        while (left_.size() > 3) {
            at %= left_.size();
            const Corners ear = corner(at);
            // a polygon that crosses itself may run out of ears: any corner goes then
            if (!is_ear(ear) && ++passed <= left_.size()) {
                ++at;
                continue;
            }
            passed = 0;
            triangles.push_back(ear);
            left_.erase(left_.begin() + static_cast<std::ptrdiff_t>(at));
        }
        triangles.push_back({left_[0], left_[1], left_[2]});
    }

private:
    Corners corner(std::size_t at) const {
        const std::size_t count = left_.size();
        return {left_[(at + count - 1) % count], left_[at], left_[(at + 1) % count]};
    }

    bool is_ear(const Corners& ear) const {
        const Flat& a = flat_[ear[0]];
        const Flat& b = flat_[ear[1]];
        const Flat& c = flat_[ear[2]];
        if (turn(a, b, c) <= 0) return false;
        for (const std::size_t other : left_) {
            if (other == ear[0] || other == ear[1] || other == ear[2]) continue;
            const Flat& p = flat_[other];
            if (turn(a, b, p) >= 0 && turn(b, c, p) >= 0 && turn(c, a, p) >= 0) return false;
        }
        return true;
    }

    const std::vector<Flat>& flat_;
    std::vector<std::size_t> left_;
};

}  // namespace

Point area_normal(std::span<const Point> polygon) {
    // relative to the first corner: far from the origin the products would cancel
    Point normal{};
    const Point& o = polygon[0];
    for (std::size_t i = 2; i < polygon.size(); ++i) {
        const Point& p = polygon[i - 1];
        const Point& q = polygon[i];
        for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t a = (k + 1) % 3;
            const std::size_t b = (k + 2) % 3;
            normal[k] += (p[a] - o[a]) * (q[b] - o[b]) - (p[b] - o[b]) * (q[a] - o[a]);
        }
    }
    return normal;
}

void triangulate(std::span<const Point> polygon, const Point& normal, std::vector<Corners>& triangles) {
    const std::size_t count = polygon.size();
    if (count > 3 && count <= kMaxClipped) {
        const auto flat = flatten(polygon, normal);
        if (!is_convex(flat)) return EarClipper(flat).clip(triangles);
    }
    for (std::size_t i = 2; i < count; ++i) triangles.push_back({0, i - 1, i});
}

}  // namespace zam::host::view
