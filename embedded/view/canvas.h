// A picture with depth: triangles, lines and points of view space, drawn with a z-buffer.
//
// View space is the tracer's: the plane z = 0 fills the image, whose shorter side spans -0.5 to 0.5; x goes right, y
// up, z toward the viewer. With perspective the eye is at z = 1 / fptr.
//
// What a primitive writes depends on itself and the frame alone, never on what else is drawn: the pixels that it covers
// are found in whole numbers, and depths belong to view space. So pictures of single objects, merged by depth, are the
// picture of all of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zam::host::view {

using Color = std::array<float, 3>;  // red, green, blue, each 0 to 255

struct Vertex {
    std::array<double, 3> position;  // in view space; finite
    Color color;
};

/// The view volume on an image.
struct Frame {
    int width, height;
    double fptr;  // 0: parallel; else 1 / distance of the eye, above 0
};

class Canvas {
public:
    /// @param pixels  4 bytes per pixel: opacity, red, green, blue, the top row first; borrowed
    /// @param depths  one per pixel; borrowed
    Canvas(const Frame& frame, std::uint8_t* pixels, float* depths);

    /// Opacity and depth 0 everywhere, and this colour.
    void clear(const std::array<std::uint8_t, 3>& background);

    /// Covers the pixels whose centres lie within; of a centre on an edge, the triangle below or to the right of it.
    /// Either side is visible. Colours are interpolated as seen in space.
    void triangle(const Vertex& a, const Vertex& b, const Vertex& c);

    /// One pixel wide, both ends included. Lines and points are drawn kLineNearer nearer than they are, so that they
    /// show on the surface that they lie on.
    void line(const Vertex& a, const Vertex& b);

    /// A square of 3 x 3 pixels.
    void dot(const Vertex& at);

    static constexpr double kLineNearer = 0.002;   // in units of view space
    static constexpr double kNearest = 0.01;       // share of the eye's distance from which on things are seen
    static constexpr double kLeastDepth = 1.0e-5;  // of whatever is drawn, however far away

private:
    enum : std::size_t { kX, kY, kZ, kW, kColor };
    using Corner =
        std::array<double, 7>;  // homogeneous: x and y in pixels from the centre, times w; colour from kColor
    struct Screen {
        std::int64_t x, y;            // in sub-pixels
        double nearness;              // grows toward the viewer, and is linear on the screen: z, or 1 / w
        std::array<double, 3> color;  // with perspective: times 1 / w
    };
    struct Edge;

    Corner place(const Vertex& vertex) const;
    bool is_within(const Corner& corner) const;
    Screen project(const Corner& corner) const;
    double nearness_of(const Corner& corner) const { return parallel_ ? corner[kZ] : 1.0 / corner[kW]; }
    float depth(double nearness) const;
    void fill(const Screen& a, const Screen& b, const Screen& c);
    void fill_row(std::int64_t row, std::int64_t first, std::int64_t last, const Screen& start, const Screen& step,
                  const std::array<double, 2>& range);
    std::size_t place(std::int64_t column, std::int64_t row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(frame_.width) +
               static_cast<std::size_t>(column);
    }
    void put(std::int64_t column, std::int64_t row, float depth, const std::array<double, 3>& color);
    bool clip(Corner& a, Corner& b, double half_width, double half_height) const;

    Frame frame_;
    bool parallel_;
    double scale_;  // pixels per unit of the view plane
    std::uint8_t* pixels_;
    float* depths_;
};

}  // namespace zam::host::view
