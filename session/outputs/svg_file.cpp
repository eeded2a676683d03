// Line fields and labelled points as vector graphics, over an image where one is given.
//
// A drawing's units are those of the fields' coordinates; z is left out. y points up as in the fields, so what SVG
// counts downward is written with the other sign. Pixel (i, j) of an image is centred on the position of its node, as
// if it were drawn as a field; the rows of one whose first row belongs on top are in the other order.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "contract/fld.h"
#include "embedded/host.h"
#include "session/objects/field_access.h"
#include "session/objects/run_error.h"
#include "session/outputs/outputs.h"

namespace zam::session {
namespace {

constexpr xp_long kMaxLines = xp_long{1} << 28;  // overlapping polylines can ask for any number
constexpr double kPixels = 1000;                 // longer side of the picture in viewers without a size of their own

/// The shortest text that gives a number back, whatever the locale.
template <class Number>
std::string number_text(Number value) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

struct Position {
    float x = 0, y = 0;

    bool finite() const { return std::isfinite(x) && std::isfinite(y); }
    /// As SVG has it.
    std::string text() const { return number_text(x) + " " + number_text(y == 0.0F ? y : -y); }
};

/// The rectangle that a drawing covers, y upward.
struct Frame {
    double left = std::numeric_limits<double>::infinity(), right = -left;
    double bottom = left, top = -left;

    void include(double x, double y) {
        left = std::min(left, x);
        right = std::max(right, x);
        bottom = std::min(bottom, y);
        top = std::max(top, y);
    }
    bool empty() const { return !(left <= right); }
    double width() const { return right - left; }
    double height() const { return top - bottom; }
    double longest() const { return std::max(width(), height()); }
    void widen(double by) {
        include(left - by, bottom - by);
        include(right + by, top + by);
    }
};

/// Node positions of a field, of any nspace from 2 on.
class Positions {
public:
    explicit Positions(OMobj_id field) : shape_(read_shape(field)), coord_(read_coordinates(field)) {
        if (shape_.nnodes > 0 && (shape_.nspace < 2 || coord_.count() < shape_.nnodes * shape_.nspace)) {
            throw RunError("lines and points of .svg files have coordinates of two or three components");
        }
    }

    xp_long count() const { return shape_.nnodes; }
    Position operator[](xp_long node) const {
        if (node < 0 || node >= count()) throw RunError("a line refers to node " + std::to_string(node));
        const float* at = coord_.data() + node * shape_.nspace;
        return {at[0], at[1]};
    }
    void extend(Frame& frame) const {
        for (xp_long node = 0; node < count(); ++node) {
            const Position at = (*this)[node];
            if (at.finite()) frame.include(static_cast<double>(at.x), static_cast<double>(at.y));
        }
    }

private:
    FieldShape shape_;
    LentArray<float> coord_;
};

// --- Lines ---

/// Joins lines that follow each other into one path. Nodes too near to the one before, and short lines where the path
/// has been already, are left out: nobody could see them, but a line that circles has millions.
class PathWriter {
public:
    /// @param dot  a length too short to be seen
    PathWriter(const Positions& positions, double dot, OutputFile& file)
        : positions_(positions), dot_(dot), file_(file) {}

    void line(xp_long from, xp_long to) {
        if (++lines_ > kMaxLines) throw RunError("the field has too many lines");
        const Position start = positions_[from];
        const Position end = positions_[to];
        if (!start.finite() || !end.finite()) return finish();
        if (!open_ || from != last_) {
            finish();
            file_.write("<path d=\"M" + start.text());
            open_ = true;
            at_ = start;
        }
        last_ = to;
        const double length = std::hypot(static_cast<double>(end.x - at_.x), static_cast<double>(end.y - at_.y));
        held_ = length < dot_;
        if (!held_) go_on(end, length);
    }
    void finish() {
        if (!open_) return;
        if (held_) file_.write("L" + positions_[last_].text());
        file_.write("\"/>\n");
        open_ = held_ = retracing_ = false;
        dots_.clear();
    }

private:
    void go_on(const Position& to, double length) {
        const auto dot =
            std::pair(std::floor(static_cast<double>(to.x) / dot_), std::floor(static_cast<double>(to.y) / dot_));
        const bool known = !dots_.insert(dot).second;
        const bool here = dot == dot_at_;
        dot_at_ = dot;
        if (known && !here && length < dot_ * 2) {
            retracing_ = true;
        } else if (!retracing_ || !here) {
            if (retracing_) file_.write("M" + at_.text());
            retracing_ = false;
            file_.write("L" + to.text());
        }
        at_ = to;
    }

