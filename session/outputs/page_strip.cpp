#include "session/outputs/page_strip.h"

#include "base/part.h"
#include "session/objects/run_error.h"

#if defined(ZAM_WITH_CAIRO)
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

namespace zam::session {
namespace {

template <auto Release>
struct Releaser {
    template <class T>
    void operator()(T* held) const {
        Release(held);
    }
};
using Surface = std::unique_ptr<cairo_surface_t, Releaser<cairo_surface_destroy>>;
using Drawing = std::unique_ptr<cairo_t, Releaser<cairo_destroy>>;
using Pattern = std::unique_ptr<cairo_pattern_t, Releaser<cairo_pattern_destroy>>;
using FontOptions = std::unique_ptr<cairo_font_options_t, Releaser<cairo_font_options_destroy>>;

void set_color(cairo_t* to, const Rgb& color) {
    cairo_set_source_rgb(to, color[0] / 255.0, color[1] / 255.0, color[2] / 255.0);
}

void draw_bar(cairo_t* to, const PageBar& bar) {
    const Pattern colors(cairo_pattern_create_linear(0, bar.y + bar.height, 0, bar.y));
    const auto last = static_cast<double>(std::max<std::size_t>(bar.colors.size() - 1, 1));
    for (std::size_t i = 0; i < bar.colors.size(); ++i) {
        const Rgb& color = bar.colors[i];
        cairo_pattern_add_color_stop_rgb(colors.get(), static_cast<double>(i) / last, color[0] / 255.0,
                                         color[1] / 255.0, color[2] / 255.0);
    }
    cairo_set_source(to, colors.get());
    cairo_rectangle(to, bar.x, bar.y, bar.width, bar.height);
    cairo_fill(to);
}

/// Lines are upright or level; whole pixels make them crisp.
void draw_line(cairo_t* to, const PageLine& line, double width) {
    const double half = line.x1 == line.x2 ? width / 2 : 0;
    const double half_y = line.y1 == line.y2 ? width / 2 : 0;
    const double left = std::round(std::min(line.x1, line.x2) - half);
    const double top = std::round(std::min(line.y1, line.y2) - half_y);
    const double right = std::round(std::max(line.x1, line.x2) + half);
    const double bottom = std::round(std::max(line.y1, line.y2) + half_y);
    cairo_rectangle(to, left, top, right - left, bottom - top);
    cairo_fill(to);
}

void draw_text(cairo_t* to, const PageText& text) {
    cairo_set_font_size(to, text.size);
    cairo_text_extents_t extents;
    cairo_text_extents(to, text.text.c_str(), &extents);
    const double share = text.anchor == Anchor::start ? 0 : text.anchor == Anchor::middle ? 0.5 : 1;
    cairo_save(to);
    cairo_translate(to, text.x, text.y);
    if (text.turned) cairo_rotate(to, -std::numbers::pi / 2);
    cairo_move_to(to, -share * extents.x_advance, kMiddleOfLetters * text.size);
    cairo_show_text(to, text.text.c_str());
    cairo_restore(to);
}

void set_font(cairo_t* to) {
    const FontOptions options(cairo_font_options_create());
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_set_font_options(to, options.get());
    cairo_select_font_face(to, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
}

}  // namespace

void draw_strip(const Page& page, PageStrip& strip) {
    if (strip.width < 1 || strip.height < 1) return;
    strip.pixels.resize(static_cast<std::size_t>(strip.width) * static_cast<std::size_t>(strip.height));
    const Surface surface(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(strip.pixels.data()),
                                                              CAIRO_FORMAT_RGB24, strip.width, strip.height,
                                                              strip.width * static_cast<int>(sizeof(std::uint32_t))));
    const Drawing drawing(cairo_create(surface.get()));
    cairo_t* to = drawing.get();
    set_color(to, page.style.paper);
    cairo_paint(to);
    cairo_translate(to, -strip.x, -strip.y);
    set_font(to);
    for (const auto& bar : page.bars) draw_bar(to, bar);
    set_color(to, page.style.ink);
    for (const auto& line : page.lines) draw_line(to, line, page.line_width);
    for (const auto& text : page.texts) draw_text(to, text);
    cairo_surface_flush(surface.get());
    if (cairo_status(to) != CAIRO_STATUS_SUCCESS) throw RunError(cairo_status_to_string(cairo_status(to)));
}
ZAM_PART_EXPORT(draw_strip)

}  // namespace zam::session

#else

namespace zam::session {

void draw_strip(const Page& page, PageStrip& strip) {
    static const auto draw = part_function<decltype(draw_strip)>("zam_cairo", "draw_strip");
    if (!draw) throw RunError("this zam was built without Cairo and draws legends and axes in .svg files only");
    draw(page, strip);
}

}  // namespace zam::session

#endif
