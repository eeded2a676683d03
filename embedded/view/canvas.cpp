#include "embedded/view/canvas.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace zam::host::view {
namespace {

constexpr std::int64_t kSubpixels = 256;  // per pixel; positions on the screen are whole numbers of these
constexpr std::int64_t kCentre = kSubpixels / 2;

// Triangles are cut this far from the image's centre: then products of two lengths in sub-pixels fit in 64 bits.
constexpr double kGuard = 1 << 20;

constexpr std::int64_t floor_divide(std::int64_t a, std::int64_t b) {  // b > 0
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}
constexpr std::int64_t ceil_divide(std::int64_t a, std::int64_t b) { return -floor_divide(-a, b); }

// Twice the guard band, in sub-pixels: room for what rounding makes of coordinates that are far beyond it.
constexpr std::int64_t kMaxDistance = std::int64_t{1} << 29;

/// Rounds down to a number of at most kMaxDistance either way, also for not-a-number.
std::int64_t round_down(double value) {
    constexpr auto kLimit = static_cast<double>(kMaxDistance);
    const double within = value > -kLimit ? std::min(value, kLimit) : -kLimit;
    return static_cast<std::int64_t>(within + kLimit) - kMaxDistance;
}

template <std::size_t N>
std::array<double, N> between(const std::array<double, N>& a, const std::array<double, N>& b, double t) {
    std::array<double, N> mixed;
    for (std::size_t i = 0; i < N; ++i) mixed[i] = a[i] + (b[i] - a[i]) * t;
    return mixed;
}

/// The nearest byte; 0 for not-a-number.
std::uint8_t color_byte(double value) {
    const double above = value + 0.5;
    return above >= 1.0 ? static_cast<std::uint8_t>(std::min(above, 255.0)) : std::uint8_t{0};
}

}  // namespace

Canvas::Canvas(const Frame& frame, std::uint8_t* pixels, float* depths)
    : frame_(frame),
      parallel_(frame.fptr == 0.0),
      scale_(std::min(frame.width, frame.height)),
      pixels_(pixels),
      depths_(depths) {}

void Canvas::clear(const std::array<std::uint8_t, 3>& background) {
    const std::size_t count = static_cast<std::size_t>(frame_.width) * static_cast<std::size_t>(frame_.height);
    std::fill_n(depths_, count, 0.0F);
    for (std::size_t i = 0; i < count; ++i) {
        pixels_[4 * i] = 0;
        std::copy(background.begin(), background.end(), pixels_ + 4 * i + 1);
    }
}

// --- From view space to the screen ---

Canvas::Corner Canvas::place(const Vertex& vertex) const {
    const auto& [x, y, z] = vertex.position;
    return {x * scale_,
            -y * scale_,  // rows go down
            z,
            parallel_ ? 1.0 : 1.0 - frame_.fptr * z,
            static_cast<double>(vertex.color[0]),
            static_cast<double>(vertex.color[1]),
            static_cast<double>(vertex.color[2])};
}

bool Canvas::is_within(const Corner& corner) const {
    const double bound = kGuard * corner[kW];
    return corner[kW] >= kNearest && std::fabs(corner[kX]) <= bound && std::fabs(corner[kY]) <= bound;
}

Canvas::Screen Canvas::project(const Corner& corner) const {
    const double near = 1.0 / corner[kW];
    const double x = 0.5 * frame_.width + corner[kX] * near;
    const double y = 0.5 * frame_.height + corner[kY] * near;
    return {round_down(x * kSubpixels + 0.5),
            round_down(y * kSubpixels + 0.5),
            nearness_of(corner),
            {corner[kColor] * near, corner[kColor + 1] * near, corner[kColor + 2] * near}};
}

