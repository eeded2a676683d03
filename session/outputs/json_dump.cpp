// Objects as JSON: fields in the form in which network files write them, others as their values.
#include <array>
#include <cstdlib>

#include "base/element_types.h"
#include "contract/om.h"
#include "embedded/host.h"
#include "session/objects/field_access.h"
#include "session/objects/run_error.h"
#include "session/outputs/json_writer.h"
#include "session/outputs/outputs.h"
#include "session/values/transforms.h"

namespace zam::session {
namespace {

constexpr int kMaxNesting = 32;  // objects may refer to what they are in

void write_floats(JsonWriter& json, std::string_view key, const LentArray<float>& values) {
    json.key(key);
    json.numbers(DTYPE_FLOAT, values.data(), values.count());
}

void write_int(JsonWriter& json, std::string_view key, xp_long value) {
    json.key(key);
    json.integer(value);
}

void write_text(JsonWriter& json, std::string_view key, std::string_view value) {
    json.key(key);
    json.text(value);
}

// --- Parts of fields ---

void write_component(JsonWriter& json, OMobj_id node_data, int comp) {
    const ComponentHeader header = read_component_header(node_data, comp);
    const int type = header.type.value_or(DTYPE_FLOAT);
    const auto number_or_null = [&](std::string_view key, const void* number) {
        json.key(key);
        number ? json.number(type, number) : json.null();
    };
    json.begin_object();
    write_int(json, "veclen", header.veclen);
    json.key("type");
    header.type ? json.text(type_name(*header.type)) : json.null();
    write_text(json, "label", header.label);
    write_text(json, "units", header.units);
    write_int(json, "id", header.id);
    const auto limits = read_limits(node_data, comp);
    number_or_null("min", limits ? limits->minimum : nullptr);
    number_or_null("max", limits ? limits->maximum : nullptr);
    alignas(double) std::array<std::byte, sizeof(double)> null_value{};
    int flag = 0;
    FLDget_node_null_data(node_data, comp, &flag, null_value.data());
    number_or_null("null", flag != 0 ? null_value.data() : nullptr);
    const LentValues values = read_node_values(node_data, comp);
    json.key("values");
    json.numbers(values.type, values.values.data(), values.values.count());
    json.end_object();
}

void write_node_data(JsonWriter& json, OMobj_id node_data) {
    json.key("node_data");
    json.begin_array();
    for (int comp = 0; comp < component_count(node_data); ++comp) write_component(json, node_data, comp);
    json.end_array();
}

void write_extent(JsonWriter& json, OMobj_id field, int nspace) {
    Vector minimum{};
    Vector maximum{};
    json.key("extent");
    json.begin_array();
    if (FLDget_coord_extent(field, minimum.data(), maximum.data()) == 1) {
        json.numbers(DTYPE_FLOAT, minimum.data(), nspace);
        json.numbers(DTYPE_FLOAT, maximum.data(), nspace);
    }
    json.end_array();
}

void write_mesh(JsonWriter& json, OMobj_id field) {
    const FieldShape shape = read_shape(field);
    write_int(json, "nspace", shape.nspace);
    write_int(json, "ndim", static_cast<xp_long>(shape.dims.size()));
    json.key("dims");
    json.numbers(DTYPE_LONG, shape.dims.data(), static_cast<xp_long>(shape.dims.size()));
    write_int(json, "nnodes", shape.nnodes);
    write_text(json, "grid_type", grid_type_name(shape));
    write_floats(json, "points", shape.has_points() ? read_points(field) : LentArray<float>());
    write_floats(json, "coord", shape.has_points() ? LentArray<float>() : read_coordinates(field));
    write_extent(json, field, shape.nspace);
    Matrix xform = kIdentity;
    FLDget_xform(field, xform.data());
    json.key("xform");
    json.numbers(DTYPE_FLOAT, xform.data(), 16);
}

void write_list(JsonWriter& json, std::string_view key, OMobj_id cells,
                int (*get)(OMobj_id, xp_long**, xp_long*, int)) {
    LentArray<xp_long> list;
    get(cells, list.receive(), list.receive_count(), ARR_READ);
    json.key(key);
    json.numbers(DTYPE_LONG, list.data(), list.count());
}

void write_cell_set(JsonWriter& json, OMobj_id cells) {
    std::array<char, FLD_LABEL_SIZE> name{};
    xp_long ncells = 0;
    xp_long npolys = 0;
    int nnodes = 0;
    int poly = 0;
    FLDget_cell_set_name(cells, name.data(), FLD_LABEL_SIZE);
    FLDget_ncells(cells, &ncells);
    FLDget_cell_set_nnodes(cells, &nnodes);
    FLDget_poly_flag(cells, &poly);
    FLDget_npolys(cells, &npolys);
    json.begin_object();
    write_text(json, "name", name.data());
    write_int(json, "ncells", ncells);
    write_int(json, "cell_nnodes", nnodes);
    write_list(json, "connect", cells, FLDget_node_connect);
    json.key("poly");
    json.boolean(poly != 0);
    write_int(json, "npolys", npolys);
    write_list(json, "poly_connect", cells, FLDget_poly_connect);
    json.end_object();
}

void write_cell_sets(JsonWriter& json, OMobj_id field) {
    int count = 0;
    FLDget_ncell_sets(field, &count);
    json.key("cell_sets");
    json.begin_array();
    for (int i = 0; i < count; ++i) {
        OMobj_id cells{};
        if (FLDget_cell_set(field, i, &cells) == 1) write_cell_set(json, cells);
    }
    json.end_array();
}

void write_time(JsonWriter& json, OMobj_id field, int nsteps) {
    const std::vector<float> values = host::time_values(field);
    json.key("time");
    json.begin_object();
    write_int(json, "nsteps", nsteps);
    json.key("values");
    json.numbers(DTYPE_FLOAT, values.data(), static_cast<xp_long>(values.size()));
    json.key("steps");
    json.begin_array();
    for (int step = 0; step < nsteps; ++step) {
        OMobj_id coordinates{};
        OMobj_id node_data{};
        FLDget_time_coordinates(field, step, &coordinates);
        FLDget_time_node_data(field, step, &node_data);
        json.begin_object();
        write_floats(json, "coord", read_coordinates(coordinates));
        write_node_data(json, node_data);
        json.end_object();
    }
    json.end_array();
    json.end_object();
}

void write_field(JsonWriter& json, OMobj_id field) {
    json.begin_object();
    write_mesh(json, field);
    write_node_data(json, field);
    write_cell_sets(json, field);
    if (const int nsteps = host::time_nsteps(field); nsteps > 0) write_time(json, field, nsteps);
    json.end_object();
}

// --- Other objects ---

void write_texts(JsonWriter& json, OMobj_id object) {
    xp_long count = 0;
    OMget_array_size(object, &count);
    json.begin_array();
    for (xp_long i = 0; i < count; ++i) {
        const auto text = host::text_at(object, i);
        text ? json.text(*text) : json.null();
    }
    json.end_array();
}

void write_real(JsonWriter& json, OMobj_id object) {
    double value = 0.0;
    OMget_real_val(object, &value) == 1 ? json.number(DTYPE_DOUBLE, &value) : json.null();
}

void write_string(JsonWriter& json, OMobj_id object) {
    char* text = nullptr;
    OMget_str_val(object, &text, 0);
    text ? json.text(text) : json.null();
    std::free(text);
}

void write_array(JsonWriter& json, OMobj_id object) {
    const LentValues array = read_array(object);
    json.numbers(array.type, array.values.data(), array.values.count());
}

void write_value(JsonWriter& json, OMobj_id object, int depth);

void write_children(JsonWriter& json, OMobj_id object, bool named, int depth) {
    if (depth > kMaxNesting) throw RunError("the objects are nested too deeply to be written");
    named ? json.begin_object() : json.begin_array();
    for (const OMobj_id child : host::children(object)) {
        if (named) json.key(host::name(child));
        write_value(json, child, depth + 1);
    }
    named ? json.end_object() : json.end_array();
}

void write_value(JsonWriter& json, OMobj_id object, int depth) {
    int integer = 0;
    switch (host::kind(object)) {
        case host::Kind::integer: OMget_int_val(object, &integer); return json.integer(integer);
        case host::Kind::real: return write_real(json, object);
        case host::Kind::text: return write_string(json, object);
        case host::Kind::texts: return write_texts(json, object);
        case host::Kind::array: return write_array(json, object);
        case host::Kind::field: return write_field(json, object);
        case host::Kind::objects: return write_children(json, object, false, depth);
        case host::Kind::group: return write_children(json, object, true, depth);
        default: return json.null();
    }
}

}  // namespace

void write_json(OMobj_id object, OutputFile& file) {
    JsonWriter json(file);
    write_value(json, object, 0);
}

}  // namespace zam::session
