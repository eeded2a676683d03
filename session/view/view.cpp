#include "session/view/view.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/element_types.h"
#include "session/convert/convert_field.h"
#include "session/convert/distribution.h"
#include "session/data/data_error.h"
#include "session/objects/field_access.h"
#include "session/view/placement.h"
#include "session/view/shown_data.h"

namespace zam::session {
namespace {

constexpr std::array<int, 2> kSceneSize{512, 512};
constexpr int kPlaneSide = 640;         // pixels of the longer side of a plane
constexpr double kMostOblong = 8;       // the longer side of a picture by the shorter
constexpr double kEven = 0.98;          // axes whose scales differ by less are not stretched
constexpr Numbers3 kTurn{-62, 27, 14};  // z upward, seen a little from above
constexpr double kPerspective = 0.3;
constexpr double kLowShare = 0.01, kHighShare = 0.99;
constexpr int kImageId = 669;  // of components that are image colours
constexpr int kTurnFrames = 48;
constexpr double kTurnFps = 20, kStepFps = 10;

// --- One view ---

class Planner {
public:
    Planner(ViewSource& source, const ViewOptions& options) : source_(source), options_(options) {}

    ViewPlan plan();

private:
    void plan_volume();
    void plan_flow();
    void plan_scene();
    void plan_image();

    void measure(const Json& convert);
    std::array<double, 2> range();
    Json opacity(const std::array<double, 2>& range) const;
    Camera camera() const;
    std::array<int, 2> plane_size(double width, double height, double most_oblong) const;
    Numbers3 turn() const { return options_.turn.value_or(kTurn); }
    void place(Json& params, const std::string& module, const Numbers3& stretch, const Box& box);
    void place_plane(Json& params, const Box& box) const;
    void show_steps(const std::string& parameter, const Json& value);
    void write(Json output, bool plane);
    void tell_data(int step);

    bool is_film() const { return options_.output.ends_with(".webp"); }
    bool shows_steps() const { return is_film() && options_.data.step < 0 && source_.steps() > 1; }
    bool turns() const { return is_film() && !shows_steps(); }
    std::string preset() const { return options_.preset.empty() ? "viridis" : options_.preset; }
    void tell(const std::string& what, const std::string& text) { plan_.facts.emplace_back(what, text); }