/// Maps all of space into the range of depths, finest where pictures usually are: nothing far away is cut off, and no
/// depth depends on how far other objects reach.
float Canvas::depth(double nearness) const {
    const double share =
        parallel_ ? 0.5 + 0.5 * nearness / (1.0 + std::fabs(nearness)) : std::min(nearness * kNearest, 1.0);
    return static_cast<float>(kLeastDepth + (1.0 - kLeastDepth) * share);
}

/// Of equal depths the first stays. Opacity is full where something is drawn.
void Canvas::put(std::int64_t column, std::int64_t row, float depth, const std::array<double, 3>& color) {
    const std::size_t at = place(column, row);
    if (!(depth > depths_[at])) return;
    depths_[at] = depth;
    std::uint8_t* pixel = pixels_ + 4 * at;
    pixel[0] = 255;
    for (std::size_t i = 0; i < 3; ++i) pixel[1 + i] = color_byte(color[i]);
}

// --- Triangles ---

/// The directed line from one corner to the next: positive on the inner side. Centres on the line count as inside where
/// the triangle lies below the line or to the right of it, so that of two triangles with this edge one has them.
/// Source: Pineda, "A Parallel Algorithm for Polygon Rasterization", SIGGRAPH 1988.
struct Canvas::Edge {
    std::int64_t x, y, dx, dy, bias;

    Edge(const Screen& from, const Screen& to)
        : x(from.x), y(from.y), dx(to.x - from.x), dy(to.y - from.y), bias(dy < 0 || (dy == 0 && dx > 0) ? 0 : -1) {}

    std::int64_t at(std::int64_t px, std::int64_t py) const { return dx * (py - y) - dy * (px - x); }

    /// Narrows the columns of a row to those inside.
    void narrow(std::int64_t py, std::int64_t& first, std::int64_t& last) const {
        const std::int64_t value = at(kCentre, py) + bias;  // at column 0
        const std::int64_t step = -dy * kSubpixels;
        if (step > 0) {
            first = std::max(first, ceil_divide(-value, step));
        } else if (step < 0) {
            last = std::min(last, floor_divide(value, -step));
        } else if (value < 0) {
            last = first - 1;
        }
    }
};

void Canvas::fill(const Screen& a, const Screen& b, const Screen& c) {
    const auto [low_x, high_x] = std::minmax({a.x, b.x, c.x});
    const auto [low_y, high_y] = std::minmax({a.y, b.y, c.y});
    const auto first_of = [](std::int64_t low) {
        return std::max<std::int64_t>(ceil_divide(low - kCentre, kSubpixels), 0);
    };
    const auto last_of = [](std::int64_t high, int size) {
        return std::min<std::int64_t>(floor_divide(high - kCentre, kSubpixels), size - 1);
    };
    const std::int64_t left = first_of(low_x);
    const std::int64_t right = last_of(high_x, frame_.width);
    const std::int64_t top = first_of(low_y);
    const std::int64_t bottom = last_of(high_y, frame_.height);
    if (left > right || top > bottom) return;

    const Edge ab(a, b);
    const std::int64_t area = ab.at(c.x, c.y);
    if (area == 0) return;
    if (area < 0) return fill(a, c, b);
    const Edge bc(b, c);
    const Edge ca(c, a);

    // changes per step to the right
    const double per_area = 1.0 / static_cast<double>(area);
    const double step_b = static_cast<double>(-ca.dy * kSubpixels) * per_area;
    const double step_c = static_cast<double>(-ab.dy * kSubpixels) * per_area;
    const auto mix = [](double of_a, double of_b, double of_c, double share_b, double share_c) {
        return of_a + (of_b - of_a) * share_b + (of_c - of_a) * share_c;
    };
    Screen step{};
    for (std::size_t i = 0; i < 3; ++i)
        step.color[i] = (b.color[i] - a.color[i]) * step_b + (c.color[i] - a.color[i]) * step_c;
    step.nearness = (b.nearness - a.nearness) * step_b + (c.nearness - a.nearness) * step_c;
    const std::array<double, 2> range{std::min({a.nearness, b.nearness, c.nearness}),
                                      std::max({a.nearness, b.nearness, c.nearness})};

    for (std::int64_t row = top; row <= bottom; ++row) {
        const std::int64_t y = row * kSubpixels + kCentre;
        std::int64_t first = left;
        std::int64_t last = right;
        ab.narrow(y, first, last);
        bc.narrow(y, first, last);
        ca.narrow(y, first, last);
        if (first > last) continue;
        const std::int64_t x = first * kSubpixels + kCentre;
        const double share_b = static_cast<double>(ca.at(x, y)) * per_area;
        const double share_c = static_cast<double>(ab.at(x, y)) * per_area;
        Screen start{};
        start.nearness = mix(a.nearness, b.nearness, c.nearness, share_b, share_c);
        for (std::size_t i = 0; i < 3; ++i) start.color[i] = mix(a.color[i], b.color[i], c.color[i], share_b, share_c);
        fill_row(row, first, last, start, step, range);
    }
}