    using Dot = std::pair<double, double>;

    const Positions& positions_;
    double dot_;
    OutputFile& file_;
    std::set<Dot> dots_;  // where the path has been
    Dot dot_at_;
    Position at_;
    xp_long last_ = 0;  // node that the path has reached
    xp_long lines_ = 0;
    bool open_ = false;
    bool held_ = false;       // the last node is not drawn yet
    bool retracing_ = false;  // on dots that are drawn already
};

enum class Lines { pairs, chains };  // of a cell set: two nodes each, or all nodes from a first to a last one

/// Calls `use(cell_set, lines)` for the cell sets that have cells.
template <class Use>
void for_each_line_set(OMobj_id field, Use use) {
    int count = 0;
    FLDget_ncell_sets(field, &count);
    for (int i = 0; i < count; ++i) {
        OMobj_id cells{};
        std::array<char, FLD_LABEL_SIZE> name{};
        xp_long ncells = 0;
        xp_long npolys = 0;
        require(FLDget_cell_set(field, i, &cells) == 1, "a cell set cannot be read");
        FLDget_cell_set_name(cells, name.data(), FLD_LABEL_SIZE);
        FLDget_ncells(cells, &ncells);
        FLDget_npolys(cells, &npolys);
        const std::string_view type = name.data();
        if (ncells + npolys == 0 || type == "Point") continue;
        if (type != "Line" && type != "Polyline") throw RunError("only lines and points are written as .svg");
        use(cells, type == "Line" ? Lines::pairs : Lines::chains);
    }
}

bool has_lines(OMobj_id field) {
    bool found = false;
    for_each_line_set(field, [&](OMobj_id, Lines) { found = true; });
    return found;
}

void write_lines(OMobj_id field, const Positions& positions, const Frame& frame, OutputFile& file) {
    file.write("<g fill=\"none\" stroke=\"#d81b3c\" stroke-linejoin=\"round\" stroke-width=\"" +
               number_text(frame.longest() / 600) + "\">\n");
    PathWriter path(positions, frame.longest() / 4000, file);
    for_each_line_set(field, [&](OMobj_id cells, Lines lines) {
        LentArray<xp_long> nodes;
        (lines == Lines::pairs ? FLDget_node_connect : FLDget_poly_connect)(cells, nodes.receive(),
                                                                            nodes.receive_count(), ARR_READ);
        for (xp_long i = 0; i + 1 < nodes.count(); i += 2) {
            const xp_long first = nodes.data()[i];
            const xp_long last = nodes.data()[i + 1];
            if (lines == Lines::pairs) path.line(first, last);
            for (xp_long node = first; lines == Lines::chains && node < last; ++node) path.line(node, node + 1);
        }
    });
    path.finish();
    file.write("</g>\n");
}

// --- Points ---

std::string escaped(std::string_view text) {
    std::string written;
    for (const char letter : text) {
        switch (letter) {
            case '&': written += "&amp;"; break;
            case '<': written += "&lt;"; break;
            case '>': written += "&gt;"; break;
            default: written += letter;
        }
    }
    return written;
}

/// The characters of a label as SVG text; bytes that are not printable ASCII become question marks.
std::string label_text(std::string_view label) {
    std::string text(label);
    std::replace_if(
        text.begin(), text.end(), [](char letter) { return letter < ' ' || letter > '~'; }, '?');
    return escaped(text);
}

/// Labels of points: the values of a component of characters, up to the first 0 of each node.
class Labels {
public:
    explicit Labels(OMobj_id field) {
        if (component_count(field) < 1) return;
        const int veclen = read_component_header(field, 0).veclen;
        values_ = read_node_values(field, 0);
        if (values_.type == DTYPE_CHAR) veclen_ = veclen;
    }
    std::string_view operator[](xp_long node) const {
        if (veclen_ < 1 || (node + 1) * veclen_ > values_.values.count()) return {};
        const auto* first = reinterpret_cast<const char*>(values_.values.data()) + node * veclen_;
        return {first, static_cast<std::size_t>(std::find(first, first + veclen_, '\0') - first)};
    }

private:
    LentValues values_;
    xp_long veclen_ = 0;  // 0: there are none
};

void write_points(OMobj_id field, const Positions& positions, const Frame& frame, OutputFile& file) {
    const Labels labels(field);
    const double radius = frame.longest() / 200;
    file.write("<g fill=\"#fff\" stroke=\"#000\" stroke-width=\"" + number_text(radius / 3) + "\">\n");
    for (xp_long node = 0; node < positions.count(); ++node) {
        const Position at = positions[node];
        if (!at.finite()) continue;
        const std::string y = number_text(at.y == 0.0F ? at.y : -at.y);
        file.write("<circle cx=\"" + number_text(at.x) + "\" cy=\"" + y + "\" r=\"" + number_text(radius) + "\"/>\n");
    }
    file.write("</g>\n<g font-family=\"sans-serif\" font-weight=\"bold\" font-size=\"" + number_text(4 * radius) +
               "\" stroke=\"#fff\" stroke-width=\"" + number_text(radius / 2) + "\" paint-order=\"stroke\">\n");
    for (xp_long node = 0; node < positions.count(); ++node) {
        const Position at = positions[node];
        const std::string_view label = labels[node];
        if (!at.finite() || label.empty()) continue;
        file.write("<text x=\"" + number_text(static_cast<double>(at.x) + 1.5 * radius) + "\" y=\"" +
                   number_text(-static_cast<double>(at.y) - 1.5 * radius) + "\">" + label_text(label) + "</text>\n");
    }
    file.write("</g>\n");
}

// --- The image beneath ---

std::string base64(std::string_view bytes) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = i; k < i + 3; ++k) {
            group = group << 8 | (k < bytes.size() ? static_cast<unsigned char>(bytes[k]) : 0U);
        }
        for (int shift = 18; shift >= 0; shift -= 6) text += kDigits[group >> shift & 63U];
    }
    const std::size_t padding = (3 - bytes.size() % 3) % 3;
    return text.replace(text.size() - padding, padding, padding, '=');
}