    ViewSource& source_;
    const ViewOptions& options_;
    ViewPlan plan_;
    FieldPointer field_;
    Shown shown_;
    Json convert_;  // takes what is shown out of the field
    Json modules_ = Json::object();
    Json film_;  // the event that makes frames; null: one picture
    Json write_;
    Distribution distribution_;
};

/// A field's value in a network with a conversion, if there is any.
Json converted(Json value, const Json& convert) {
    if (!convert.empty()) value["convert"] = convert;
    return value;
}

std::string number_text(double value, double span) {
    std::string text = network_text(rounded(value, span));
    if (text.ends_with(".0")) text.resize(text.size() - 2);
    return text;
}

// --- Values ---

/// Counts the values of the steps that are shown.
void Planner::measure(const Json& convert) {
    const Conversion conversion = conversion_of(convert);
    const int steps = shows_steps() ? source_.steps() : 1;
    const auto count = [&](const FieldPointer& field) {
        const FieldPointer values = zam::session::convert(field, conversion);
        const ComponentValue& component = values->node_data.at(0);
        const std::string error = distribution_.add(component.values, component.null_value);
        if (!error.empty()) throw ViewError(error);
    };
    count(field_);
    if (steps > 1) field_.reset();  // the source is about to change it
    for (int step = 1; step < steps; ++step) {
        source_.go_to(step);
        count(source_.field());
    }
    if (steps > 1) {
        source_.go_to(0);
        field_ = source_.field();
    }
    if (distribution_.count() == 0) throw ViewError(shown_.name + " has no value that is a finite number");
}

/// The values over which the colours go.
std::array<double, 2> Planner::range() {
    const bool given = options_.range.has_value();
    std::array<double, 2> range = given ? *options_.range : distribution_.typical_range(kLowShare, kHighShare);
    if (!(range[0] < range[1])) {  // one value: in the middle of its colours
        const double margin = range[0] != 0.0 ? std::fabs(range[0]) / 2 : 1.0;
        range = {range[0] - margin, range[0] + margin};
    }
    const double span = range[1] - range[0];
    if (!given) range = {rounded(range[0], span), rounded(range[1], span)};
    const std::string smallest = number_text(distribution_.smallest(), span);
    const bool one = distribution_.smallest() == distribution_.largest();
    const std::string ends = number_text(range[0], span) + " to " + number_text(range[1], span);
    const std::string all =
        one ? "about the only value " + smallest
            : "the 1st and 99th percentile of " + smallest + " to " + number_text(distribution_.largest(), span);
    tell("range", given ? ends : ends + ", " + all);
    return range;
}

/// Opacity rises on both sides of the most frequent value, which stays invisible.
Json Planner::opacity(const std::array<double, 2>& range) const {
    if (!options_.opacity.empty()) return Json::parse(options_.opacity);
    constexpr int kTop = Distribution::kLevels - 1;
    constexpr int kMargin = 12;  // levels about the most frequent one that are invisible too
    constexpr int kFaint = 40;   // what the only value of a field has
    if (distribution_.smallest() == distribution_.largest()) return {{0, 0}, {1, kFaint}, {kTop, kFaint}};
    const auto levels = distribution_.levels(range[0], range[1]);
    const auto mode = static_cast<int>(std::max_element(levels.begin(), levels.end()) - levels.begin());
    const int farthest = std::max(mode, kTop - mode) - kMargin;
    const auto at_end = [&](int distance) { return std::max(0, 255 * (distance - kMargin) / farthest); };
    Json curve = Json::array();
    if (mode > kMargin) {
        // what is null, or no number, has the lowest level
        if (distribution_.left_out() > 0) curve.push_back({0, 0});
        curve.push_back({distribution_.left_out() > 0 ? 1 : 0, at_end(mode)});
        curve.push_back({mode - kMargin, 0});
    }
    if (mode + kMargin < kTop) {
        curve.push_back({mode + kMargin, 0});
        curve.push_back({kTop, at_end(kTop - mode)});
    }
    return curve;
}

// --- Places ---

Camera Planner::camera() const {
    const auto size = options_.size.value_or(kSceneSize);
    return {size[0], size[1], options_.perspective.value_or(kPerspective), options_.zoom};
}

/// A picture as wide and high as a plane is, within the size asked for.
/// @param most_oblong  the longer side by the shorter
std::array<int, 2> Planner::plane_size(double width, double height, double most_oblong) const {
    const auto most = options_.size.value_or(std::array<int, 2>{kPlaneSide, kPlaneSide});
    if (!(width > 0.0) || !(height > 0.0)) return most;
    const double scale = std::min(most[0] / width, most[1] / height);
    const auto side = [&](double length, double other) {
        return static_cast<int>(std::lround(std::max({length * scale, other * scale / most_oblong, 2.0})));
    };
    return {side(width, height), side(height, width)};
}

/// The 16 numbers of a transform that moves `middle` to the middle of the picture.
std::array<double, 16> matrix_of(const Matrix& turn, double scale, const Numbers3& middle) {
    std::array<double, 16> numbers{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            const double entry = double{turn[4 * row + column]} * scale;
            numbers[4 * row + column] = rounded(entry, scale);
            numbers[12 + column] -= middle[row] * entry;
        }
    }
    for (std::size_t column = 12; column < 15; ++column) numbers[column] = rounded(numbers[column], 1.0);
    numbers[15] = 1.0;
    return numbers;
}

/// Turns, scales and moves an object so that it fills the picture. In a film it turns once about its z axis.
/// @param module   whose parameters these are
/// @param stretch  of the object's axes before that
/// @param box      of the object, after the stretch
void Planner::place(Json& params, const std::string& module, const Numbers3& stretch, const Box& box) {
    const Camera view = camera();
    const Matrix straight = placed(1.0, turn(), {}).mat;
    params["width"] = view.width;
    params["height"] = view.height;
    params["fptr"] = view.perspective;
    if (turns()) {
        double scale = std::numeric_limits<double>::infinity();
        Json matrices = Json::array();
        const auto turned = [&](int frame) { return turned_first(360.0 * frame / kTurnFrames, straight); };
        for (int frame = 0; frame < kTurnFrames; ++frame)
            scale = std::min(scale, fitting_scale(view, turned(frame), box.half()));
        for (int frame = 0; frame < kTurnFrames; ++frame)
            matrices.push_back(matrix_of(scaled_first(stretch, turned(frame)), scale, box.middle()));
        params["xform"] = {{"matrix", matrices.front()}};
        film_ = {{"for", {{module + ".xform.matrix", matrices}}}, {"steps", kTurnFrames}, {"fps", kTurnFps}};
        return;
    }
    const double scale = fitting_scale(view, straight, box.half());
    const auto numbers = matrix_of(scaled_first(stretch, straight), scale, box.middle());
    if (stretch != Numbers3{1, 1, 1}) {
        params["xform"] = {{"matrix", numbers}};
        return;
    }
    params["xform"] = {{"rotate", turn()}, {"scale", rounded(scale, scale)}};
    if (box.middle() != Numbers3{}) params["xform"]["translate"] = {numbers[12], numbers[13], numbers[14]};
}

/// Looks straight at a plane, which fills the picture.
void Planner::place_plane(Json& params, const Box& box) const {
    const auto size = plane_size(box.length(0), box.length(1), kMostOblong);
    const double side = std::min(size[0], size[1]);
    double scale = std::numeric_limits<double>::infinity();
    for (std::size_t axis = 0; axis < 2; ++axis) {
        if (box.length(axis) > 0.0) scale = std::min(scale, size[axis] / side / box.length(axis));
    }
    scale = std::isfinite(scale) ? scale * options_.zoom : 1.0;
    const Numbers3 middle = box.middle();
    params["width"] = size[0];
    params["height"] = size[1];
    params["xform"] = {{"scale", scale}, {"translate", {-middle[0] * scale, -middle[1] * scale, -middle[2] * scale}}};
}

/// Lets a film go through the time steps.
/// @param value  of the parameter that has the source's field, at the first step
void Planner::show_steps(const std::string& parameter, const Json& value) {
    if (!shows_steps()) return;
    const int last = source_.steps() - 1;
    const auto [track, first] = source_.step_track();
    Json track_values = Json::array({first, first + last});
    std::string name = track;
    if (track.starts_with('.') && value.is_array()) {  // within a list: the list as a whole
        Json list = value;
        list[0][track.substr(1)] = last;
        track_values = {value, list};
        name = parameter;
    } else if (track.starts_with('.')) {
        name = parameter + track;
    }
    film_ = {{"for", {{name, track_values}}}, {"steps", source_.steps()}, {"fps", kStepFps}};
}

void Planner::write(Json output, bool plane) {
    if (!options_.plain) output["legend"] = true;
    if (!options_.plain && plane) output["axes"] = true;
    write_ = {{options_.output, output}};
}

// --- Pictures ---

/// A volume on a grid along the axes: values as bytes in the tracer, which takes it in index space.
void Planner::plan_volume() {
    const Box box = box_of(*field_);
    const auto largest = static_cast<double>(*std::max_element(field_->dims.begin(), field_->dims.end()));
    Numbers3 stretch{};
    if (field_->grid_type == FLD_RECTILINEAR || descends(*field_)) convert_["resample"] = field_->dims;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto nodes = static_cast<double>(field_->dims[axis]);
        const double spacing = box.length(axis) / (nodes - 1.0);
        // the tracer shows (n - 1) / n of an axis' length
        stretch[axis] = (spacing > 0.0 && std::isfinite(spacing) ? spacing : 1.0) * nodes / (nodes - 1.0);
    }
    const double widest = *std::max_element(stretch.begin(), stretch.end());
    const bool even = *std::min_element(stretch.begin(), stretch.end()) > kEven * widest;
    Box in_view;  // the tracer's unit is the largest dimension
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto nodes = static_cast<double>(field_->dims[axis]);
        const xp_long middle_node = field_->dims[axis] / 2;  // stays where it is
        const auto middle = static_cast<double>(middle_node);
        stretch[axis] = even ? 1.0 : rounded(stretch[axis] / widest, 1.0);
        const double length = stretch[axis] * (nodes - 1.0) / nodes / largest;  // from node to node
        in_view.low[axis] = -middle * length;
        in_view.high[axis] = (nodes - 1.0 - middle) * length;
    }
    if (shown_.parts > 1) convert_["magnitude"] = true;
    measure(convert_);
    const auto values = range();
    const Json curve = opacity(values);
    convert_["range"] = values;
    constexpr double kVoxelsToOpaque = 16;  // as deep as one sees where values are farthest from the most frequent one
    const Json in = converted(source_.value(), convert_);
    Json params = {{"in", in},
                   {"color_table", {{"preset", preset()}, {"alpha", curve}}},
                   {"a_scale_ptr", rounded(std::min(1.0, kVoxelsToOpaque / largest), 1.0)}};
    place(params, "render", stretch, in_view);
    show_steps("render.in", in);
    modules_["render"] = {{"use", "ZAMtracer_render_update"}, {"params", params}};
    write({{"from", "render.out"}}, false);
    tell("modules", "tracer");
}