/// @param range  of the triangle's nearness, which rounding must not leave
void Canvas::fill_row(std::int64_t row, std::int64_t first, std::int64_t last, const Screen& start, const Screen& step,
                      const std::array<double, 2>& range) {
    const float* depths = depths_ + place(first, row);
    for (std::int64_t i = 0; i <= last - first; ++i) {
        const auto passed = static_cast<double>(i);
        const double near = std::clamp(start.nearness + passed * step.nearness, range[0], range[1]);
        const float here = depth(near);
        if (!(here > depths[i])) continue;  // as put() finds, but before the colour is known
        std::array<double, 3> color;
        for (std::size_t k = 0; k < 3; ++k) color[k] = start.color[k] + passed * step.color[k];
        if (!parallel_) {
            for (double& channel : color) channel /= near;
        }
        put(first + i, row, here, color);
    }
}

void Canvas::triangle(const Vertex& a, const Vertex& b, const Vertex& c) {
    const std::array<Corner, 3> corners{place(a), place(b), place(c)};
    if (is_within(corners[0]) && is_within(corners[1]) && is_within(corners[2])) {
        return fill(project(corners[0]), project(corners[1]), project(corners[2]));
    }
    // Cut by the planes of the near side and of the guard band, one after another. Each cut is made from the inner end
    // of an edge, so that both triangles of an edge get the same one.
    // Source: Sutherland & Hodgman, "Reentrant Polygon Clipping", CACM 1974.
    std::array<Corner, 8> polygon{corners[0], corners[1], corners[2]};
    std::size_t count = 3;
    const auto cut = [&](auto inside) {
        std::array<Corner, 8> kept;
        std::size_t kept_count = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const Corner& from = polygon[i];
            const Corner& to = polygon[(i + 1) % count];
            const double at_from = inside(from);
            const double at_to = inside(to);
            if (at_from >= 0) kept[kept_count++] = from;
            if ((at_from >= 0) == (at_to >= 0)) continue;
            kept[kept_count++] = at_from >= 0 ? between(from, to, at_from / (at_from - at_to))
                                              : between(to, from, at_to / (at_to - at_from));
        }
        polygon = kept;
        count = kept_count;
    };
    cut([](const Corner& corner) { return corner[kW] - kNearest; });
    for (const std::size_t axis : {kX, kY}) {
        cut([axis](const Corner& corner) { return kGuard * corner[kW] - corner[axis]; });
        cut([axis](const Corner& corner) { return kGuard * corner[kW] + corner[axis]; });
    }
    for (std::size_t i = 2; i < count; ++i) fill(project(polygon[0]), project(polygon[i - 1]), project(polygon[i]));
}

// --- Lines and points ---

