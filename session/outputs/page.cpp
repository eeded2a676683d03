// Everything is measured in the size of a letter. From the left: edge, name of the y axis, its numbers, ticks, the
// picture, gap, bar, ticks, its numbers, its label, edge. Downward: edge, title, the picture, ticks, numbers of the x
// axis, its name, edge.
#include "session/outputs/page.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "session/objects/run_error.h"
#include "session/outputs/page_text.h"
#include "session/outputs/ticks.h"

namespace zam::session {
namespace {

// all in letters
constexpr double kEdge = 0.8;
constexpr double kGap = 0.9;  // between picture and bar
constexpr double kBarWidth = 1.2;
constexpr double kTick = 0.35;
constexpr double kTickGap = 0.3;  // between ticks and numbers
constexpr double kLineHeight = 1.25;
constexpr double kNameGap = 0.45;        // between numbers and names
constexpr double kBetweenRows = 1.5;     // numbers above each other, from middle to middle
constexpr double kBetweenColumns = 0.9;  // numbers beside each other, from end to start
constexpr double kShortestBar = 6;
constexpr double kNumbers = 5.2;  // room for numbers of any length: those that are longer get smaller

constexpr int kMostTicks = 9;

/// Letters of 10 pixels at least, which can just be read, and about a fortieth of the picture.
double letter_size(int width, int height) {
    constexpr double kSmallest = 10;
    return std::max(kSmallest, std::round(6 + std::sqrt(static_cast<double>(width) * height) / 60));
}

/// A tick at its place along a side, in pixels.
struct PlacedTick {
    double at;
    std::string text;
};

/// As many ticks as have room, each `extent(text)` pixels long.
template <class Place, class Extent>
std::vector<PlacedTick> place_ticks(double low, double high, Place place, Extent extent) {
    std::vector<PlacedTick> placed;
    for (int most = kMostTicks; most >= 2; --most) {
        placed.clear();
        for (auto& tick : round_ticks(low, high, most)) placed.push_back({place(tick.value), std::move(tick.text)});
        bool fit = true;
        for (std::size_t i = 1; fit && i < placed.size(); ++i) {
            const double room = 0.5 * (extent(placed[i - 1].text) + extent(placed[i].text));
            fit = std::abs(placed[i].at - placed[i - 1].at) >= room;
        }
        if (fit) return placed;
    }
    if (placed.size() > 1) placed.resize(1);
    return placed;
}

double widest(const std::vector<PlacedTick>& ticks) {
    double width = 0;
    for (const auto& tick : ticks) width = std::max(width, text_width(tick.text));
    return width;
}

/// "pressure (Pa)", in a room of so many letters: a label that is too long is cut, its units stay.
std::string caption_text(const Caption& caption, double room) {
    const std::string label = drawable(caption.label);
    if (caption.units.empty()) return cut_to(label, room);
    if (caption.label.empty()) return cut_to(drawable(caption.units), room);
    const std::string units = " (" + drawable(caption.units) + ")";
    const double left = room - text_width(units);
    return left > room / 3 ? cut_to(label, left) + units : cut_to(label + units, room);
}

class Layout {
public:
    Layout(int width, int height, const PageStyle& style) : letter_(letter_size(width, height)) {
        page_.picture_width = width;
        page_.picture_height = height;
        page_.style = style;
        page_.line_width = std::max(1.0, std::round(letter_ / 12));
    }

    Page lay_out(const std::optional<Legend>& legend, const std::optional<PlaneAxes>& axes) {
        const double bar_height =
            legend ? std::max<double>(page_.picture_height, std::ceil(kShortestBar * letter_)) : page_.picture_height;
        if (axes) prepare(*axes);
        if (legend) prepare(*legend, bar_height);
        const bool titled = axes && !axes->title.empty();
        const double left = axes ? kEdge + kLineHeight + kNameGap + y_room_ + kTickGap + kTick : kEdge;
        const double top = titled ? kEdge + kLineHeight + kNameGap : kEdge;
        const double below = axes ? kTick + kTickGap + kLineHeight + kLineHeight + kEdge : kEdge;
        page_.left = whole(left);
        const int bar_top = whole(top);
        page_.top = bar_top + static_cast<int>((bar_height - page_.picture_height) / 2);
        const double right = legend ? legend_room(*legend) : axes ? std::max(kEdge, x_overhang_ + kEdge / 2) : kEdge;
        page_.width = page_.left + page_.picture_width + whole(right);
        const int bottom = std::max(page_.top + page_.picture_height + whole(below),
                                    bar_top + static_cast<int>(bar_height) + whole(kEdge));
        page_.height = bottom;
        if (axes) draw(*axes);
        if (legend) draw(*legend, bar_top, bar_height);
        return std::move(page_);
    }

private:
    int whole(double letters) const { return static_cast<int>(std::ceil(letters * letter_)); }

