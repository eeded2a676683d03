#include "examples/vortex_street/lattice.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zam::examples {
namespace {

// Links: at rest, along the axes, along the diagonals.
constexpr std::array<int, 9> kX{0, 1, 0, -1, 0, 1, -1, -1, 1};
constexpr std::array<int, 9> kY{0, 0, 1, 0, -1, 1, 1, -1, -1};
constexpr std::array<std::size_t, 9> kOpposite{0, 3, 4, 1, 2, 7, 8, 5, 6};
constexpr std::array<double, 9> kWeight{4.0 / 9,  1.0 / 9,  1.0 / 9,  1.0 / 9, 1.0 / 9,
                                        1.0 / 36, 1.0 / 36, 1.0 / 36, 1.0 / 36};
constexpr double kMagic = 1.0 / 12;  // product of the two relaxation times that keeps advection steep and steady

struct Moments {
    double density, ux, uy;
};

Moments moments(const std::array<double, 9>& f) {
    const double density = f[0] + f[1] + f[2] + f[3] + f[4] + f[5] + f[6] + f[7] + f[8];
    const double x = f[1] - f[3] + f[5] - f[6] - f[7] + f[8];
    const double y = f[2] - f[4] + f[5] + f[6] - f[7] - f[8];
    return {.density = density, .ux = x / density, .uy = y / density};
}

double equilibrium(std::size_t link, const Moments& flow) {
    const double along = kX[link] * flow.ux + kY[link] * flow.uy;
    const double square = flow.ux * flow.ux + flow.uy * flow.uy;
    return kWeight[link] * flow.density * (1 + 3 * along + 4.5 * along * along - 1.5 * square);
}

}  // namespace

Lattice::Lattice(const Channel& channel) : channel_(channel) {
    const double viscosity = channel.speed * channel.diameter / channel.reynolds;
    even_rate_ = 1 / (3 * viscosity + 0.5);
    odd_rate_ = 1 / (kMagic / (3 * viscosity) + 0.5);

    const auto count = static_cast<std::size_t>(channel.width) * static_cast<std::size_t>(channel.height);
    solid_.assign(count, 0);
    for (std::vector<double>& link : now_) link.resize(count);
    for (int y = 0; y < channel.height; ++y) {
        for (int x = 0; x < channel.width; ++x) {
            const double distance = std::hypot(x - channel.cylinder_x, y - channel.cylinder_y);
            solid_[node(x, y)] = distance < channel.diameter / 2 ? 1 : 0;
            // A cross-stream ripple of one part in twenty breaks the symmetry, so that shedding sets in soon.
            const double ripple = 0.05 * channel.speed * std::sin(0.1 * x);
            for (std::size_t link = 0; link < kLinks; ++link) {
                now_[link][node(x, y)] = equilibrium(link, {.density = 1, .ux = channel.speed, .uy = ripple});
            }
        }
    }
    next_ = now_;
    find_wall_links();
}

void Lattice::find_wall_links() {
    for (int y = 0; y < channel_.height; ++y) {
        for (int x = 1; x < channel_.width - 1; ++x) {
            for (std::size_t link = 1; link < kLinks; ++link) {
                const int from_y = (y - kY[link] + channel_.height) % channel_.height;
                if (solid_[node(x - kX[link], from_y)] != 0) wall_links_.emplace_back(node(x, y), link);
            }
        }
    }
}

std::size_t Lattice::node(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(channel_.width) + static_cast<std::size_t>(x);
}

void Lattice::step() {
    for (int y = 0; y < channel_.height; ++y) collide_row(y);
    stream();
    std::swap(now_, next_);
    open_ends();
}

void Lattice::collide_row(int y) {
    const std::size_t first = node(0, y);
    for (std::size_t at = first; at < first + static_cast<std::size_t>(channel_.width); ++at) {
        std::array<double, kLinks> f{};
        for (std::size_t link = 0; link < kLinks; ++link) f[link] = now_[link][at];
        const Moments flow = moments(f);
        std::array<double, kLinks> excess{};
        for (std::size_t link = 0; link < kLinks; ++link) excess[link] = f[link] - equilibrium(link, flow);
        for (std::size_t link = 0; link < kLinks; ++link) {
            const double there = excess[link];
            const double back = excess[kOpposite[link]];
            now_[link][at] = f[link] - 0.5 * even_rate_ * (there + back) - 0.5 * odd_rate_ * (there - back);
        }
    }
}

// Everything moves on by its link, a row at a time. The channel closes on itself from top to bottom.
void Lattice::stream() {
    const std::ptrdiff_t width = channel_.width;
    for (std::size_t link = 0; link < kLinks; ++link) {
        const std::ptrdiff_t shift = kX[link];
        for (int y = 0; y < channel_.height; ++y) {
            const int from_y = (y - kY[link] + channel_.height) % channel_.height;
            const double* from = now_[link].data() + node(0, from_y);
            double* to = next_[link].data() + node(0, y);
            std::copy(from + std::max<std::ptrdiff_t>(-shift, 0), from + width - std::max<std::ptrdiff_t>(shift, 0),
                      to + std::max<std::ptrdiff_t>(shift, 0));
        }
    }
    // What would come out of the cylinder is what was sent into it.
    for (const auto& [at, link] : wall_links_) next_[link][at] = now_[kOpposite[link]][at];
}

// The stream enters undisturbed on the left and leaves on the right without being held back.
void Lattice::open_ends() {
    for (int y = 0; y < channel_.height; ++y) {
        for (std::size_t link = 0; link < kLinks; ++link) {
            now_[link][node(0, y)] = equilibrium(link, {.density = 1, .ux = channel_.speed, .uy = 0});
            now_[link][node(channel_.width - 1, y)] = now_[link][node(channel_.width - 2, y)];
        }
    }
}

std::array<double, 2> Lattice::velocity(int x, int y) const {
    const std::size_t at = node(x, y);
    if (solid_[at] != 0) return {0, 0};
    std::array<double, kLinks> f{};
    for (std::size_t link = 0; link < kLinks; ++link) f[link] = now_[link][at];
    const Moments flow = moments(f);
    return {flow.ux, flow.uy};
}

double Lattice::vorticity(int x, int y) const {
    const int left = std::max(x - 1, 0);
    const int right = std::min(x + 1, channel_.width - 1);
    const int below = std::max(y - 1, 0);
    const int above = std::min(y + 1, channel_.height - 1);
    return (velocity(right, y)[1] - velocity(left, y)[1]) / (right - left) -
           (velocity(x, above)[0] - velocity(x, below)[0]) / (above - below);
}

}  // namespace zam::examples
