// host_view: draws a list of fields into an image with depth.
// Reads objects, colors, datamaps, width, height, xform, fptr, background. Writes out.
//
// Ranks that draw jointly meet twice, or three times if all is well: once they know what they draw and how large it is,
// once they have drawn, and to merge the images. A rank that cannot go on says so where they meet, and all of them end.
#include "embedded/view/view.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>

#include "base/available_memory.h"
#include "contract/arr.h"
#include "contract/err.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "embedded/host_state.h"
#include "embedded/transform.h"
#include "embedded/values.h"
#include "embedded/view/draw.h"

namespace zam::host::view {
namespace {

constexpr int kMaxSide = 99999;                             // the largest side that a capture of an image can state
constexpr std::int64_t kMaxPixels = std::int64_t{1} << 28;  // 8 bytes each
constexpr double kFill = 0.9;  // share of the image that everything takes if no transform is given

int fail(const std::string& text) {
    ERRverror("host_view", 2, "%s\n", text.c_str());
    return 0;
}

// --- Parameters ---

struct Params {
    std::vector<Object*> objects;   // fields
    std::vector<Color> colors;      // of the first objects
    std::vector<Object*> datamaps;  // of the first objects; null: none
    Frame frame{512, 512, 0.0};
    std::optional<Affine> xform;  // `nullopt`: everything in view
    std::array<std::uint8_t, 3> background{};
    Share drawn{};  // of the objects, those that are drawn here
};

/// The object that a parameter leads to; null if there is none or it has no value.
Object* parameter(OMobj_id instance, std::string_view name) {
    Store& store = state().store;
    const Object* child = store.child(instance, store.names.token(name));
    Object* held = child ? store.resolve(child->id) : nullptr;
    return held && !held->get<Unset>() ? held : nullptr;
}

int read_int(OMobj_id instance, const char* name, int otherwise) {
    OMget_name_int_val(instance, OMstr_to_name(name), &otherwise);
    return otherwise;
}

Ranks* ranks = nullptr;  // those that draw jointly

/// Elements of an array of objects, references followed.
std::vector<Object*> elements(Object& list) {
    std::vector<Object*> found;
    for (const Object* element : list.children) found.push_back(state().store.resolve(element->id));
    return found;
}

// Readers of parameters that may be wrong give an empty text, or what is wrong.

/// Reads the list of objects; a single field stands for a list of one.
std::string read_objects(OMobj_id instance, std::vector<Object*>& objects) {
    Object* list = parameter(instance, "objects");
    if (!list) return {};
    objects = list->part<Field>() ? std::vector{list} : elements(*list);
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (!objects[i] || !objects[i]->part<Field>()) return "objects[" + std::to_string(i) + "] is not a field";
    }
    return {};
}

/// Values outside 0 to 1 count as the nearest end, not-a-number as 0.
double share(const Array& array, xp_long index) {
    const double value = index < array.count ? element(array, index) : 0.0;
    return value > 0.0 ? std::min(value, 1.0) : 0.0;
}

void read_colors(OMobj_id instance, Params& params) {
    Object* held = parameter(instance, "colors");
    const Array* colors = held ? held->get<Array>() : nullptr;
    for (xp_long i = 0; colors && *colors && i < colors->count / 3; ++i) {
        Color color;
        for (xp_long k = 0; k < 3; ++k)
            color[static_cast<std::size_t>(k)] = static_cast<float>(255.0 * share(*colors, 3 * i + k));
        params.colors.push_back(color);
    }
    held = parameter(instance, "background");
    const Array* background = held ? held->get<Array>() : nullptr;
    for (xp_long k = 0; background && *background && k < 3; ++k)
        params.background[static_cast<std::size_t>(k)] = static_cast<std::uint8_t>(255.0 * share(*background, k));
}

void read_datamaps(OMobj_id instance, Params& params) {
    Object* list = parameter(instance, "datamaps");
    if (!list) return;
    params.datamaps = elements(*list);
    for (Object*& datamap : params.datamaps) {
        if (datamap && datamap->children.empty()) datamap = nullptr;  // the place of an object without one
    }
}

std::string read_frame(OMobj_id instance, Params& params) {
    Frame& frame = params.frame;
    frame.width = read_int(instance, "width", frame.width);
    frame.height = read_int(instance, "height", frame.height);
    double fptr = 0.0;
    OMget_name_real_val(instance, OMstr_to_name("fptr"), &fptr);
    if (!std::isfinite(fptr) || fptr < 0.0) return "fptr has to be 0 or above";
    frame.fptr = fptr;
    if (frame.width < 1 || frame.height < 1 || frame.width > kMaxSide || frame.height > kMaxSide) {
        return "width and height have to be from 1 to " + std::to_string(kMaxSide);
    }
    if (std::int64_t{frame.width} * frame.height > kMaxPixels) {
        return "the image has more than " + std::to_string(kMaxPixels) + " pixels";
    }
    return {};
}

std::string read_xform(OMobj_id instance, Params& params) {
    Object* group = parameter(instance, "xform");
    if (!group) return {};
    Transform transform;
    if (!group->get<Group>() || !read_transform(*group, transform)) return "xform is not a transform";
    float matrix[16];
    compose(transform, matrix);
    params.xform = Affine::from(matrix);
    return {};
}

std::string read_params(OMobj_id instance, Params& params) {
    read_colors(instance, params);
    read_datamaps(instance, params);
    std::string error = read_frame(instance, params);
    if (error.empty()) error = read_objects(instance, params.objects);
    if (error.empty()) error = read_xform(instance, params);
    const auto count = static_cast<std::int64_t>(params.objects.size());
    params.drawn = ranks ? share_of(count, ranks->rank(), ranks->count()) : Share{0, count};
    return error;
}

// --- The view ---

/// Around the nodes of all objects that are drawn here.
PointBox box_of(const Params& params) {
    PointBox box;
    for (std::int64_t i = params.drawn.first; i < params.drawn.last; ++i) {
        const auto nodes = Nodes::of(*params.objects[static_cast<std::size_t>(i)]);
        if (!nodes) continue;
        const PointBox of_object = nodes->box();
        box.extend(of_object.low);
        box.extend(of_object.high);
    }
    return box;
}

/// The boxes of the views that were drawn jointly, by their instances.
std::vector<std::pair<OMobj_id, PointBox>> joint_boxes;

auto joint_box(OMobj_id instance) {
    return std::find_if(joint_boxes.begin(), joint_boxes.end(), [&](const auto& one) {
        return one.first.word[0] == instance.word[0] && one.first.word[1] == instance.word[1];
    });
}

void keep_joint_box(OMobj_id instance, const PointBox& box) {
    if (const auto kept = joint_box(instance); kept != joint_boxes.end()) joint_boxes.erase(kept);
    if (ranks) joint_boxes.emplace_back(instance, box);
}

/// Moves the middle of everything to the middle of the view, and scales it so that all of it is seen. What perspective
/// enlarges before the plane z = 0 is taken into account.
/// @param box  of everything
Fit fit_of(const Frame& frame, const PointBox& box) {
    Fit fit;
    if (box.is_empty()) return fit;
    Point half;
    Point middle;
    for (std::size_t k = 0; k < 3; ++k) {
        half[k] = 0.5 * (box.high[k] - box.low[k]);
        middle[k] = 0.5 * box.high[k] + 0.5 * box.low[k];
    }
    const double side = std::min(frame.width, frame.height);
    const double room_x = 0.5 * kFill * frame.width / side;
    const double room_y = 0.5 * kFill * frame.height / side;
    const double fptr = frame.fptr;
    // a point at the near side is seen at x s / (1 - fptr z s)
    const double needed = std::max(
        {half[0] / room_x + fptr * half[2], half[1] / room_y + fptr * half[2], half[2], fptr * half[2] / kFill});
    fit.scale = needed > 0.0 ? 1.0 / needed : 1.0;
    for (std::size_t k = 0; k < 3; ++k) fit.translate[k] = -middle[k] * fit.scale;
    return fit;
}

/// How everything is brought into view, in a view that is not being drawn.
Fit everything(OMobj_id instance, const Params& params) {
    const auto joint = joint_box(instance);
    return fit_of(params.frame, joint != joint_boxes.end() ? joint->second : box_of(params));
}

Affine affine_of(const Fit& fit) {
    Affine affine;
    for (std::size_t k = 0; k < 3; ++k) {
        affine.rows[k][k] = fit.scale;
        affine.origin[k] = fit.translate[k];
    }
    return affine;
}

// --- The image ---

/// An array for `out`, freed unless the host takes it over.
template <class T>
class Output {
public:
    Output(int type, xp_long count)
        : type_(type), count_(count), data_(static_cast<T*>(ARRalloc_f(nullptr, type, count, 0, __FILE__, __LINE__))) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() { ARRfree_f(data_, __FILE__, __LINE__); }