/// A plane vector field: a texture along its streamlines, its critical points and separatrices.
void Planner::plan_flow() {
    const Box box = box_of(*convert(field_, conversion_of(convert_)));
    // whatever its shape: the texture takes the distances of nodes to be the same along both axes
    const auto size = plane_size(box.length(0), box.length(1), std::numeric_limits<double>::infinity());
    convert_["resample"] = {size[0] + 2, size[1] + 2};
    const bool joined = shown_.components.size() > 1;
    if (joined || field_->node_data[shown_.components[0]].type != DTYPE_FLOAT) convert_["type"] = "float";
    const Json field = converted(source_.value(), convert_);
    constexpr int kHalfLength = 20;
    modules_["texture"] = {{"use", "ZAMlic_texture_func"},
                           {"params", {{"in_fld", field}, {"line", kHalfLength}, {"rate", 0.5}, {"colvecflag", 1}}}};
    const double fastest = distribution_.percentile(kHighShare);
    constexpr double kStep = 0.5;  // pixels, where the flow is fast
    modules_["topology"] = {{"use", "ZAMtopologyline2D"},
                            {"params",
                             {{"in_field", {{"ref", "texture.in_fld"}}},
                              {"Interval", fastest > 0.0 ? rounded(fastest / kStep, fastest) : 1.0},
                              {"Radius", 0.1}}}};
    show_steps("texture.in_fld", field);
    if (options_.range || !options_.preset.empty())
        plan_.notes.emplace_back("a texture has colours of its own: --range and --preset do not change them");
    const double longest = distribution_.largest();
    tell("range", number_text(distribution_.smallest(), longest) + " to " + number_text(longest, longest) +
                      ", the lengths of the vectors");
    if (options_.output.ends_with(".svg")) {
        tell("modules", "lic_texture, topology");
        return write({{"from", "topology.out_field"}, {"points", "topology.out_field2"}, {"under", "texture.out_fld"}},
                     true);
    }
    // the texture comes last: with a colour of its own it would not show those of its pixels
    const Json objects = {
        {{"ref", "topology.out_field2"}}, {{"ref", "topology.out_field"}}, {{"ref", "texture.out_fld"}}};
    Json params = {{"objects", objects}, {"colors", {{1, 0.9, 0.2}, {1, 1, 1}}}};
    // a node of the texture is a pixel; those of its edges lie on the edges of the picture
    const Box pixels{{0.5, 0.5, 0.0}, {size[0] + 0.5, size[1] + 0.5, 0.0}};
    if (options_.turn)
        place(params, "view", {1, 1, 1}, pixels);
    else
        place_plane(params, pixels);
    modules_["view"] = {{"use", "host_view"}, {"params", params}};
    write({{"from", "view.out"}}, !options_.turn);
    tell("modules", "lic_texture, topology, host_view");
}

