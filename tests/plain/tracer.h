// The volume tracer in its plainest form: one ray, one cell, one channel at a time, written straight from the formulas.
// The tests compare the module's pixels with these byte by byte, the benchmarks its speed.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace plain {

struct Scene {
    const std::uint8_t* nodes;  // veclen bytes per node, x fastest
    int n[3];                   // nodes per axis
    int veclen;                 // 4: opacity, red, green, blue; 1: classified by the table
    const float (*table)[4];    // 256 entries, or null
    const float* pow_table;     // opacity where there is no table
    double a_scale;
    double fptr;
    const float* inverse;  // 16, from view to voxel space
    int width, height;
    bool interpolate;
};

struct Ray {
    float start[3], direction[3], reciprocal[3];
};

struct Color {
    float c[4] = {0, 0, 0, 0};  // opacity, red, green, blue
};

inline Ray make_ray(const Scene& s, int column, int row) {
    const int m = std::min(s.width, s.height);
    const float pixel = 1.0F / static_cast<float>(m);
    const int xoff = s.width >= s.height ? (s.width - s.height) / 2 : 0;
    const int yoff = s.width >= s.height ? 0 : (s.height - s.width) / 2;
    const float u = static_cast<float>(column - xoff) * pixel - 0.5F;
    const float v = static_cast<float>(s.height - row - yoff - 1) * pixel - 0.5F;
    const double largest = std::max({s.n[0], s.n[1], s.n[2]});

    Ray ray{};
    double square = 0;
    for (int a = 0; a < 3; ++a) {
        const float in_plane = u * s.inverse[a] + v * s.inverse[4 + a];
        ray.direction[a] = static_cast<float>(s.fptr * static_cast<double>(in_plane) - s.inverse[8 + a]);
        if (std::fabs(ray.direction[a]) < 1e-30) ray.direction[a] = 0;
        square += static_cast<double>(ray.direction[a]) * ray.direction[a];
        ray.start[a] = static_cast<float>(static_cast<double>(in_plane + s.inverse[12 + a]) * largest + s.n[a] / 2);
    }
    for (int a = 0; a < 3; ++a) {
        ray.direction[a] = static_cast<float>(ray.direction[a] / std::sqrt(square));
        ray.reciprocal[a] = ray.direction[a] == 0 ? 1e30F : 1.0F / ray.direction[a];
    }
    return ray;
}

/// Position of a ray in the grid.
struct Walk {
    int index[3], step[3];
    float last[3], increment[3], speed[3];
    float t;        // parameter at the face just crossed
    int face_axis;  // and the axis it is perpendicular to
};

/// @param past  how far the box falls short of n: 0 for voxels, 1 for the cells between nodes
inline bool enter(const Ray& ray, const int n[3], int past, Walk& w) {
    float entry[3], exit[3];
    for (int a = 0; a < 3; ++a) {
        const float s = ray.start[a], d = ray.direction[a], q = ray.reciprocal[a];
        const auto end = static_cast<float>(n[a] - past);
        if (!std::isfinite(s) || !std::isfinite(d) || !std::isfinite(q)) return false;
        w.speed[a] = std::fabs(d);
        if (d == 0) {
            if (s < 0 || (past ? s > end : s >= end)) return false;
            w.index[a] = std::min(static_cast<int>(s), n[a] - 1);
            w.step[a] = 0;
            w.increment[a] = 5e9F;
            entry[a] = -1e9F;
            exit[a] = 1e9F;
        } else {
            w.step[a] = d > 0 ? 1 : -1;
            w.index[a] = d > 0 ? 0 : n[a] - 1;
            w.increment[a] = d > 0 ? q : -q;
            entry[a] = ((d > 0 ? 0 : end) - s) * q;
            exit[a] = ((d > 0 ? end : 0) - s) * q;
        }
        if (!std::isfinite(entry[a]) || !std::isfinite(exit[a])) return false;
    }
    w.face_axis = entry[0] > entry[1] && entry[0] > entry[2] ? 0 : entry[1] > entry[2] ? 1 : 2;
    w.t = entry[w.face_axis];
    if (w.t + 5e-5 > std::min({exit[0], exit[1], exit[2]})) return false;
    for (int a = 0; a < 3; ++a) {
        w.last[a] = entry[a];
        if (a == w.face_axis || w.step[a] == 0) continue;
        const float passed = std::trunc((w.t - entry[a]) / w.increment[a]);
        const int k = static_cast<int>(std::min(passed, static_cast<float>(n[a] - 1 - past)));
        w.index[a] += k * w.step[a];
        w.last[a] = entry[a] + static_cast<float>(k) * w.increment[a];
    }
    return true;
}

/// Goes to the next crossing; returns the length of the way.
inline float advance(Walk& w) {
    const float tx = w.last[0] + w.increment[0], ty = w.last[1] + w.increment[1], tz = w.last[2] + w.increment[2];
    const int a = ty > tx ? (tx <= tz ? 0 : 2) : (ty <= tz ? 1 : 2);
    const float t = a == 0 ? tx : a == 1 ? ty : tz;
    const float length = t - w.t;
    w.last[a] = w.t = t;
    w.index[a] += w.step[a];
    w.face_axis = a;
    return length;
}

inline std::int64_t node_number(const Scene& s, const int index[3]) {
    return (static_cast<std::int64_t>(index[2]) * s.n[1] + index[1]) * s.n[0] + index[0];
}