    explicit operator bool() const { return data_ != nullptr; }
    T* data() const { return data_; }
    bool give_as_points(OMobj_id field) { return taken(FLDset_points(field, data_, count_, ARR_HOST_OWNS)); }
    bool give_as_component(OMobj_id field, int comp) {
        return taken(FLDset_node_data(field, comp, data_, type_, count_, ARR_HOST_OWNS));
    }

private:
    bool taken(int status) {
        if (status != OM_STAT_SUCCESS) return false;
        data_ = nullptr;
        return true;
    }

    int type_;
    xp_long count_;
    T* data_;
};

struct Image {
    /// @pre  fits(frame)
    explicit Image(const Frame& frame)
        : points(DTYPE_FLOAT, 4),
          pixels(DTYPE_BYTE, xp_long{4} * frame.width * frame.height),
          depths(DTYPE_FLOAT, xp_long{1} * frame.width * frame.height) {}

    /// Whether colours and depths together fit into memory.
    static bool fits(const Frame& frame) {
        return AvailableMemory().take(xp_long{1} * frame.width * frame.height, 4 + sizeof(float));
    }
    explicit operator bool() const { return points && pixels && depths; }

    bool write(OMobj_id out, const Frame& frame) {
        const xp_long dims[2] = {frame.width, frame.height};
        const float corners[4] = {0, 0, static_cast<float>(frame.width - 1), static_cast<float>(frame.height - 1)};
        std::copy_n(corners, 4, points.data());
        return FLDset_ndim(out, 2) == 1 && FLDset_dims(out, dims) == 1 && FLDset_nspace(out, 2) == 1 &&
               points.give_as_points(out) && FLDset_node_data_ncomp(out, 2) == 1 &&
               FLDset_node_data_comp(out, 0, 4, "colors", "") == 1 && pixels.give_as_component(out, 0) &&
               FLDset_node_data_id(out, 0, kImageColorsId) == 1 && FLDset_node_data_comp(out, 1, 1, "depth", "") == 1 &&
               depths.give_as_component(out, 1);
    }

