#include "session/outputs/legend.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/element_types.h"
#include "contract/gd.h"
#include "contract/om.h"
#include "embedded/host.h"
#include "embedded/view/view.h"
#include "session/objects/field_access.h"

namespace zam::session {
namespace {

constexpr std::size_t kSamples = 256;  // colours of a datamap

/// What a parameter of an instance, or an element of a list, leads to; an invalid handle if it is nothing.
OMobj_id value_of(OMobj_id object) {
    OMobj_id value = OMnull_obj();
    if (OMvalid_obj(object) == 1) OMget_obj_val(object, &value);
    return value;
}
OMobj_id parameter_value(const ImageHolder& holder, const std::string& name) {
    return value_of(host::find(holder.object, name));
}

std::vector<OMobj_id> elements(OMobj_id list) {
    std::vector<OMobj_id> values;
    for (const OMobj_id element : host::children(list)) values.push_back(value_of(element));
    return values;
}

int read_int(const ImageHolder& holder, const std::string& name) {
    int number = 0;
    OMget_int_val(parameter_value(holder, name), &number);
    return number;
}

/// The fields that a legend's values are: one, or those of a list.
std::vector<OMobj_id> fields_of(const ImageHolder& holder, const LegendSource& source) {
    const OMobj_id value = parameter_value(holder, source.values);
    if (host::kind(value) == host::Kind::field) return {value};
    return elements(value);
}

/// A field and the datamap that colours it, if there is one.
struct Mapped {
    OMobj_id field{};
    OMobj_id datamap{};
};

/// The first field with a datamap, else the first one.
std::optional<Mapped> shown_field(const ImageHolder& holder, const LegendSource& source) {
    const auto fields = fields_of(holder, source);
    const auto* colors = holder.instance->definition->find_parameter(source.colors);
    if (colors && colors->shape.kind == Kind::datamaps) {
        const auto datamaps = elements(parameter_value(holder, source.colors));
        for (std::size_t i = 0; i < std::min(fields.size(), datamaps.size()); ++i) {
            const bool is_map = OMvalid_obj(datamaps[i]) == 1 && !host::children(datamaps[i]).empty();
            if (is_map && component_count(fields[i]) > 0) return Mapped{fields[i], datamaps[i]};
        }
    }
    if (fields.empty() || host::kind(fields.front()) != host::Kind::field) return std::nullopt;
    return Mapped{fields.front(), OMnull_obj()};
}

Caption caption_of(OMobj_id field, const LegendSource& source) {
    if (component_count(field) < 1) return {};
    const ComponentHeader header = read_component_header(field, 0);
    const bool length = !header.label.empty() && !source.ramp.empty();  // of a vector
    return {length ? "|" + header.label + "|" : header.label, header.units};
}

/// The image that a view draws among its objects, if none of these has colours by a datamap.
ImageHolder drawn_image(const ImageHolder& holder) {
    if (!holder.parameter || !holder.parameter->legend) return {};
    const LegendSource& source = *holder.parameter->legend;
    const auto* colors = holder.instance->definition->find_parameter(source.colors);
    const auto shown = colors && colors->shape.kind == Kind::datamaps ? shown_field(holder, source) : std::nullopt;
    if (!shown || OMvalid_obj(shown->datamap) == 1) return {};
    for (const OMobj_id field : fields_of(holder, source)) {
        ImageHolder image = holder_of(field, *holder.network);
        if (image.parameter && image.parameter->legend && image.instance != holder.instance) return image;
    }
    return {};
}

// --- Ranges ---

/// What a value of component 0 stands for, where the values were scaled from a range.
double meant_by(OMobj_id field, double value) {
    const auto range = host::scaled_from(field, 0);
    const auto type = read_component_header(field, 0).type;
    if (!range || !type) return value;
    return with_type(*type, [&](auto zero) {
        using T = decltype(zero);
        const auto lowest = static_cast<double>(std::numeric_limits<T>::lowest());
        const double share = (value - lowest) / (static_cast<double>(std::numeric_limits<T>::max()) - lowest);
        return (*range)[0] * (1 - share) + (*range)[1] * share;
    });
}

/// The least and the greatest length of a field's vectors, of those of their parts that the legend names.
std::optional<std::array<double, 2>> length_range(const ImageHolder& holder, OMobj_id field,
                                                  const LegendSource& source) {
    const int veclen = read_component_header(field, 0).veclen;
    std::vector<int> parts;
    parts.reserve(source.parts.size());
    for (const auto& name : source.parts) parts.push_back(read_int(holder, name));
    for (int part = 0; source.parts.empty() && part < veclen; ++part) parts.push_back(part);
    if (veclen < 1) return std::nullopt;
    if (std::any_of(parts.begin(), parts.end(), [&](int part) { return part < 0 || part >= veclen; })) {
        return std::nullopt;
    }
    const LentValues lent = read_node_values(field, 0);
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    with_type(lent.type, [&](auto zero) {
        const auto* values = reinterpret_cast<const decltype(zero)*>(lent.values.data());
        for (xp_long node = 0; node + veclen <= lent.values.count(); node += veclen) {
            double length = 0;
            for (const int part : parts) length = std::hypot(length, static_cast<double>(values[node + part]));
            if (!std::isfinite(length)) continue;
            low = std::min(low, length);
            high = std::max(high, length);
        }
    });
    if (!(low <= high)) return std::nullopt;
    return std::array{low, high};
}

// --- Colours ---

std::vector<std::uint8_t> read_bytes(OMobj_id group, const char* name) {
    const LentValues lent = read_array(value_of(host::find(group, name)));
    const auto* first = reinterpret_cast<const std::uint8_t*>(lent.values.data());
    if (lent.type != DTYPE_BYTE && lent.type != DTYPE_CHAR) return {};
    return {first, first + lent.values.count()};
}

bool set_table_colors(OMobj_id table, Legend& legend) {
    constexpr std::size_t kEntries = 256;  // of one byte
    const auto red = read_bytes(table, "red");
    const auto green = read_bytes(table, "green");
    const auto blue = read_bytes(table, "blue");
    if (red.size() < kEntries || green.size() < kEntries || blue.size() < kEntries) return false;
    for (std::size_t i = 0; i < kEntries; ++i) legend.colors.push_back({red[i], green[i], blue[i]});
    legend.low = 0;
    legend.high = kEntries - 1;
    return true;
}

bool set_datamap_colors(OMobj_id datamap, Legend& legend) {
    const bool has_range = OMget_name_real_val(datamap, OMstr_to_name("min"), &legend.low) == 1 &&
                           OMget_name_real_val(datamap, OMstr_to_name("max"), &legend.high) == 1;
    if (!has_range || !std::isfinite(legend.low) || !std::isfinite(legend.high)) return false;
    std::array<double, kSamples> values{};
    std::array<unsigned char, 4 * kSamples> argb{};
    for (std::size_t i = 0; i < kSamples; ++i) {
        const double share = static_cast<double>(i) / (kSamples - 1);
        values[i] = legend.low * (1 - share) + legend.high * share;
    }
    if (GDgen_argbs(datamap, values.data(), DTYPE_DOUBLE, argb.data(), kSamples, 1, kSamples, kSamples, 0) != 1) {
        return false;
    }
    for (std::size_t i = 0; i < kSamples; ++i) {
        legend.colors.push_back({argb[4 * i + 1], argb[4 * i + 2], argb[4 * i + 3]});
    }
    return true;
}

/// Colours and range as the module has them, before what scaling means for the range.
bool set_colors(const ImageHolder& holder, const LegendSource& source, const Mapped& shown, Legend& legend) {
    if (source.colors.empty()) {
        const auto range = length_range(holder, shown.field, source);
        legend.colors = source.ramp;
        if (range) legend.low = (*range)[0], legend.high = (*range)[1];
        return range.has_value();
    }
    if (OMvalid_obj(shown.datamap) == 1) return set_datamap_colors(shown.datamap, legend);
    const auto* colors = holder.instance->definition->find_parameter(source.colors);
    if (colors->shape.kind == Kind::datamaps) return false;                   // no object has one
    const bool by_value = read_component_header(shown.field, 0).veclen == 1;  // else the values are colours themselves
    return by_value && set_table_colors(parameter_value(holder, source.colors), legend);
}

// --- Planes ---

/// Positions of the nodes along an axis of a uniform or rectilinear plane grid; `nullopt` if they do not go one way.
std::optional<PlaneAxis> node_axis(OMobj_id field, const FieldShape& shape, std::size_t axis) {
    const auto count = static_cast<std::size_t>(shape.dims[axis]);
    const auto nspace = static_cast<std::size_t>(std::max(shape.nspace, 1));
    const LentArray<float> points = read_points(field);
    const std::size_t listed = shape.grid_type == FLD_RECTILINEAR ? count : 2;
    const std::size_t before =
        axis == 0 || shape.grid_type == FLD_UNIFORM ? 0 : static_cast<std::size_t>(shape.dims[0]);
    const bool placed = nspace > axis && static_cast<std::size_t>(points.count()) >= (before + listed) * nspace;
    const auto position = [&](std::size_t i) {
        return static_cast<double>(points.data()[(before + i) * nspace + axis]);
    };
    PlaneAxis made{{}, axis == 0 ? "x" : "y"};
    const double last = static_cast<double>(count) - 0.5;
    if (shape.grid_type == FLD_RECTILINEAR && placed) {
        for (std::size_t i = 0; i < count; ++i) made.knots.push_back({static_cast<double>(i) + 0.5, position(i)});
    } else if (shape.grid_type == FLD_UNIFORM && placed) {
        made.knots = {{0.5, position(0)}, {last, position(1)}};
    } else {
        made.knots = {{0.5, 0}, {last, last - 0.5}};
    }
    if (count == 1) made.knots = {{0, made.knots.front().value - 0.5}, {1, made.knots.front().value + 0.5}};
    const auto& knots = made.knots;
    const bool up = knots.front().value < knots.back().value;
    for (std::size_t i = 0; i < knots.size(); ++i) {
        const bool goes_on = i == 0 || (up ? knots[i - 1].value < knots[i].value : knots[i - 1].value > knots[i].value);
        if (!goes_on || !std::isfinite(knots[i].value)) return std::nullopt;
    }
    return made;
}

/// The plane of a grid whose nodes are the image's pixels, the first row at the bottom.
std::optional<PlaneAxes> grid_plane(OMobj_id field, OMobj_id image) {
    const FieldShape shape = read_shape(field);
    if (shape.dims.size() != 2 || shape.dims != read_shape(image).dims || !shape.has_points()) return std::nullopt;
    auto x = node_axis(field, shape, 0);
    auto y = node_axis(field, shape, 1);
    if (!x || !y) return std::nullopt;
    return PlaneAxes{std::move(*x), std::move(*y), {}};
}

/// The plane of a parallel view along z, the last row at the bottom.
std::optional<PlaneAxes> view_plane(OMobj_id view, OMobj_id image) {
    const auto sides = host::view::plane_sides(view);
    const auto dims = read_shape(image).dims;
    if (!sides || dims.size() != 2) return std::nullopt;
    return PlaneAxes{{{{0, sides->left}, {static_cast<double>(dims[0]), sides->right}}, "x"},
                     {{{0, sides->bottom}, {static_cast<double>(dims[1]), sides->top}}, "y"},
                     {}};
}

/// Gives the axes of a view that draws an image, in the image's pixels, the image's own values and title.
void put_on_plane(PlaneAxes& view, const ImageHolder& drawn) {
    auto own = read_axes(drawn, parameter_value(drawn, drawn.parameter->name), drawn.parameter->origin);
    if (!own) return;
    const auto replace = [](PlaneAxis& axis, const PlaneAxis& values) {
        std::vector<PlaneAxis::Knot> knots;
        knots.reserve(values.knots.size());
        // a pixel is drawn from its node, which is its middle
        for (const auto& knot : values.knots) knots.push_back({axis.pixel_of(knot.pixel - 0.5), knot.value});
        axis.knots = std::move(knots);
    };
    replace(view.x, own->x);
    replace(view.y, own->y);
    view.title = std::move(own->title);
}

/// An axis the other way round.
void mirror(PlaneAxis& axis, double size) {
    std::reverse(axis.knots.begin(), axis.knots.end());
    for (auto& knot : axis.knots) knot.pixel = size - knot.pixel;
}

}  // namespace

ImageHolder holder_of(OMobj_id image, const Network& network) {
    const std::string path = host::path(image);
    const auto [module, name, rest] = split_reference(path);
    const auto number = network.find(module);
    if (!number) return {};
    const Instance& instance = network.instances[*number];
    return {&instance, instance.definition->find_parameter(name), host::find(host::root(), instance.name), &network};
}

std::optional<Legend> read_legend(const ImageHolder& holder) {
    if (!holder.parameter || !holder.parameter->legend) return std::nullopt;
    if (const ImageHolder drawn = drawn_image(holder); drawn.parameter) return read_legend(drawn);
    const LegendSource& source = *holder.parameter->legend;
    const bool applies = std::all_of(source.when.begin(), source.when.end(), [&](const auto& condition) {
        return (read_int(holder, condition.first) != 0) == condition.second;
    });
    const auto shown = applies ? shown_field(holder, source) : std::nullopt;
    Legend legend;
    if (!shown || !set_colors(holder, source, *shown, legend)) return std::nullopt;
    if (source.ramp.empty()) {
        legend.low = meant_by(shown->field, legend.low);
        legend.high = meant_by(shown->field, legend.high);
    }
    if (legend.low > legend.high) {
        std::swap(legend.low, legend.high);
        std::reverse(legend.colors.begin(), legend.colors.end());
    }
    if (legend.low == legend.high) legend.colors.resize(1);
    legend.caption = caption_of(shown->field, source);
    return std::isfinite(legend.low) && std::isfinite(legend.high) ? std::optional(std::move(legend)) : std::nullopt;
}

std::optional<PlaneAxes> read_axes(const ImageHolder& holder, OMobj_id image, ImageOrigin origin) {
    if (!holder.parameter || !holder.parameter->legend) return std::nullopt;
    const bool is_view = holder.instance->definition->entry == host::view::kEntry;
    const auto shown = shown_field(holder, *holder.parameter->legend);
    if (!shown) return std::nullopt;
    auto axes = is_view ? view_plane(holder.object, image) : grid_plane(shown->field, image);
    if (!axes) return std::nullopt;
    const ImageOrigin upright = is_view ? ImageOrigin::upper : ImageOrigin::lower;
    if (origin != upright) mirror(axes->y, static_cast<double>(read_shape(image).dims[1]));
    axes->title = caption_of(shown->field, *holder.parameter->legend);
    if (const ImageHolder drawn = is_view ? drawn_image(holder) : ImageHolder{}; drawn.parameter) {
        put_on_plane(*axes, drawn);
    }
    return axes;
}

}  // namespace zam::session
