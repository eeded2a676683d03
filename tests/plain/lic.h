// Line integral convolution in its plainest form: one pixel, one streamline, one step at a time, with every division
// where it is needed. The tests compare the module's pixels with these byte by byte, the benchmarks its speed.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace plain {

struct LicScene {
    int nx = 0, ny = 0;
    int veclen = 2;
    const float* vectors = nullptr;  // nx * ny * veclen
    int line = 10, norm = 0;
    double rate = 0;
    int cycle = 0, phase = 0, animflag = 0, filvecflag = 0, colvecflag = 0;
    int comp_x = 0, comp_y = 1;
};

/// x[n] = (x[n - 55] - x[n - 24]) mod M, from 55 numbers that a seed spreads; the first 165 are thrown away.
class LicRandom {
public:
    explicit LicRandom(int seed) {
        table_[55] = seed;
        for (int i = 1, previous = seed, current = 1; i <= 54; ++i) {
            table_[(21 * i) % 55] = current;
            int next = previous - current;
            if (next < 0) next += kModulus;
            previous = current;
            current = next;
        }
        for (int k = 0; k < 3 * 55; ++k) next();
    }
    int next() {
        at_ = at_ % 55 + 1;
        // 24 numbers ago: entries up to 24 still hold the last round's from 32 on
        const int other = at_ <= 24 ? table_[at_ + 31] : table_[at_ - 24];
        table_[at_] -= other;
        if (table_[at_] < 0) table_[at_] += kModulus;
        return table_[at_];
    }

private:
    static constexpr int kModulus = 1000000000;
    int table_[56] = {};
    int at_ = 55;
};

inline int lic_step(double x, double y, double vx, double vy, int previous, double& dx, double& dy) {
    if ((previous == 1 && vy > 0) || (previous == 2 && vy < 0) || (previous == 3 && vx < 0) ||
        (previous == 4 && vx > 0))
        return 0;
    const double to_x = vx > 0 || previous == 3 ? std::floor(x) + 1 : std::floor(x);
    const double to_y = vy > 0 || previous == 2 ? std::floor(y) + 1 : std::floor(y);
    const double y_there = vx == 0 ? y : (to_x - x) * (vy / vx) + y;
    const double x_there = vy == 0 ? x : (to_y - y) * (vx / vy) + x;
    const double upright = (to_x - x) * (to_x - x) + (y_there - y) * (y_there - y);
    const double level = (x_there - x) * (x_there - x) + (to_y - y) * (to_y - y);
    const bool crosses_x = upright <= level;
    dx = (crosses_x ? to_x : x_there) - x;
    dy = (crosses_x ? y_there : to_y) - y;
    if (crosses_x && !(vx > 0)) dx -= 0.0001;
    if (!crosses_x && !(vy >= 0)) dy -= 0.0001;
    return crosses_x ? (vx > 0 ? 3 : 4) : (vy >= 0 ? 2 : 1);
}

inline float lic_ripple(double s0, double s1, double a, double b, double p) {
    const auto term = [&](double k, double q, double twice) {
        return k == 0 ? std::cos(q) * (s1 - s0) / twice : (std::sin(k * s1 + q) - std::sin(k * s0 + q)) / (twice * k);
    };
    return static_cast<float>(0.25 *
                              (term(a, 0, 1) + (s1 - s0) + term(b, p, 1) + term(a - b, -p, 2) + term(a + b, p, 2)));
}

class PlainLic {
public:
    explicit PlainLic(const LicScene& scene) : s_(scene), l_(scene.line) {
        if (s_.animflag != 0) s_.filvecflag = s_.colvecflag = 0;
        LicRandom random(5993232);
        const std::size_t count = static_cast<std::size_t>(s_.nx) * static_cast<std::size_t>(s_.ny);
        for (std::size_t p = 0; p < count; ++p) noise_.push_back(s_.rate < random.next() * 1e-9 ? 255 : 0);
        for (std::size_t p = 0; p < count; ++p) {
            const double vx = component(p, s_.comp_x);
            const double vy = component(p, s_.comp_y);
            const auto m = static_cast<float>(std::sqrt(vx * vx + vy * vy));
            magnitude_.push_back(m);
            if (p == 0 || m < min_) min_ = m;
            if (p == 0 || m > max_) max_ = m;
        }
    }