    Output<float> points;
    Output<std::uint8_t> pixels;
    Output<float> depths;
};

/// Draws one object after another; false, with a report, if one cannot be drawn.
bool draw(const Params& params, const Affine& xform, Canvas& canvas) {
    const auto [first, last] = params.drawn;
    for (std::int64_t at = first; at < last; ++at) {
        const auto i = static_cast<std::size_t>(at);
        OMstatus_check(static_cast<int>((at - first) * 100 / (last - first)), nullptr, nullptr);
        Look look;
        if (i < params.colors.size()) look.color = params.colors[i];
        if (i < params.datamaps.size()) look.datamap = params.datamaps[i];
        const Drawn drawn = draw_object(*params.objects[i], xform, look, canvas);
        const std::string place = "[" + std::to_string(i) + "]";
        if (drawn == Drawn::too_many_nodes) fail("objects" + place + " has too many nodes to be drawn");
        if (drawn == Drawn::broken_datamap) fail("datamaps" + place + " is not a datamap");
        if (drawn != Drawn::done) return false;
    }
    OMstatus_check(100, nullptr, nullptr);
    return true;
}

/// Joint: a box around the boxes of all ranks; `nullopt` if one of them cannot go on.
std::optional<PointBox> box_of_ranks(const PointBox& box, bool goes_on) {
    if (!ranks) return goes_on ? std::optional(box) : std::nullopt;
    const auto& [low, high] = box;
    std::array<double, 7> largest{-low[0], -low[1], -low[2], high[0], high[1], high[2], goes_on ? 0.0 : 1.0};
    ranks->maximum(largest);
    PointBox all;
    for (std::size_t k = 0; k < 3; ++k) all.low[k] = -largest[k], all.high[k] = largest[3 + k];
    return largest[6] == 0.0 ? std::optional(all) : std::nullopt;
}

/// Joint: whether all ranks go on.
bool all_go_on(bool here) { return !at_any_rank(ranks, !here); }

/// A picture in the making.
struct Drawing {
    Params params;
    std::optional<Image> image;
    PointBox box;  // of what is drawn here; empty if it is not needed