    // --- Room ---

    void prepare(const PlaneAxes& axes) {
        const auto width = static_cast<double>(page_.picture_width);
        const auto height = static_cast<double>(page_.picture_height);
        const auto beside = [&](const std::string& text) { return (text_width(text) + kBetweenColumns) * letter_; };
        const auto above = [&](const std::string&) { return kBetweenRows * letter_; };
        const auto ticks = [&](const PlaneAxis& axis, double size, auto extent) {
            const double first = axis.value_at(0);
            const double last = axis.value_at(size);
            return place_ticks(
                std::min(first, last), std::max(first, last), [&](double v) { return axis.pixel_of(v); }, extent);
        };
        x_ticks_ = ticks(axes.x, width, beside);
        y_ticks_ = ticks(axes.y, height, above);
        y_room_ = page_.style.same_size ? kNumbers : widest(y_ticks_);
        x_overhang_ = page_.style.same_size ? kNumbers / 2 : widest(x_ticks_) / 2;
    }

    void prepare(const Legend& legend, double height) {
        const bool constant = !(legend.low < legend.high);
        const auto place = [&](double value) {
            if (constant) return 0.5 * height;
            const double above = value * 0.5 - legend.low * 0.5;
            return std::clamp(above / (legend.high * 0.5 - legend.low * 0.5), 0.0, 1.0) * height;
        };
        bar_ticks_ =
            place_ticks(legend.low, legend.high, place, [&](const std::string&) { return kBetweenRows * letter_; });
        bar_room_ = page_.style.same_size ? kNumbers : widest(bar_ticks_);
        // a bar longer than the picture stands beside the numbers of the x axis too
        if (height > page_.picture_height) gap_ = std::max(kGap, x_overhang_ + kBetweenColumns / 2);
    }

    double legend_room(const Legend& legend) const {
        const double label = legend.caption.empty() ? 0 : kNameGap + kLineHeight;
        return gap_ + kBarWidth + kTick + kTickGap + bar_room_ + label + kEdge;
    }

    // --- Shapes ---

    /// A number in a room of so many letters; one that is wider gets smaller.
    void number(double x, double y, Anchor anchor, const std::string& text, double room) {
        const double size = letter_ * std::min(1.0, room / std::max(text_width(text), 1e-3));
        page_.texts.push_back({x, y, anchor, false, size, text});
    }

    void draw(const PlaneAxes& axes) {
        const double left = page_.left;
        const double right = left + page_.picture_width;
        const double top = page_.top;
        const double bottom = top + page_.picture_height;
        const double tick = kTick * letter_;
        frame(left, top, right - left, bottom - top);
        for (const auto& [at, text] : x_ticks_) {
            const double x = std::clamp(left + at, left, right);
            page_.lines.push_back({x, bottom, x, bottom + tick});
            page_.texts.push_back(
                {x, bottom + tick + (kTickGap + 0.5) * letter_, Anchor::middle, false, letter_, text});
        }
        for (const auto& [at, text] : y_ticks_) {
            const double y = std::clamp(bottom - at, top, bottom);
            page_.lines.push_back({left - tick, y, left, y});
            number(left - tick - kTickGap * letter_, y, Anchor::end, text, y_room_);
        }
        const double below = bottom + tick + (kTickGap + kLineHeight + 0.6) * letter_;
        const double beside = (kEdge + 0.5 * kLineHeight) * letter_;
        page_.texts.push_back({(left + right) / 2, below, Anchor::middle, false, letter_, drawable(axes.x.name)});
        page_.texts.push_back({beside, (top + bottom) / 2, Anchor::middle, true, letter_, drawable(axes.y.name)});
        if (!axes.title.empty()) title(axes.title, left, right);
    }