/// An image and the rectangle that its pixels cover.
struct Under {
    std::string png;
    ImageOrigin origin;
    Frame frame;
    double columns, rows;

    Under(OMobj_id field, ImageOrigin first_row)
        : png(encode_png(ImagePicture(Image(field, ".svg"), {}))), origin(first_row) {
        const FieldShape shape = read_shape(field);
        columns = static_cast<double>(shape.dims[0]);
        rows = static_cast<double>(shape.dims[1]);
        const LentArray<float> points = read_points(field);
        const bool placed = shape.grid_type == FLD_UNIFORM && shape.nspace >= 2 && points.count() >= 2 * shape.nspace;
        std::array<std::array<double, 2>, 2> ends{};  // by axis
        for (std::size_t axis = 0; axis < 2; ++axis) {
            const auto last = static_cast<double>(shape.dims[axis] - 1);
            double low = placed ? static_cast<double>(points.data()[axis]) : 0.0;
            double high =
                placed ? static_cast<double>(points.data()[static_cast<std::size_t>(shape.nspace) + axis]) : last;
            if (!std::isfinite(high - low) || high < low || (last > 0 && high == low)) low = 0, high = last;
            const double half_pixel = last > 0 ? (high - low) / last / 2 : 0.5;
            ends[axis] = {low - half_pixel, high + half_pixel};
        }
        frame.include(ends[0][0], ends[1][0]);
        frame.include(ends[0][1], ends[1][1]);
    }

    void write(OutputFile& file) const {
        // a first row that belongs at the bottom gets there by being drawn upside down
        const bool lower = origin == ImageOrigin::lower;
        file.write(std::string("<image ") + (lower ? "transform=\"scale(1 -1)\" " : "") +
                   "preserveAspectRatio=\"none\" x=\"" + number_text(frame.left) + "\" y=\"" +
                   number_text(lower ? frame.bottom : -frame.top) + "\" width=\"" + number_text(frame.width()) +
                   "\" height=\"" + number_text(frame.height()) + "\" xlink:href=\"data:image/png;base64,");
        file.write(base64(png));
        file.write("\"/>\n");
    }
};