/// Everything else: planes of numbers, meshes, surfaces, lines and points, in the colours of their values.
void Planner::plan_scene() {
    if (shown_.parts > 1) convert_["magnitude"] = true;
    const Conversion conversion = shown_.parts > 0 ? conversion_of(convert_) : Conversion{};
    const Box box = box_of(*convert(field_, conversion));
    const bool plane = box.length(2) == 0.0 && !options_.turn && !turns();
    const Json object = shown_.parts > 0 ? converted(source_.value(), convert_) : source_.value();
    const Json objects = Json::array({object});
    Json params = {{"objects", objects}, {"background", Json::array({1, 1, 1})}};
    if (shown_.parts > 0) {
        if (distribution_.count() == 0) measure(convert_);  // else these are the lengths that plan() has measured
        params["datamaps"] = Json::array({{{"range", range()}, {"preset", preset()}}});
        if (distribution_.left_out() > 0) params["colors"] = Json::array({Json::array({0.8, 0.8, 0.8})});
    } else {
        params["colors"] = Json::array({Json::array({0.55, 0.65, 0.8})});
    }
    if (plane)
        place_plane(params, box);
    else
        place(params, "view", {1, 1, 1}, box);
    show_steps("view.objects", objects);
    modules_["view"] = {{"use", "host_view"}, {"params", params}};
    write({{"from", "view.out"}}, plane);
    tell("modules", "host_view");
}

