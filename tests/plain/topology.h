// The topology of a plane vector field in the plainest form: one loop after another, with growing lists. What the
// module computes must be the same to the last bit. The tests and the benchmark compare with it.
#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace zam::test {

struct PlainVector {
    double x, y;
};

struct PlainPoint {
    double x, y;
    int kind;
};

struct PlainTopology {
    const float* data;
    int nx, ny;
    double interval, radius;

    std::vector<PlainPoint> points;
    std::vector<std::vector<PlainVector>> directions;  // four per saddle
    std::vector<std::vector<PlainVector>> lines;
    std::map<std::pair<int, int>, std::vector<PlainVector>> buckets;

    float u(int i, int j) const { return data[2 * (j * nx + i)]; }
    float v(int i, int j) const { return data[2 * (j * nx + i) + 1]; }

    bool on_grid(double x, double y) const { return x >= 0 && x <= nx - 1 && y >= 0 && y <= ny - 1; }

    PlainVector sample(double x, double y) const {
        const int i = int(x), j = int(y);
        const int i1 = i + 1 < nx ? i + 1 : i, j1 = j + 1 < ny ? j + 1 : j;
        const double fx = x - std::floor(x), fy = y - std::floor(y);
        return {(u(i, j) * (1 - fx) + u(i1, j) * fx) * (1 - fy) + (u(i, j1) * (1 - fx) + u(i1, j1) * fx) * fy,
                (v(i, j) * (1 - fx) + v(i1, j) * fx) * (1 - fy) + (v(i, j1) * (1 - fx) + v(i1, j1) * fx) * fy};
    }

    void scan_cell(int i, int j) {
        const float u_a = u(i, j), u_b = u(i + 1, j), u_c = u(i, j + 1), u_d = u(i + 1, j + 1);
        const float v_a = v(i, j), v_b = v(i + 1, j), v_c = v(i, j + 1), v_d = v(i + 1, j + 1);
        const float au = u_b - u_a, bu = u_c - u_a, cu = u_a - u_b - u_c + u_d;
        const float av = v_b - v_a, bv = v_c - v_a, cv = v_a - v_b - v_c + v_d;
        const float qa = cv * bu - bv * cu, qc = av * u_a - v_a * au, qb = cv * u_a - v_a * cu + av * bu - bv * au;
        const float disc = qb * qb - 4 * qa * qc;
        const auto in_cell = [](float t) { return t >= 0 && t <= 1; };
        float t1 = -1, t2 = -1;
        if (qa == 0)
            t1 = -qc / qb;
        else if (disc == 0)
            t1 = -qb / (2 * qa);
        else if (disc > 0) {
            const double root = std::sqrt(double(disc));
            t1 = float((qb >= 0 ? -qb - root : root - qb) / (2 * qa));
            t2 = qc / (t1 * qa);
        }
        for (float t : {t1, t2}) {
            if (!in_cell(t)) continue;
            float s = -(t * bu + u_a) / (t * cu + au);
            const bool signs = std::min({u_a, u_b, u_c, u_d}) <= 0 && std::max({u_a, u_b, u_c, u_d}) >= 0;
            if (t * cu + au == 0 && signs) s = -(t * bv + v_a) / (t * cv + av);
            if (in_cell(s)) points.push_back({double(float(i) + s), double(float(j) + t), -1});
        }
    }

    /// Plus minus minus along an axis.
    PlainVector difference(double x, double y, bool along_x) const {
        const double h = 0.0001, at = along_x ? x : y, last = (along_x ? nx : ny) - 1;
        const auto side = [&](double by) { return along_x ? sample(x + by, y) : sample(x, y + by); };
        const bool at_end = at > last - h, at_start = at < h && !at_end;  // the inner sample counts twice there
        const PlainVector plus = at_end ? PlainVector{0, 0} : side(h), minus = at_start ? PlainVector{0, 0} : side(-h);
        const int times = at_end || at_start ? 2 : 1;
        return {times * plus.x - times * minus.x, times * plus.y - times * minus.y};
    }