    std::vector<std::uint8_t> draw() {
        std::vector<std::uint8_t> pixels(4 * noise_.size());
        for (int j = 0; j < s_.ny; ++j)
            for (int i = 0; i < s_.nx; ++i) draw_pixel(i, j, &pixels[4 * pixel(i, j)]);
        return pixels;
    }

private:
    std::size_t pixel(double x, double y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(s_.nx) + static_cast<std::size_t>(x);
    }
    double component(std::size_t p, int c) const {
        const float* v = s_.vectors + p * static_cast<std::size_t>(s_.veclen);
        return std::isfinite(v[s_.comp_x]) && std::isfinite(v[s_.comp_y]) ? double{v[c]} : 0.0;
    }

    void draw_pixel(int i, int j, std::uint8_t* out) {
        const double m = magnitude_[pixel(i, j)];
        out[0] = 0;
        out[1] = out[2] = out[3] = 50;
        if (m == 0) return;
        int n = l_;
        if (s_.filvecflag != 0) {
            if (l_ < 5) l_ = 5;
            n = l_;
            if (max_ > min_) {
                const double length = (l_ / 5.0) * ((m - min_) / ((max_ - min_) / 5.0) + 1.0);
                if (length < l_) n = static_cast<int>(length);
            }
        }
        sum_ = total_ = 0;
        walk(i, j, 1, n);
        walk(i, j, -1, n);
        double divisor = total_;
        if (s_.norm != 0) divisor = 2.0 * l_ - 1;
        if (s_.norm != 0 && s_.animflag != 0)
            divisor = lic_ripple(-l_, l_, kPi / l_, s_.cycle * kPi / l_, s_.phase * 2.0 * kPi / 5);
        double color[3] = {sum_ / divisor, sum_ / divisor, sum_ / divisor};
        if (s_.colvecflag != 0) {
            const int ci = max_ > min_ ? static_cast<int>((m - min_) / ((max_ - min_) * 0.001953125)) : 0;
            if (ci < 256)
                color[2] += 256 - ci;
            else
                color[0] += ci - 256;
            for (double& c : color) c /= 2;
        }
        for (int c = 0; c < 3; ++c) {
            const bool is_int = std::fabs(color[c]) <= std::numeric_limits<int>::max();
            out[1 + c] = is_int ? static_cast<std::uint8_t>(static_cast<int>(color[c])) : std::uint8_t{0};
        }
    }

    void walk(int i, int j, int sign, int n) {
        double x = i + 0.5, y = j + 0.5, u = 0, width = 0.5;
        int code = 0, steps = 0;
        do {
            const std::size_t p = pixel(x, y);
            const double vx = sign * component(p, s_.comp_x);
            const double vy = sign * component(p, s_.comp_y);
            if (std::fabs(vx) + std::fabs(vy) == 0) return;
            double dx = 0, dy = 0;
            code = lic_step(x, y, vx, vy, code, dx, dy);
            double w = 1;
            if (s_.animflag != 0) {
                const double a = kPi / (l_ - 0.5), b = s_.cycle * kPi / (l_ - 0.5), q = s_.phase * 2.0 * kPi / 5;
                w = sign > 0 ? lic_ripple(u, u + width, a, b, q) : lic_ripple(u - width, u, a, b, q);
                u += sign * width;
                width = 1;
            }
            sum_ += noise_[p] * w;
            total_ += w;
            x += dx;
            y += dy;
            ++steps;
        } while (steps < n && code != 0 && 0 <= x && x < s_.nx && 0 <= y && y < s_.ny);
    }

    static constexpr double kPi = 3.141592;
    LicScene s_;
    int l_;  // half-length; raised while drawing
    std::vector<std::uint8_t> noise_;
    std::vector<float> magnitude_;
    double min_ = 0, max_ = 0;
    double sum_ = 0, total_ = 0;
};

}  // namespace plain
