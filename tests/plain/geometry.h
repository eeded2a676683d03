// Geometry and utilities as they are described, value by value. What the modules compute has the same bits.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "contract/types.h"
#include "modules/zam/cone.h"
#include "modules/zam/uni2cylinder.h"

namespace zam {

inline std::vector<float> plain_cone_nodes(const Cone& cone) {
    std::vector<float> coord;
    const auto add = [&](double x, double y, double z) {
        for (const double c : {x, y, z}) coord.push_back(static_cast<float>(c));
    };
    add(cone.offset, 0, 0);
    add(cone.offset + cone.length, 0, 0);
    for (int k = 0; k < cone.div; ++k) {
        const double w = 6.283185305179586 / cone.div;
        add(cone.offset, cone.radius * std::cos(k * w), cone.radius * std::sin(k * w));
    }
    return coord;
}

inline std::vector<float> plain_revolve_nodes(std::span<const float> profile, int resolution, bool smooth) {
    std::vector<float> coord;
    const auto add_ring = [&](std::size_t point) {
        for (int k = 0; k < resolution; ++k) {
            const double a = static_cast<float>(k) * 6.2831855F / static_cast<float>(resolution);
            coord.push_back(profile[2 * point]);
            coord.push_back(static_cast<float>(profile[2 * point + 1] * std::sin(a)));
            coord.push_back(static_cast<float>(profile[2 * point + 1] * std::cos(a)));
        }
    };
    const std::size_t points = profile.size() / 2;
    for (std::size_t p = 0; smooth && p < points; ++p) add_ring(p);
    for (std::size_t s = 0; !smooth && s + 1 < points; ++s) {
        add_ring(s);
        add_ring(s + 1);
    }
    return coord;
}

inline std::vector<float> plain_bend_nodes(const Sector& sector) {
    const auto [nx, ny, nz] = sector.dims;
    const double pi = 3.141592652589793;
    std::vector<float> coord;
    for (xp_long k = 0; k < nz; ++k) {
        for (xp_long j = 0; j < ny; ++j) {
            for (xp_long i = 0; i < nx; ++i) {
                const auto theta = static_cast<float>((sector.angle / static_cast<double>(nz - 1)) * (pi / 180.0) *
                                                          static_cast<double>(k) +
                                                      sector.start_angle * (pi / 180.0));
                const float x = sector.extent[0] / static_cast<float>(nx) * static_cast<float>(i);
                const float y = sector.extent[1] / static_cast<float>(ny) * static_cast<float>(j);
                const double cosine = std::cos(static_cast<double>(theta));
                const double sine = std::sin(static_cast<double>(theta));
                const double about_x[] = {x, y * cosine, y * sine};
                const double about_y[] = {x * cosine, y, -x * sine};
                for (const double c : sector.axis == 0 ? about_x : about_y) coord.push_back(static_cast<float>(c));
            }
        }
    }
    return coord;
}

inline std::vector<std::byte> plain_fold(std::span<const std::byte> volume, const std::array<xp_long, 3>& in,
                                         xp_long center, std::size_t size) {
    const xp_long width = center > in[0] - center ? center : in[0] - center;
    std::vector<std::byte> folded(size);
    std::size_t place = 0;
    for (xp_long k = 0; k < 2 * in[2]; ++k) {
        for (xp_long j = 0; j < in[1]; ++j) {
            for (xp_long i = 0; i < width; ++i, ++place) {
                const bool forward = k < in[2];
                const xp_long row = (forward ? k : k - in[2]) * in[1] + j;
                const xp_long from = row * in[0] + center + (forward ? i : -i);
                const bool inside = from >= 0 && from < static_cast<xp_long>(volume.size());
                if (inside) folded[place] = volume[static_cast<std::size_t>(from)];
            }
        }
    }
    return folded;
}

inline std::vector<std::byte> plain_luminance(std::span<const std::byte> from, int veclen, xp_long nodes, int min,
                                              int max) {
    std::vector<std::byte> to;
    for (xp_long node = 0; node < nodes; ++node) {
        const std::byte* color = from.data() + node * veclen;
        to.insert(to.end(), color, color + veclen);
        const int r = static_cast<std::int8_t>(color[1]);
        const int g = static_cast<std::int8_t>(color[2]);
        const int b = static_cast<std::int8_t>(color[3]);
        const bool low = r <= min && g <= min && b <= min;
        const bool high = r >= max && g >= max && b >= max;
        const int value = low || high ? 0 : static_cast<int>(0.586611 * g + 0.298912 * r + 0.114478 * b);
        to.push_back(static_cast<std::byte>(value & 0xFF));
    }
    return to;
}

}  // namespace zam