/// Cuts a line to what lies in front of the eye and within the bounds; false if nothing is left.
bool Canvas::clip(Corner& a, Corner& b, double half_width, double half_height) const {
    const std::array<double, 2> half{half_width, half_height};
    double first = 0.0;
    double last = 1.0;
    const auto cut = [&](double at_a, double at_b) {
        if (at_a < 0 && at_b < 0) last = -1.0;
        if (at_a < 0 && at_b >= 0) first = std::max(first, at_a / (at_a - at_b));
        if (at_a >= 0 && at_b < 0) last = std::min(last, at_a / (at_a - at_b));
    };
    cut(a[kW] - kNearest, b[kW] - kNearest);
    for (const std::size_t axis : {kX, kY}) {
        cut(half[axis] * a[kW] - a[axis], half[axis] * b[kW] - b[axis]);
        cut(half[axis] * a[kW] + a[axis], half[axis] * b[kW] + b[axis]);
    }
    if (!(first <= last)) return false;
    const Corner whole = a;
    if (first > 0.0) a = between(whole, b, first);
    if (last < 1.0) b = between(whole, b, last);
    return a[kW] > 0 && b[kW] > 0;
}

void Canvas::line(const Vertex& from, const Vertex& to) {
    Corner a = place(from);
    Corner b = place(to);
    // two pixels around the image, so that ends that are cut lie outside
    if (!clip(a, b, 0.5 * frame_.width + 2, 0.5 * frame_.height + 2)) return;
    struct End {
        double x, y, near;
        std::array<double, 3> color;
    };
    const auto end_of = [&](const Corner& corner) {
        const double near = 1.0 / corner[kW];
        const double lifted = parallel_ ? corner[kZ] + kLineNearer : near * (1.0 + kLineNearer * frame_.fptr);
        return End{0.5 * frame_.width + corner[kX] * near,
                   0.5 * frame_.height + corner[kY] * near,
                   lifted,
                   {corner[kColor], corner[kColor + 1], corner[kColor + 2]}};
    };
    const End start = end_of(a);
    const End end = end_of(b);
    const double dx = end.x - start.x;
    const double dy = end.y - start.y;
    const bool along_x = std::fabs(dx) >= std::fabs(dy);
    const double begin = along_x ? start.x : start.y;
    const double length = along_x ? dx : dy;
    const auto [low, high] = std::minmax({round_down(begin), round_down(along_x ? end.x : end.y)});
    const std::int64_t bound = along_x ? frame_.width : frame_.height;
    for (std::int64_t step = std::max<std::int64_t>(low, 0); step <= std::min(high, bound - 1); ++step) {
        const double centre = static_cast<double>(step) + 0.5;
        const double t = length == 0 ? 0.0 : std::clamp((centre - begin) / length, 0.0, 1.0);
        const std::int64_t column = along_x ? step : round_down(start.x + t * dx);
        const std::int64_t row = along_x ? round_down(start.y + t * dy) : step;
        if (column < 0 || row < 0 || column >= frame_.width || row >= frame_.height) continue;
        put(column, row, depth(start.near + t * (end.near - start.near)), between(start.color, end.color, t));
    }
}

void Canvas::dot(const Vertex& at) {
    Corner corner = place(at);
    if (!is_within(corner)) return;
    const Screen screen = project(corner);
    const std::int64_t column = floor_divide(screen.x, kSubpixels);
    const std::int64_t row = floor_divide(screen.y, kSubpixels);
    const double lifted =
        parallel_ ? screen.nearness + kLineNearer : screen.nearness * (1.0 + kLineNearer * frame_.fptr);
    const std::array<double, 3> color{corner[kColor], corner[kColor + 1], corner[kColor + 2]};
    for (std::int64_t y = std::max<std::int64_t>(row - 1, 0); y <= std::min<std::int64_t>(row + 1, frame_.height - 1);
         ++y)
        for (std::int64_t x = std::max<std::int64_t>(column - 1, 0);
             x <= std::min<std::int64_t>(column + 1, frame_.width - 1); ++x)
            put(x, y, depth(lifted), color);
}

}  // namespace zam::host::view
