#include "session/values/field_value.h"

#include <algorithm>
#include <array>
#include <climits>
#include <limits>
#include <numeric>

#include "base/checked_product.h"
#include "base/element_types.h"
#include "session/values/cell_types.h"

namespace zam::session {
namespace {

constexpr int kMaxDims = 10;
constexpr xp_long kMaxCount = xp_long{1} << 50;  // of nodes or cells, as the host takes them
constexpr int kMaxSpace = 3;
constexpr int kMaxSteps = 1'000'000;
constexpr int kMaxValuesPerNode = 1'000'000;

/// Reads the members of one object. A problem with any of them is remembered and fails the whole.
class Members {
public:
    explicit Members(const Cursor& cursor) : cursor_(cursor), failed_(!cursor.object()) {}

    bool failed() const { return failed_; }
    bool has(std::string_view key) const {
        const auto place = cursor_.find(key);
        return place && !place->is_null();
    }
    void fail(std::string_view key, const std::string& text) {
        cursor_.find(key).value_or(cursor_).problem(text);
        failed_ = true;
    }
    std::optional<std::int64_t> whole(std::string_view key, std::int64_t low, std::int64_t high) {
        return read(key, [&](const Cursor& place) { return place.integer(low, high); });
    }
    std::optional<std::string> text(std::string_view key) {
        return read(key, [](const Cursor& place) { return place.text(); });
    }
    /// Empty if the key is not given.
    NumberArray numbers(std::string_view key, int type, std::optional<xp_long> wanted = {}) {
        auto array = read(key, [&](const Cursor& place) { return read_number_array(place, type, wanted); });
        return array.value_or(NumberArray{.type = type, .count = 0, .values = {}, .source = {}});
    }
    std::optional<NumberArray> number(std::string_view key, int type) {
        return read(key, [&](const Cursor& place) { return read_one_number(place, type); });
    }
    /// What `use` makes of the member; `nullopt` if it is not given or null.
    template <class Use>
    auto read(std::string_view key, Use use) -> decltype(use(std::declval<const Cursor&>())) {
        if (!has(key)) return std::nullopt;
        auto result = use(*cursor_.find(key));
        if (!result) failed_ = true;
        return result;
    }
    /// Calls `use` with every element of an array of objects.
    template <class Use>
    void each(std::string_view key, Use use) {
        if (!has(key)) return;
        const Cursor place = *cursor_.find(key);
        const auto* elements = place.get<Elements>();
        if (place.is_array() && place.array_size() == 0) return;
        if (!elements) return fail(key, "an array of objects is expected");
        for (std::size_t i = 0; i < elements->size(); ++i) failed_ = !use(place.at(i)) || failed_;
    }

private:
    const Cursor& cursor_;
    bool failed_;
};

template <class T>
std::vector<T> values_of(const NumberArray& array, std::string& error) {
    std::vector<T> values(static_cast<std::size_t>(array.count));
    error = copy_values(array, values.data());
    return values;
}

std::string counts_differ(std::string_view what, xp_long is, xp_long expected) {
    return std::string(what) + " holds " + std::to_string(is) + " numbers, not " + std::to_string(expected);
}

// --- Mesh ---

xp_long sum(const std::vector<xp_long>& dims) { return std::accumulate(dims.begin(), dims.end(), xp_long{0}); }

void read_dims(Members& members, FieldValue& field) {
    const NumberArray dims = members.numbers("dims", DTYPE_LONG);
    const auto ndim = members.whole("ndim", 0, kMaxDims);
    if (dims.count > kMaxDims) return members.fail("dims", "more than " + std::to_string(kMaxDims) + " dimensions");
    if (ndim && *ndim != dims.count) return members.fail("dims", counts_differ("dims", dims.count, *ndim));
    std::string error;
    field.dims = values_of<xp_long>(dims, error);
    if (!error.empty()) return members.fail("dims", error);

    const auto given = members.whole("nnodes", 0, kMaxCount);
    field.nnodes = given.value_or(0);
    if (field.dims.empty()) return;
    std::optional<xp_long> nnodes = 1;
    for (const xp_long dim : field.dims) {
        nnodes = nnodes && dim <= kMaxCount ? checked_product(*nnodes, dim) : std::nullopt;
    }
    if (!nnodes || *nnodes > kMaxCount) {
        return members.fail("dims", "dimensions are at least 0, and their product is at most 2^50");
    }
    if (given && *given != *nnodes) {
        return members.fail("nnodes", "the dimensions make " + std::to_string(*nnodes) + " nodes");
    }
    field.nnodes = *nnodes;
}

/// The grid type given, or the one that fits what is given.
void read_grid_type(Members& members, FieldValue& field, xp_long nspace_hint) {
    const auto name = members.text("grid_type");
    if (name) {
        const auto* const found = std::find(std::begin(kGridTypeNames), std::end(kGridTypeNames), *name);
        if (found == std::end(kGridTypeNames)) {
            return members.fail("grid_type", "unknown; there are uniform, rectilinear, structured and unstructured");
        }
        field.grid_type = static_cast<int>(found - std::begin(kGridTypeNames)) + FLD_UNIFORM;
    } else if (field.dims.empty()) {
        field.grid_type = FLD_UNSTRUCTURED;
    } else if (field.coord.count > 0) {
        field.grid_type = FLD_STRUCTURED;
    } else {
        const bool corners = field.points.count == 0 || field.points.count == 2 * nspace_hint;
        const bool along_axes = field.points.count == nspace_hint * sum(field.dims);
        field.grid_type = along_axes && !corners ? FLD_RECTILINEAR : FLD_UNIFORM;
    }
    if (field.grid_type == FLD_UNSTRUCTURED && !field.dims.empty()) {
        members.fail("grid_type", "an unstructured field has no dims");
    }
}

/// nspace as far as positions tell; 0 if they do not.
xp_long space_of_positions(const FieldValue& field) {
    const bool explicit_positions = field.coord.count > 0;
    const xp_long npoints = field.grid_type == FLD_UNIFORM ? 2 : sum(field.dims);
    const xp_long positions = explicit_positions ? field.nnodes : npoints;
    const xp_long count = explicit_positions ? field.coord.count : field.points.count;
    return positions > 0 && count % positions == 0 ? count / positions : 0;
}

void read_space(Members& members, FieldValue& field) {
    const auto given = members.whole("nspace", 0, kMaxSpace);
    const auto ndim = static_cast<xp_long>(field.dims.size());
    read_grid_type(members, field, given.value_or(ndim));
    const xp_long followed = space_of_positions(field);
    const xp_long assumed = field.dims.empty() ? kMaxSpace : std::min<xp_long>(ndim, kMaxSpace);
    const xp_long nspace = given.value_or(followed > 0 ? followed : assumed);
    if (nspace > kMaxSpace) {
        return members.fail("nspace", "the positions of a node would have " + std::to_string(nspace) + " components");
    }
    field.nspace = static_cast<int>(nspace);
    if (field.dims.empty() && !members.has("nnodes") && nspace > 0) field.nnodes = field.coord.count / nspace;
}

void check_positions(Members& members, const FieldValue& field) {
    const bool implicit = field.grid_type == FLD_UNIFORM || field.grid_type == FLD_RECTILINEAR;
    const xp_long npoints = field.grid_type == FLD_UNIFORM ? 2 : sum(field.dims);
    const auto coord_size = checked_product(field.nnodes, field.nspace);
    if (!coord_size) return members.fail("nnodes", "too many nodes");
    if (field.points.count > 0 && !implicit) {
        members.fail("points", "only uniform and rectilinear fields have points");
    } else if (field.points.count > 0 && field.points.count != npoints * field.nspace) {
        members.fail("points", counts_differ("points", field.points.count, npoints * field.nspace));
    }
    if (field.coord.count > 0 && field.coord.count != *coord_size) {
        members.fail("coord", counts_differ("coord", field.coord.count, *coord_size));
    }
}

/// A uniform field without points lies in index space.
NumberArray index_space(const FieldValue& field) {
    std::vector<float> corners(static_cast<std::size_t>(2 * field.nspace));
    const auto nspace = static_cast<std::size_t>(field.nspace);
    for (std::size_t axis = 0; axis < std::min(nspace, field.dims.size()); ++axis) {
        corners[nspace + axis] = static_cast<float>(std::max<xp_long>(field.dims[axis] - 1, 0));
    }
    return float_array(corners);
}

void read_extent(Members& members, FieldValue& field) {
    const auto read_corners = [&](const Cursor& place) -> std::optional<bool> {
        if (place.is_array() && place.array_size() == 0) return true;  // not set
        if (!place.get<Elements>() || place.array_size() != 2) {
            place.problem("two corners [[minimum], [maximum]] are expected");
            return std::nullopt;
        }
        field.extent_minimum = read_exactly(place.at(0), DTYPE_FLOAT, field.nspace);
        field.extent_maximum = read_exactly(place.at(1), DTYPE_FLOAT, field.nspace);
        return field.extent_minimum && field.extent_maximum ? std::optional(true) : std::nullopt;
    };
    members.read("extent", read_corners);
}

void read_mesh(Members& members, FieldValue& field) {
    read_dims(members, field);
    field.points = members.numbers("points", DTYPE_FLOAT);
    field.coord = members.numbers("coord", DTYPE_FLOAT);
    if (members.failed()) return;
    read_space(members, field);
    if (members.failed()) return;
    check_positions(members, field);
    if (field.grid_type == FLD_UNIFORM && !members.has("points")) field.points = index_space(field);
    read_extent(members, field);
    field.xform = members.read("xform", [](const Cursor& place) { return read_transform(place); });
}

// --- Node data ---

/// The component's type: as given, else that of its file of values, else float.
int component_type(Members& members, const Cursor& cursor) {
    const auto values = cursor.find("values");
    const auto file_type = values ? read_type_of_values(*values) : DTYPE_FLOAT;
    const auto type = read_type(cursor, file_type.value_or(DTYPE_FLOAT));
    if (cursor.find("type") && !type) members.fail("values", "the component's type is unknown");
    return type.value_or(DTYPE_FLOAT);
}

void read_values(Members& members, ComponentValue& component, xp_long nnodes) {
    const auto given = members.whole("veclen", 0, kMaxValuesPerNode);
    const auto wanted = given ? checked_product(nnodes, *given) : std::nullopt;
    component.values = members.numbers("values", component.type, wanted);
    const xp_long count = component.values.count;
    const xp_long followed = nnodes > 0 && count > 0 ? std::clamp<xp_long>(count / nnodes, 1, kMaxValuesPerNode) : 1;
    component.veclen = static_cast<int>(given.value_or(followed));
    const auto expected = checked_product(nnodes, component.veclen);
    if (!expected) return members.fail("veclen", "too many values");
    if (count > 0 && count != *expected) members.fail("values", counts_differ("values", count, *expected));
}

std::optional<ComponentValue> read_component(const Cursor& cursor, xp_long nnodes) {
    constexpr std::string_view kKeys[] = {"veclen", "type", "label", "units", "id", "min", "max", "null", "values"};
    Members members(cursor);
    if (members.failed()) return std::nullopt;
    cursor.expect_keys(kKeys);
    ComponentValue component;
    component.type = component_type(members, cursor);
    read_values(members, component, nnodes);
    component.label = members.text("label").value_or("");
    component.units = members.text("units").value_or("");
    component.id = static_cast<int>(members.whole("id", INT_MIN, INT_MAX).value_or(0));
    component.minimum = members.number("min", component.type);
    component.maximum = members.number("max", component.type);
    component.null_value = members.number("null", component.type);
    return members.failed() ? std::nullopt : std::optional(std::move(component));
}

void read_node_data(Members& members, std::vector<ComponentValue>& node_data, xp_long nnodes) {
    members.each("node_data", [&](const Cursor& place) {
        auto component = read_component(place, nnodes);
        if (component) node_data.push_back(std::move(*component));
        return component.has_value();
    });
}

// --- Cell sets ---

/// The number of cells or polygons: as given, else as many as the node list holds.
xp_long count_of(Members& members, std::string_view key, std::string_view list_key, const NumberArray& list,
                 int nodes_each) {
    const auto given = members.whole(key, 0, kMaxCount);
    if (nodes_each == 0) return given.value_or(0);
    const xp_long count = given.value_or(list.count / nodes_each);
    if (checked_product(count, nodes_each) != list.count) {
        members.fail(list_key, std::string(list_key) + " holds " + std::to_string(list.count) + " numbers, not " +
                                   std::to_string(nodes_each) + " for each of " + std::to_string(count));
    }
    return count;
}

bool read_cell_set(const Cursor& cursor, FieldValue& field) {
    constexpr std::string_view kKeys[] = {"name", "ncells", "cell_nnodes", "connect", "poly", "npolys", "poly_connect"};
    Members members(cursor);
    if (members.failed()) return false;
    cursor.expect_keys(kKeys);
    CellSetValue cells;
    cells.name = members.text("name").value_or("");
    const auto* type = find_cell_type(cells.name);
    if (!type) {
        members.fail("name", "a cell set is one of Point Line Tri Quad Tet Hex Prism Pyr Polyline Polyhedron");
        return false;
    }
    const auto nnodes = members.whole("cell_nnodes", 0, kMaxCount);
    const bool poly = type->nnodes == 0;
    if (nnodes && !poly && *nnodes != type->nnodes) {
        members.fail("cell_nnodes", cells.name + " cells have " + std::to_string(type->nnodes) + " nodes");
    }
    const auto poly_given = members.read("poly", [](const Cursor& place) { return place.boolean(); });
    if (poly_given && *poly_given != poly) members.fail("poly", "does not fit a cell set of type " + cells.name);
    cells.connect = members.numbers("connect", DTYPE_LONG);
    cells.ncells = count_of(members, "ncells", "connect", cells.connect, type->nnodes);
    cells.poly_connect = members.numbers("poly_connect", DTYPE_LONG);
    cells.npolys = count_of(members, "npolys", "poly_connect", cells.poly_connect, cells.name == "Polyline" ? 2 : 0);
    field.cell_sets.push_back(std::move(cells));
    return !members.failed();
}

// --- Time ---

bool read_step(const Cursor& cursor, FieldValue& field) {
    constexpr std::string_view kKeys[] = {"coord", "node_data"};
    Members members(cursor);
    if (members.failed()) return false;
    cursor.expect_keys(kKeys);
    StepValue step;
    step.coord = members.numbers("coord", DTYPE_FLOAT);
    const auto expected = checked_product(field.nnodes, field.nspace);
    if (step.coord.count > 0 && expected != step.coord.count) {
        members.fail("coord", counts_differ("coord", step.coord.count, expected.value_or(-1)));
    }
    read_node_data(members, step.node_data, field.nnodes);
    field.steps.push_back(std::move(step));
    return !members.failed();
}

std::optional<bool> read_time(const Cursor& cursor, FieldValue& field) {
    constexpr std::string_view kKeys[] = {"nsteps", "values", "steps"};
    Members members(cursor);
    if (members.failed()) return std::nullopt;
    cursor.expect_keys(kKeys);
    const NumberArray values = members.numbers("values", DTYPE_FLOAT);
    std::string error = values.count > kMaxSteps ? "more than 1000000 time steps" : "";
    if (error.empty()) field.time_values = values_of<float>(values, error);
    if (!error.empty()) members.fail("values", error);
    members.each("steps", [&](const Cursor& place) { return read_step(place, field); });
    const std::size_t followed = std::max(field.steps.size(), field.time_values.size());
    const auto nsteps = members.whole("nsteps", 0, kMaxSteps).value_or(static_cast<std::int64_t>(followed));
    if (followed > static_cast<std::size_t>(nsteps)) members.fail("nsteps", "there are more steps or values than that");
    field.steps.resize(static_cast<std::size_t>(nsteps));
    return members.failed() ? std::nullopt : std::optional(true);
}

}  // namespace

FieldPointer read_field(const Cursor& cursor) {
    Members members(cursor);
    if (members.failed()) return nullptr;
    cursor.expect_keys(kFieldKeys);
    auto field = std::make_shared<FieldValue>();
    read_mesh(members, *field);
    if (members.failed()) return nullptr;
    read_node_data(members, field->node_data, field->nnodes);
    members.each("cell_sets", [&](const Cursor& place) { return read_cell_set(place, *field); });
    members.read("time", [&](const Cursor& place) { return read_time(place, *field); });
    if (members.failed()) return nullptr;
    return field;
}

}  // namespace zam::session