// --- The page ---

/// The start of a file: a picture so many pixels wide and high, and what its coordinates are.
std::string head(double width, double height, const std::string& view_box) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
           "xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\"" +
           number_text(width) + "\" height=\"" + number_text(height) + "\" viewBox=\"" + view_box + "\">\n";
}

std::string view_box(const Frame& frame) {
    return number_text(frame.left) + " " + number_text(-frame.top) + " " + number_text(frame.width()) + " " +
           number_text(frame.height());
}

std::string color_text(const Rgb& color) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text = "#";
    for (const unsigned part : color) {
        text += kDigits[part >> 4U];
        text += kDigits[part & 15U];
    }
    return text;
}

/// A number of a page, whose pixels need no more digits than a float has.
std::string page_text(double number) { return number_text(static_cast<float>(number)); }

std::string rectangle(double x, double y, double width, double height, const std::string& fill) {
    return "<rect x=\"" + page_text(x) + "\" y=\"" + page_text(y) + "\" width=\"" + page_text(width) + "\" height=\"" +
           page_text(height) + "\" fill=\"" + fill + "\"/>\n";
}

void write_bar(const PageBar& bar, OutputFile& file) {
    file.write("<linearGradient id=\"colors\" x1=\"0\" y1=\"1\" x2=\"0\" y2=\"0\">\n");
    const auto last = static_cast<double>(std::max<std::size_t>(bar.colors.size() - 1, 1));
    for (std::size_t i = 0; i < bar.colors.size(); ++i) {
        file.write("<stop offset=\"" + page_text(static_cast<double>(i) / last) + "\" stop-color=\"" +
                   color_text(bar.colors[i]) + "\"/>\n");
    }
    file.write("</linearGradient>\n" + rectangle(bar.x, bar.y, bar.width, bar.height, "url(#colors)"));
}

void write_text(const PageText& text, OutputFile& file) {
    constexpr std::string_view kAnchors[] = {"start", "middle", "end"};
    const std::string at = page_text(text.x) + " " + page_text(text.y);
    file.write("<text transform=\"translate(" + at + ")" + (text.turned ? " rotate(-90)" : "") + "\" dy=\"" +
               page_text(kMiddleOfLetters * text.size) + "\" font-size=\"" + page_text(text.size) +
               "\" text-anchor=\"" + std::string(kAnchors[static_cast<std::size_t>(text.anchor)]) + "\">" +
               escaped(text.text) + "</text>\n");
}

/// What stands around the picture of a page.
void write_page(const Page& page, OutputFile& file) {
    const std::string ink = color_text(page.style.ink);
    for (const auto& bar : page.bars) write_bar(bar, file);
    file.write("<g stroke=\"" + ink + "\" stroke-width=\"" + page_text(page.line_width) + "\">\n");
    for (const auto& line : page.lines) {
        file.write("<path d=\"M" + page_text(line.x1) + " " + page_text(line.y1) + "L" + page_text(line.x2) + " " +
                   page_text(line.y2) + "\"/>\n");
    }
    file.write("</g>\n<g font-family=\"DejaVu Sans, sans-serif\" fill=\"" + ink + "\">\n");
    for (const auto& text : page.texts) write_text(text, file);
    file.write("</g>\n");
}

void require_field(OMobj_id object) {
    if (host::kind(object) != host::Kind::field) throw RunError("only fields are written as .svg");
}

