// The rays of an image: one per pixel, from the view plane into voxel index space.
//
// The central square of the image covers -0.5 to 0.5 of the view plane on both axes, the top row has the largest v; the
// longer side of the image goes beyond. The plane passes through the volume's centre, and one of its units spans the
// volume's largest dimension. In front of it, rays spread as from an eye at distance 1 / fptr.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "modules/zam/volume/ray_entry.h"

namespace zam::tracer {

class View {
    struct Vector {
        float axis[3] = {};
    };

public:
    /// @param inverse  from view to voxel space, 16 floats; borrowed
    /// @param largest  what a unit of the view plane spans, in voxels
    /// @param fptr     0 for parallel rays, else 1 / distance of the eye
    View(const float* inverse, const Grid& grid, int width, int height, double largest, double fptr)
        : inverse_(inverse), grid_(grid), height_(height), largest_(largest), fptr_(fptr) {
        pixel_ = 1.0F / static_cast<float>(std::min(width, height));
        if (width >= height)
            x_offset_ = (width - height) / 2;
        else
            y_offset_ = (height - width) / 2;
        if (is_parallel()) aim(parallel_, Vector{});
    }

    /// The rays of one image row, from column 0 on.
    class Row {
    public:
        Row(const View& view, int row) : view_(view) {
            const float v = static_cast<float>(view.height_ - row - view.y_offset_ - 1) * view.pixel_ - 0.5F;
            for (int a = 0; a < 3; ++a) up_.axis[a] = v * view.inverse_[4 + a];
        }

        Ray ray(int column) const {
            const float u = static_cast<float>(column - view_.x_offset_) * view_.pixel_ - 0.5F;
            Vector in_plane;
            for (int a = 0; a < 3; ++a) in_plane.axis[a] = u * view_.inverse_[a] + up_.axis[a];
            Ray ray = view_.parallel_;
            if (!view_.is_parallel()) view_.aim(ray, in_plane);
            view_.place(ray, in_plane);
            return ray;
        }

    private:
        const View& view_;
        Vector up_;  // v times the inverse's second row
    };

private:
    bool is_parallel() const { return fptr_ == 0; }

    /// Direction of the ray through a point of the view plane, given relative to the plane's centre.
    void aim(Ray& ray, const Vector& in_plane) const {
        double square = 0;
        for (int a = 0; a < 3; ++a) {
            const double d = fptr_ * static_cast<double>(in_plane.axis[a]) - static_cast<double>(inverse_[8 + a]);
            const bool negligible = std::fabs(static_cast<double>(static_cast<float>(d))) < kLeastComponent;
            ray.direction[a] = negligible ? 0.0F : static_cast<float>(d);
            square += static_cast<double>(ray.direction[a]) * static_cast<double>(ray.direction[a]);
        }
        const double length = std::sqrt(square);
        for (int a = 0; a < 3; ++a) {
            ray.direction[a] = static_cast<float>(static_cast<double>(ray.direction[a]) / length);
            ray.reciprocal[a] = ray.direction[a] == 0 ? kNoReciprocal : 1.0F / ray.direction[a];
        }
    }

    void place(Ray& ray, const Vector& in_plane) const {
        for (int a = 0; a < 3; ++a) {
            const float point = in_plane.axis[a] + inverse_[12 + a];
            const int centre = grid_.nodes[a] / 2;  // deliberate: the integer half, also of odd dimensions
            ray.start[a] = static_cast<float>(static_cast<double>(point) * largest_ + centre);
        }
    }

    static constexpr double kLeastComponent = 1e-30;
    static constexpr float kNoReciprocal = 1e30F;

    const float* inverse_;
    Grid grid_;
    int height_;
    int x_offset_ = 0, y_offset_ = 0;  // of the central square
    float pixel_;                      // side of a pixel
    double largest_, fptr_;
    Ray parallel_{};  // with the direction of all rays if they are parallel
};

}  // namespace zam::tracer