    int classify(double x, double y) {
        const double h = 0.0001;
        const PlainVector dx = difference(x, y, true), dy = difference(x, y, false);
        const double a = dx.x / h, b = dy.x / h, c = dx.y / h, d = dy.y / h;
        const double p = a + d, q = a * d - c * b;
        if (p * p - 4 * q < 0) return p > -0.0001 && p < 0.0001 ? 5 : p > 0 ? 4 : 3;
        const double l1 = p >= 0 ? (p + std::sqrt(p * p - 4 * q)) * 0.5 : (p - std::sqrt(p * p - 4 * q)) * 0.5;
        const double l2 = q / l1;
        if (l1 > 0 && l2 > 0) return 2;
        if (l1 < 0 && l2 < 0) return 1;
        if (!(l1 * l2 < 0)) return -1;
        std::vector<PlainVector> e;
        for (double l : {l1, l2}) {
            const double w1 = b / (l - a), w2 = (l - d) / c;
            const double w = !std::isfinite(w1) ? w2 : !std::isfinite(w2) ? w1 : (w1 + w2) * 0.5;
            const bool along_x = std::abs(l - a) < std::abs(l - d);
            if (!std::isfinite(w) || (b == 0 && c == 0 && along_x)) {
                e.push_back(along_x ? PlainVector{1, 0} : PlainVector{0, 1});
                continue;
            }
            const double shrink = w > 1000.0 ? 100.0 : 1.0, stretch = w < 0.0001 ? 100.0 : 1.0;
            e.push_back({w / shrink * stretch, 1.0 / shrink * stretch});
        }
        directions.push_back({e[0], e[1], {-e[0].x, -e[0].y}, {-e[1].x, -e[1].y}});
        return 0;
    }

    std::vector<PlainVector>& bucket(double x, double y) { return buckets[{int(std::floor(x)), int(std::floor(y))}]; }

    void trace(std::vector<PlainVector>& line, int direction) {
        long counter = 0;
        for (;;) {
            const PlainVector at = line.back(), f = sample(at.x, at.y);
            if (std::sqrt(f.x * f.x + f.y * f.y) < 1e-10) return;
            const double x = at.x + direction * (f.x / interval), y = at.y + direction * (f.y / interval);
            if (!on_grid(x, y)) return;
            for (const PlainVector& entry : bucket(x, y)) {
                if (std::sqrt((x - entry.x) * (x - entry.x) + (y - entry.y) * (y - entry.y)) < radius) return;
            }
            line.push_back({x, y});
            if (++counter > 10L * nx * ny) {
                bucket(x, y).push_back({x, y});
                counter = 0;
            }
        }
    }

    void run() {
        for (int j = 0; j < ny - 1; ++j)
            for (int i = 0; i < nx - 1; ++i) scan_cell(i, j);
        for (PlainPoint& point : points) {
            point.kind = classify(point.x, point.y);
            if (point.kind == 0) bucket(point.x, point.y).push_back({point.x, point.y});
        }
        std::size_t saddle = 0;
        for (const PlainPoint& point : points) {
            if (point.kind != 0) continue;
            for (const PlainVector& e : directions[saddle]) {
                const double length = std::sqrt(e.x * e.x + e.y * e.y), ex = e.x / length, ey = e.y / length;
                const double x = point.x + 2 * radius * ex, y = point.y + 2 * radius * ey;
                if (!on_grid(x, y)) continue;
                const PlainVector f = sample(x, y);
                const double speed = std::sqrt(f.x * f.x + f.y * f.y);
                lines.push_back({{point.x, point.y}, {x, y}});
                trace(lines.back(), f.x / speed * ex + f.y / speed * ey >= 0 ? 1 : -1);
            }
            ++saddle;
        }
    }
};

}  // namespace zam::test