/// The parts of a drawing, in its own coordinates.
class Scene {
public:
    explicit Scene(const Drawing& drawing) : drawing_(drawing) {
        require_field(drawing.object);
        if (drawing.points) require_field(*drawing.points);
        const bool image_alone = !drawing.under && is_image_field(drawing.object);
        if (drawing.under) image_.emplace(*drawing.under, drawing.origin);
        if (image_alone) image_.emplace(drawing.object, drawing.origin);
        if (!image_alone) positions_.emplace(drawing.object);
        if (drawing.points) point_positions_.emplace(*drawing.points);
        lines_ = positions_ && has_lines(drawing.object);

        if (image_) frame_ = image_->frame;
        is_image_ = image_alone && !drawing.points;
        if (is_image_) return;
        if (positions_) positions_->extend(frame_);
        if (point_positions_) point_positions_->extend(frame_);
        if (frame_.empty()) frame_.include(0, 0);
        if (frame_.longest() == 0) frame_.widen(0.5);
        frame_.widen(frame_.longest() / 25);  // room for strokes and labels
    }

    const Frame& frame() const { return frame_; }
    /// Pixels of the picture: an image's own, or as many as a drawing is to have.
    double width() const { return is_image_ ? image_->columns : pixels(frame_.width()); }
    double height() const { return is_image_ ? image_->rows : pixels(frame_.height()); }

    /// An axis of the image beneath as one of the whole drawing, which is `size` pixels long.
    void extend(PlaneAxis& axis, bool upright, double size) const {
        const Frame& inner = image_->frame;
        const double start = upright ? inner.bottom - frame_.bottom : inner.left - frame_.left;
        const double unit = upright ? inner.height() / image_->rows : inner.width() / image_->columns;
        const double scale = size / (upright ? frame_.height() : frame_.width());
        for (auto& knot : axis.knots) knot.pixel = (start + knot.pixel * unit) * scale;
    }

    /// The plane of the coordinates.
    PlaneAxes axes() const {
        return {{{{0, frame_.left}, {width(), frame_.right}}, "x"},
                {{{0, frame_.bottom}, {height(), frame_.top}}, "y"},
                {}};
    }
    /// Whether the plane has sides; far from the origin those of a single point are the same number.
    bool has_sides() const { return frame_.width() > 0 && frame_.height() > 0; }

    void write(OutputFile& file) const {
        if (image_) image_->write(file);
        if (lines_) write_lines(drawing_.object, *positions_, frame_, file);
        // without lines the field is one of points, unless it is an empty line field with points of its own
        if (!lines_ && positions_) write_points(drawing_.object, *positions_, frame_, file);
        if (drawing_.points) write_points(*drawing_.points, *point_positions_, frame_, file);
    }

private:
    double pixels(double length) const {
        return static_cast<double>(std::max(1L, std::lround(length * (kPixels / frame_.longest()))));
    }

    Drawing drawing_;
    std::optional<Under> image_;
    std::optional<Positions> positions_, point_positions_;  // of the lines or points; there are none of an image
    Frame frame_;
    bool lines_ = false;
    bool is_image_ = false;  // and nothing else
};

}  // namespace

void write_svg(const Drawing& drawing, const Surroundings& around, OutputFile& file) {
    const Scene scene(drawing);
    Surroundings of_drawing = around;
    if (drawing.axes && !around.axes) of_drawing.axes = scene.axes();
    if (!scene.has_sides()) of_drawing.axes.reset();
    if (!of_drawing.any()) {
        file.write(head(scene.width(), scene.height(), view_box(scene.frame())));
        scene.write(file);
        file.write("</svg>\n");
        return;
    }
    if (around.axes && of_drawing.axes) {
        scene.extend(of_drawing.axes->x, false, scene.width());
        scene.extend(of_drawing.axes->y, true, scene.height());
    }
    const Page page = lay_out(static_cast<int>(scene.width()), static_cast<int>(scene.height()), of_drawing);
    const std::string size = number_text(page.width) + " " + number_text(page.height);
    file.write(head(page.width, page.height, "0 0 " + size));
    file.write(rectangle(0, 0, page.width, page.height, color_text(page.style.paper)));
    file.write("<svg x=\"" + number_text(page.left) + "\" y=\"" + number_text(page.top) + "\" width=\"" +
               number_text(page.picture_width) + "\" height=\"" + number_text(page.picture_height) +
               "\" preserveAspectRatio=\"none\" viewBox=\"" + view_box(scene.frame()) + "\">\n");
    scene.write(file);
    file.write("</svg>\n");
    write_page(page, file);
    file.write("</svg>\n");
}

}  // namespace zam::session