    /// Over the middle of the picture where it is short enough, else from the picture's left side on.
    void title(const Caption& caption, double left, double right) {
        const double y = (kEdge + 0.5 * kLineHeight) * letter_;
        const std::string shown = caption_text(caption, (page_.width - left) / letter_ - kEdge);
        if (text_width(shown) * letter_ <= right - left) {
            page_.texts.push_back({(left + right) / 2, y, Anchor::middle, false, letter_, shown});
        } else {
            page_.texts.push_back({left, y, Anchor::start, false, letter_, shown});
        }
    }

    void draw(const Legend& legend, double top, double height) {
        const double x = page_.left + page_.picture_width + std::round(gap_ * letter_);
        const double width = std::round(kBarWidth * letter_);
        const double numbers = x + width + (kTick + kTickGap) * letter_;
        page_.bars.push_back({x, top, width, height, legend.colors});
        frame(x, top, width, height);
        for (const auto& [at, text] : bar_ticks_) {
            const double y = top + height - at;
            page_.lines.push_back({x + width, y, x + width + kTick * letter_, y});
            number(numbers, y, Anchor::start, text, bar_room_);
        }
        if (legend.caption.empty()) return;
        constexpr double kSmaller = 0.8;     // before it is cut
        constexpr double kBeyondEnds = 0.6;  // of the bar
        const double room = height / letter_ + 2 * kBeyondEnds;
        const std::string shown = caption_text(legend.caption, room / kSmaller);
        const double size = letter_ * std::min(1.0, room / std::max(text_width(shown), 1e-3));
        page_.texts.push_back({numbers + (bar_room_ + kNameGap + 0.5 * kLineHeight) * letter_, top + height / 2,
                               Anchor::middle, true, size, shown});
    }

    /// Lines around a rectangle, outside it: the picture's own pixels stay.
    void frame(double x, double y, double width, double height) {
        const double line = page_.line_width;
        for (const double at : {x - line / 2, x + width + line / 2}) {
            page_.lines.push_back({at, y - line, at, y + height + line});
        }
        for (const double at : {y - line / 2, y + height + line / 2}) {
            page_.lines.push_back({x - line, at, x + width + line, at});
        }
    }

    double letter_;
    Page page_;
    std::vector<PlacedTick> x_ticks_, y_ticks_, bar_ticks_;
    double y_room_ = 0, x_overhang_ = 0, bar_room_ = 0;  // of numbers, in letters
    double gap_ = kGap;                                  // between picture and bar
};

}  // namespace

namespace {

/// Linear through the two knots that a place lies between, or the nearest two.
template <class From, class To>
double between_knots(const std::vector<PlaneAxis::Knot>& knots, double at, From from, To to) {
    const bool ascending = from(knots.front()) < from(knots.back());
    std::size_t next = 1;
    while (next + 1 < knots.size() && (ascending ? from(knots[next]) < at : from(knots[next]) > at)) ++next;
    const auto& a = knots[next - 1];
    const auto& b = knots[next];
    return to(a) + (to(b) - to(a)) * ((at - from(a)) / (from(b) - from(a)));
}

double pixel_of_knot(const PlaneAxis::Knot& knot) { return knot.pixel; }
double value_of_knot(const PlaneAxis::Knot& knot) { return knot.value; }

}  // namespace

double PlaneAxis::value_at(double pixel) const { return between_knots(knots, pixel, pixel_of_knot, value_of_knot); }
double PlaneAxis::pixel_of(double value) const { return between_knots(knots, value, value_of_knot, pixel_of_knot); }

Page lay_out(int picture_width, int picture_height, const Surroundings& around) {
    const auto check = [](int width, int height) {
        if (std::max(width, height) > kMaxPageSide) {
            throw RunError("pictures have at most 32767 pixels per side, legend and axes included");
        }
    };
    check(picture_width, picture_height);
    Page page = Layout(picture_width, picture_height, around.style).lay_out(around.legend, around.axes);
    check(page.width, page.height);
    return page;
}

}  // namespace zam::session