/// A field that is an image already.
void Planner::plan_image() {
    if (source_.modules().empty()) throw ViewError("images are shown of files that a module reads");
    write({{"from", source_.value()["ref"]}}, false);
    tell("modules", "none: the field is an image");
}

/// Tells what is shown, and what else there is.
void Planner::tell_data(int step) {
    std::string text;
    if (shown_.parts > 0) {
        const ComponentValue& component = field_->node_data[shown_.components[0]];
        text = shown_.name;
        if (!component.units.empty()) text.append(" in ").append(component.units);
        text.append(", ").append(type_name(component.type)).append(", ");
    }
    text += dims_text(*field_);
    if (source_.steps() > 1) text += ", step " + std::to_string(step) + " of " + std::to_string(source_.steps());
    tell("shows", text);
    if (const std::string besides = source_.besides(); !besides.empty())
        plan_.notes.push_back("also there: " + besides + " (--variable, --vector)");
}

ViewPlan Planner::plan() {
    const int step = std::max(options_.data.step, 0);
    if (step >= source_.steps())
        throw ViewError("there is no step " + std::to_string(step) + "; there are " + std::to_string(source_.steps()));
    source_.go_to(step);
    field_ = source_.field();
    if (!field_) throw ViewError("no field can be made of it");
    shown_ = choose_shown(*field_, source_, options_.data);
    convert_ = taking(*field_, shown_);
    tell_data(step);
    const std::size_t space = axes_of_space(*field_);
    const bool cells = !field_->cell_sets.empty();
    const bool image = !field_->node_data.empty() && field_->node_data[0].id == kImageId && space == 2;
    const bool vectors = shown_.parts == 2 && space == 2 && is_on_axes(*field_) && !cells;
    if (vectors) {
        Json lengths = convert_;
        lengths["magnitude"] = true;
        measure(lengths);
    }
    if (image) {
        plan_image();
    } else if (vectors && distribution_.left_out() == 0) {
        plan_flow();
    } else if (space == 3 && field_->dims.size() == 3 && is_on_axes(*field_) && shown_.parts > 0 && !cells) {
        plan_volume();
    } else {
        plan_scene();
    }
    Json network = {{"modules", source_.modules()}};
    network["modules"].update(modules_);
    Json events = source_.events();
    if (film_.is_null()) {
        network["write"] = write_;
    } else {
        film_["write"] = write_;
        events.push_back(film_);
    }
    if (!events.empty()) network["events"] = events;
    plan_.network = network_text(network) + "\n";
    return std::move(plan_);
}

}  // namespace

ViewPlan plan_capture(const std::string& file, std::array<xp_long, 2> dims, const ViewOptions& options) {
    constexpr xp_long kHeaderBytes = 10;
    constexpr xp_long kColorBytes = 4;
    const xp_long pixels = dims[0] * dims[1];
    const Json colors = {
        {"values_file", file}, {"type", "byte"}, {"offset", kHeaderBytes}, {"count", pixels * kColorBytes}};
    const Json depths = {
        {"values_file", file}, {"type", "float"}, {"offset", kHeaderBytes + pixels * kColorBytes}, {"count", pixels}};
    const Json field = {{"dims", dims},
                        {"node_data", Json::array({{{"veclen", kColorBytes}, {"type", "byte"}, {"values", colors}},
                                                   {{"type", "float"}, {"values", depths}}})}};
    const Json params = {
        {"currCount", 1}, {"num", 1}, {"backCol", Json::array({0, 0, 0})}, {"rc", Json::array({{{"field", field}}})}};
    const Json network = {{"modules", {{"merge", {{"use", "MergeImagesUpdate"}, {"params", params}}}}},
                          {"write", {{options.output, {{"from", "merge.out_fld"}}}}}};
    const std::string shows = std::to_string(dims[0]) + " x " + std::to_string(dims[1]) + " pixels";
    return {
        .network = network_text(network) + "\n", .facts = {{"shows", shows}, {"modules", "MergeImages"}}, .notes = {}};
}

ViewPlan plan_view(ViewSource& source, const ViewOptions& options) {
    try {
        return Planner(source, options).plan();
    } catch (const DataError& error) {
        throw ViewError(error.what());
    }
}

}  // namespace zam::session