inline Color classify(const Scene& s, std::int64_t node) {
    const std::uint8_t* p = s.nodes + node * s.veclen;
    Color v;
    if (s.veclen == 4) {
        v.c[0] = static_cast<float>(p[0] / 255.0);
        for (int i = 1; i < 4; ++i) v.c[i] = p[i];
    } else if (s.table) {
        for (int i = 0; i < 4; ++i) v.c[i] = s.table[*p][i];
    } else {
        v.c[0] = *p ? s.pow_table[*p] : 0;
        for (int i = 1; i < 4; ++i) v.c[i] = *p;
    }
    return v;
}

/// Bilinear on the face just crossed, the lower axis first.
inline Color face_sample(const Scene& s, const Walk& w) {
    const int a = w.face_axis == 0 ? 1 : 0, b = w.face_axis == 2 ? 1 : 2;
    const float wa = (w.t - w.last[a]) * w.speed[a], wb = (w.t - w.last[b]) * w.speed[b];
    Color corner[4];
    for (int i = 0; i < 4; ++i) {
        int index[3] = {w.index[0], w.index[1], w.index[2]};
        if (i & 1) index[a] += w.step[a];
        if (i & 2) index[b] += w.step[b];
        corner[i] = classify(s, node_number(s, index));
    }
    Color v;
    for (int i = 0; i < 4; ++i)
        v.c[i] = (1 - wa) * (1 - wb) * corner[0].c[i] + wa * (1 - wb) * corner[1].c[i] +
                 (1 - wa) * wb * corner[2].c[i] + wa * wb * corner[3].c[i];
    return v;
}

/// Adds a voxel's colour: single precision for colours from bytes, double for colours from the table.
inline void add_color(const Scene& s, Color& sum, const Color& voxel, float weight) {
    for (int i = 1; i < 4; ++i)
        sum.c[i] = s.veclen == 4 ? sum.c[i] + voxel.c[i] * weight
                                 : static_cast<float>(sum.c[i] + static_cast<double>(voxel.c[i]) * weight);
}

inline Color march_nearest(const Scene& s, Walk& w, std::int64_t& cells) {
    Color sum;
    do {
        ++cells;
        const std::int64_t node = node_number(s, w.index);
        const Color voxel = classify(s, node);
        const double opacity = s.veclen == 4 ? s.nodes[node * 4] / 255.0 : static_cast<double>(voxel.c[0]);
        const auto c = static_cast<float>(advance(w) * s.a_scale * opacity);
        if (!(c > 0)) continue;
        const bool saturates = sum.c[0] + c >= 1;
        add_color(s, sum, voxel, saturates ? 1 - sum.c[0] : c);
        sum.c[0] = saturates ? 1 : sum.c[0] + c;
        if (saturates) return sum;
    } while (w.index[w.face_axis] >= 0 && w.index[w.face_axis] < s.n[w.face_axis] && w.step[w.face_axis] != 0);
    return sum;
}

inline Color march_interpolated(const Scene& s, Walk& w, std::int64_t& cells) {
    Color sum, previous = face_sample(s, w);
    do {
        ++cells;
        const float length = advance(w);
        const Color next = face_sample(s, w);
        float c = (previous.c[0] + next.c[0]) * (length * 0.5F);
        if (sum.c[0] + c > 1) c = 1 - sum.c[0];
        const auto scaled = static_cast<float>(c * s.a_scale);
        for (int i = 1; i < 4; ++i) sum.c[i] += (previous.c[i] + next.c[i]) * scaled * 0.5F;
        sum.c[0] += scaled;
        previous = next;
    } while (w.index[w.face_axis] >= 1 && w.index[w.face_axis] <= s.n[w.face_axis] - 2 && w.step[w.face_axis] != 0 &&
             !(sum.c[0] >= 1));
    return sum;
}

inline std::uint8_t to_byte(double value, double top) {
    return static_cast<std::uint8_t>(value > 0 ? std::min(value, top) : 0.0);
}

/// Bytes of a scene's nodes and of its image.
inline std::size_t volume_size(const Scene& s) {
    return static_cast<std::size_t>(std::int64_t{s.n[0]} * s.n[1] * s.n[2] * s.veclen);
}
inline std::size_t image_size(const Scene& s) { return static_cast<std::size_t>(std::int64_t{4} * s.width * s.height); }

/// The colour of one ray; adds the cells that it crosses.
inline Color trace(const Scene& s, const Ray& ray, std::int64_t& cells) {
    Walk w{};
    if (!enter(ray, s.n, s.interpolate ? 1 : 0, w)) return {};
    return s.interpolate ? march_interpolated(s, w, cells) : march_nearest(s, w, cells);
}

/// Renders the whole image; returns the number of cells that the rays crossed.
inline std::int64_t render(const Scene& s, std::uint8_t* image) {
    std::int64_t cells = 0;
    for (int row = 0; row < s.height; ++row) {
        for (int column = 0; column < s.width; ++column) {
            const Color sum = trace(s, make_ray(s, column, row), cells);
            *image++ = to_byte(std::clamp(static_cast<double>(sum.c[0]), 0.0, 1.0) * 255, 255);
            for (int i = 1; i < 4; ++i) *image++ = to_byte(sum.c[i], 255);
        }
    }
    return cells;
}

}  // namespace plain