    std::string prepare(OMobj_id instance) {
        std::string error = read_params(instance, params);
        if (!error.empty()) return error;
        if (Image::fits(params.frame)) image.emplace(params.frame);
        if (!image || !*image) return "the image's arrays are not allocated";
        if (!params.xform) box = box_of(params);
        return {};
    }
    bool draw(const PointBox& everything) {
        Canvas canvas(params.frame, image->pixels.data(), image->depths.data());
        canvas.clear(params.background);
        return view::draw(params, params.xform ? *params.xform : affine_of(fit_of(params.frame, everything)), canvas);
    }
    void merge() const {
        const auto pixels =
            static_cast<std::size_t>(params.frame.width) * static_cast<std::size_t>(params.frame.height);
        if (ranks) ranks->merge_nearest({image->pixels.data(), 4 * pixels}, {image->depths.data(), pixels});
    }
    int write(OMobj_id instance) {
        if (ranks && ranks->rank() > 0) return 1;
        const Object* out = parameter(instance, "out");
        if (!out || !image->write(out->id, params.frame)) return fail("out cannot be written");
        return 1;
    }
};

/// Does what this rank does between two meetings; false, with a report, if it cannot be done.
template <class Body>
bool done(Body&& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        fail("memory is exhausted");
        return false;
    }
}

int update(OMobj_id instance) {
    Drawing drawing;
    const bool prepared = done([&] {
        const std::string error = drawing.prepare(instance);
        if (!error.empty()) fail(error);
        return error.empty();
    });
    const auto box = box_of_ranks(drawing.box, prepared);
    if (!box) return 0;
    keep_joint_box(instance, *box);
    if (!all_go_on(done([&] { return drawing.draw(*box); }))) return 0;
    drawing.merge();
    return drawing.write(instance);
}

/// As the view's plane, from -0.5 to 0.5 along its shorter side, lies in the scene.
std::optional<PlaneSides> plane_of(OMobj_id instance, const Params& params) {
    if (params.frame.fptr != 0.0) return std::nullopt;
    const Affine xform = params.xform ? *params.xform : affine_of(everything(instance, params));
    const auto& rows = xform.rows;
    constexpr double kNoTurn = 1e-6;  // what rounding leaves of a turn by 360 degrees
    const double across = kNoTurn * std::min(std::fabs(rows[0][0]), std::fabs(rows[1][1]));
    const bool turned = std::fabs(rows[1][0]) > across || std::fabs(rows[2][0]) > across ||
                        std::fabs(rows[0][1]) > across || std::fabs(rows[2][1]) > across;
    if (turned || rows[0][0] == 0.0 || rows[1][1] == 0.0) return std::nullopt;
    const double side = std::min(params.frame.width, params.frame.height);
    const double half_width = 0.5 * params.frame.width / side;
    const double half_height = 0.5 * params.frame.height / side;
    const PlaneSides sides{(-half_width - xform.origin[0]) / rows[0][0], (half_width - xform.origin[0]) / rows[0][0],
                           (-half_height - xform.origin[1]) / rows[1][1], (half_height - xform.origin[1]) / rows[1][1]};
    // far from the origin a small scene has sides that are the same number
    const bool apart = std::isfinite(sides.right - sides.left) && std::isfinite(sides.top - sides.bottom) &&
                       sides.left != sides.right && sides.bottom != sides.top;
    return apart ? std::optional(sides) : std::nullopt;
}

}  // namespace

void use_ranks(Ranks* all) { ranks = all; }

std::optional<PlaneSides> plane_sides(OMobj_id instance) {
    Params params;
    return read_params(instance, params).empty() ? plane_of(instance, params) : std::nullopt;
}

std::optional<Fit> fit(OMobj_id instance) {
    Params params;
    return read_params(instance, params).empty() && !params.xform ? std::optional(everything(instance, params))
                                                                  : std::nullopt;
}

}  // namespace zam::host::view

int host_view(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        return zam::host::view::update(instance);
    } catch (const std::bad_alloc&) {
        return zam::host::view::fail("memory is exhausted");
    }
}
