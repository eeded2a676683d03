// Pages: a picture with what stands around it, a legend and axes. A page is laid out once, in pixels, y downward; it is
// drawn as pixels (page_pixels.h) or as vector graphics (svg_file.cpp).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zam::session {

using Rgb = std::array<std::uint8_t, 3>;

/// What values are; either part may be empty.
struct Caption {
    std::string label, units;

    bool empty() const { return label.empty() && units.empty(); }
};

/// What the colours of a picture mean.
struct Legend {
    std::vector<Rgb> colors;  // equally spaced from `low` to `high`
    double low = 0, high = 0;
    Caption caption;
};

/// Positions along one side of a picture.
struct PlaneAxis {
    struct Knot {
        double pixel;  // from the left or the lower side
        double value;
    };
    std::vector<Knot> knots;  // two or more; pixels ascend, values ascend or descend; linear between and beyond them
    std::string name;

    double value_at(double pixel) const;
    double pixel_of(double value) const;
};

/// The plane that a picture shows.
struct PlaneAxes {
    PlaneAxis x, y;
    Caption title;
};

struct PageStyle {
    Rgb paper{255, 255, 255};
    Rgb ink{38, 38, 38};
    bool same_size = false;  // room for numbers of any length, so that the pages of all frames are of one size
};

/// What stands around a picture.
struct Surroundings {
    std::optional<Legend> legend;
    std::optional<PlaneAxes> axes;
    PageStyle style;

    bool any() const { return legend || axes; }
};

enum class Anchor { start, middle, end };

struct PageText {
    double x, y;  // of the anchor, on the middle of the letters
    Anchor anchor;
    bool turned;  // by a quarter turn, to be read from below
    double size;
    std::string text;
};
struct PageLine {
    double x1, y1, x2, y2;
};
struct PageBar {
    double x, y, width, height;
    std::vector<Rgb> colors;  // from the lower end to the upper one, joined linearly
};

struct Page {
    int width = 0, height = 0;
    int left = 0, top = 0;  // where the picture is
    int picture_width = 0, picture_height = 0;
    PageStyle style;
    double line_width = 1;
    std::vector<PageBar> bars;
    std::vector<PageLine> lines;
    std::vector<PageText> texts;
};

constexpr int kMaxPageSide = 32767;  // as the library that draws letters has it

/// Lays out a page. The sizes of letters and bars follow the picture's.
/// @throws RunError  if it is larger than kMaxPageSide
Page lay_out(int picture_width, int picture_height, const Surroundings& around);

/// Parts of a letter's size between the baseline and the middle of figures and capitals.
constexpr double kMiddleOfLetters = 0.36;

}  // namespace zam::session
