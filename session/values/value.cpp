#include "session/values/value.h"

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>
#include <limits>
#include <span>

#include "base/file_handle.h"
#include "base/file_path.h"
#include "contract/file.h"
#include "session/convert/convert_field.h"
#include "session/data/data_error.h"
#include "session/data/data_file.h"
#include "session/document/suggestion.h"
#include "session/values/color_tables.h"

namespace zam::session {
namespace {

constexpr std::array<std::string_view, 15> kKindNames{"int",         "real",    "text",     "trigger", "pointer",
                                                      "array",       "texts",   "field",    "fields",  "transform",
                                                      "color_table", "datamap", "datamaps", "colors",  "object"};
constexpr std::string_view kColors[] = {"alpha", "red", "green", "blue"};

template <class T>
std::optional<Value> as_value(std::optional<T> value) {
    return value ? std::optional(Value{std::move(*value)}) : std::nullopt;
}

bool has_any(const Cursor& cursor, std::initializer_list<std::string_view> keys) {
    return std::any_of(keys.begin(), keys.end(), [&](auto key) { return cursor.find(key).has_value(); });
}

void expect_only(const Cursor& cursor, std::string_view key) { cursor.expect_keys(std::span(&key, 1)); }

std::optional<Value> read_reference(const Cursor& cursor, Kind kind) {
    constexpr std::string_view kKeys[] = {"ref", "convert"};
    cursor.expect_keys(kKeys);
    const Cursor place = *cursor.find("ref");
    auto target = place.text();
    if (!target) return std::nullopt;
    Reference reference{std::move(*target), place.place()};
    const auto convert_place = cursor.find("convert");
    if (!convert_place) return Value{std::move(reference)};
    if (kind != Kind::field && kind != Kind::object) {
        convert_place->problem("only fields are converted");
        return std::nullopt;
    }
    auto conversion = read_conversion(*convert_place);
    if (!conversion) return std::nullopt;
    return Value{ConvertedReference{std::move(reference), std::move(*conversion)}};
}

// --- Fields ---

/// A member of a value that names axes or steps.
template <class T>
bool read_whole(const Cursor& cursor, std::string_view key, std::int64_t low, std::int64_t high, std::optional<T>& to) {
    const auto place = cursor.find(key);
    if (!place) return true;
    const auto value = place->integer(low, high);
    if (value) to = static_cast<T>(*value);
    return value.has_value();
}

/// One number per axis of space.
bool read_axes(const Cursor& cursor, std::string_view key, std::vector<double>& to) {
    const auto place = cursor.find(key);
    if (!place) return true;
    const auto numbers = read_number_array(*place, DTYPE_DOUBLE);
    if (!numbers) return false;
    to.resize(static_cast<std::size_t>(numbers->count));
    const std::string error = copy_values(*numbers, to.data());
    if (!error.empty()) place->problem(error);
    return error.empty();
}

bool read_variables(const Cursor& cursor, std::vector<std::string>& to) {
    const auto one = cursor.find("variable");
    const auto several = cursor.find("variables");
    if (one && several) {
        cursor.problem(R"(either "variable" or "variables" is given)");
        return false;
    }
    const auto name = one ? one->text() : std::nullopt;
    if (name) to = {*name};
    const auto names = several ? several->texts() : std::nullopt;
    if (names) to = *names;
    if (names && names->empty()) several->problem("no names are given");
    return (!one || name) && (!several || (names && !names->empty()));
}

/// A field that was written as JSON.
FieldPointer read_field_file(const Cursor& place) {
    const auto name = place.text();
    if (!name) return nullptr;
    const std::string file = place.input_file(*name);
    const FileHandle stream(FILEfopen(file.c_str(), "rb"));
    if (!stream) {
        place.problem("cannot open the file " + file);
        return nullptr;
    }
    const auto document = load_document(stream.get(), file, place.environment().problems);
    return document ? read_field(Cursor(*document, place.environment())) : nullptr;
}

/// Whether a file begins as JSON texts of fields do.
bool is_field_dump(std::string_view start) {
    const auto first = start.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && start[first] == '{';
}

/// A field that was written as JSON: nothing is left to be said of its axes.
FieldPointer read_dump(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"data_file", "convert"};
    cursor.expect_keys(kKeys);
    return read_field_file(*cursor.find("data_file"));
}

FieldPointer read_data_file(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"data_file",   "variable", "variables", "step",   "step_axis",
                                          "vector_axis", "spacing",  "origin",    "convert"};
    constexpr int kMaxAxis = 1000;
    cursor.expect_keys(kKeys);
    const Cursor place = *cursor.find("data_file");
    const auto name = place.text();
    DataRequest request;
    const bool read = read_variables(cursor, request.variables) &&
                      read_whole(cursor, "step", 0, std::numeric_limits<std::int64_t>::max(), request.step) &&
                      read_whole(cursor, "step_axis", -kMaxAxis, kMaxAxis, request.step_axis) &&
                      read_whole(cursor, "vector_axis", -kMaxAxis, kMaxAxis, request.vector_axis) &&
                      read_axes(cursor, "spacing", request.spacing) && read_axes(cursor, "origin", request.origin);
    if (!name || !read) return nullptr;
    const auto convert_place = cursor.find("convert");
    const auto conversion = convert_place ? read_conversion(*convert_place) : Conversion{};
    if (!conversion) return nullptr;
    request.file = cursor.input_file(*name);
    try {
        if (is_field_dump(data_file_start(request.file))) {
            const FieldPointer field = read_dump(cursor);
            return field ? convert(field, *conversion) : nullptr;
        }
        std::vector<std::string> notes;
        const FieldPointer field = open_data_file(request, notes);
        for (const auto& note : notes) place.note(request.file + ": " + note);
        return convert(field, *conversion);
    } catch (const DataError& error) {
        place.problem(request.file + ": " + error.what());
        return nullptr;
    }
}

/// A field written in place. One whose arrays a program lends may be converted: it is not the writer who made it.
FieldPointer read_written_field(const Cursor& cursor, const Cursor& written) {
    constexpr std::string_view kKeys[] = {"field", "convert"};
    const bool lent = !cursor.environment().lent.empty();
    cursor.expect_keys(std::span(kKeys).first(lent ? 2 : 1));
    const auto convert_place = lent ? cursor.find("convert") : std::nullopt;
    const auto conversion = convert_place ? read_conversion(*convert_place) : Conversion{};
    const FieldPointer field = read_field(written);
    if (!field || !conversion) return nullptr;
    try {
        return convert_place ? convert(field, *conversion) : field;
    } catch (const DataError& error) {
        convert_place->problem(error.what());
        return nullptr;
    }
}

std::optional<Value> read_field_form(const Cursor& cursor) {
    FieldPointer field;
    if (const auto written = cursor.find("field")) {
        field = read_written_field(cursor, *written);
    } else if (const auto file = cursor.find("field_file")) {
        expect_only(cursor, "field_file");
        field = read_field_file(*file);
    } else if (cursor.find("data_file")) {
        field = read_data_file(cursor);
    } else {
        cursor.problem(
            R"(a field is given as {"ref": ...}, {"field": {...}}, {"field_file": "NAME"} or {"data_file": "NAME"})");
    }
    return field ? std::optional(Value{std::move(field)}) : std::nullopt;
}

/// Reads an array of fields or of datamaps. An object may go without a datamap: null stands in its place.
std::optional<Value> read_list(const Cursor& cursor, const Shape& element_shape) {
    ValueList list;
    bool failed = false;
    const std::string element = std::string(kind_name(element_shape.kind));
    if (!cursor.is_array()) {
        cursor.expected("an array of " + element + "s or a reference to one");
        return std::nullopt;
    }
    if (cursor.get<Numbers>() && cursor.array_size() > 0) {
        cursor.problem("the elements are " + element + "s, not numbers");
        return std::nullopt;
    }
    const bool may_be_null = element_shape.kind == Kind::datamap;
    for (std::size_t i = 0; i < cursor.array_size(); ++i) {
        const Cursor place = cursor.at(i);
        const bool refused = place.is_null() && !may_be_null;
        if (refused) place.expected("a " + element);
        auto value = refused ? std::nullopt : read_value(place, element_shape);
        failed = failed || !value;
        if (value) list.push_back(std::move(*value));
    }
    return failed ? std::nullopt : std::optional(Value{std::move(list)});
}

// --- Colours ---

/// The preset that is named, or the plain grey one.
std::optional<ColorTable> read_preset(const Cursor& cursor) {
    const auto place = cursor.find("preset");
    const auto name = place ? place->text() : "gray";
    if (!name) return std::nullopt;
    const auto table = preset_table(*name);
    if (table) return table;
    place->problem(list_known("unknown preset; there are", *name, preset_names()));
    return std::nullopt;
}

/// A colour's array: a curve, a file of values, or `otherwise`.
std::optional<NumberArray> read_color(const Cursor& cursor, std::string_view color, const Curve& otherwise) {
    const auto place = cursor.find(color);
    if (place && is_array_elsewhere(*place)) return read_exactly(*place, DTYPE_BYTE, kTableSize);
    const auto curve = place ? read_curve(*place) : otherwise;
    if (!curve) return std::nullopt;
    return array_of<std::uint8_t>(DTYPE_BYTE, *curve);
}

bool read_colors(const Cursor& cursor, const ColorTable& table, ValueGroup& group) {
    const Curve* curves[] = {&table.alpha, &table.red, &table.green, &table.blue};
    bool failed = false;
    for (std::size_t i = 0; i < std::size(kColors); ++i) {
        auto array = read_color(cursor, kColors[i], *curves[i]);
        failed = failed || !array;
        if (array) group.push_back({std::string(kColors[i]), {std::move(*array)}});
    }
    return !failed;
}

std::optional<Value> read_color_table(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"preset", "alpha", "red", "green", "blue"};
    if (!cursor.object()) return std::nullopt;
    cursor.expect_keys(kKeys);
    const auto table = read_preset(cursor);
    ValueGroup group;
    if (!table || !read_colors(cursor, *table, group)) return std::nullopt;
    return Value{std::move(group)};
}

std::optional<Value> read_datamap(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"range", "preset", "alpha", "red", "green", "blue"};
    if (!cursor.object()) return std::nullopt;
    cursor.expect_keys(kKeys);
    const auto range_place = cursor.find("range");
    if (!range_place) cursor.problem("a datamap has a \"range\": [minimum, maximum]");
    const auto range = range_place ? read_exactly(*range_place, DTYPE_DOUBLE, 2) : std::nullopt;
    auto table = read_preset(cursor);
    if (!range || !table) return std::nullopt;
    std::array<double, 2> ends{};
    if (const auto error = copy_values(*range, ends.data()); !error.empty()) {
        range_place->problem(error);
        return std::nullopt;
    }
    table->alpha.fill(255);  // colours of a map are opaque unless said otherwise
    ValueGroup group{{"min", {ends[0]}}, {"max", {ends[1]}}};
    if (!read_colors(cursor, *table, group)) return std::nullopt;
    return Value{std::move(group)};
}

/// Colours [red, green, blue], one after another in one array; null stands for white.
std::optional<Value> read_color_list(const Cursor& cursor) {
    if (is_array_elsewhere(cursor)) return as_value(read_number_array(cursor, DTYPE_FLOAT));
    if (!cursor.is_array() || (cursor.get<Numbers>() && cursor.array_size() > 0)) {
        cursor.expected("an array of colours [red, green, blue]");
        return std::nullopt;
    }
    std::vector<float> colors;
    bool failed = false;
    for (std::size_t i = 0; i < cursor.array_size(); ++i) {
        const Cursor place = cursor.at(i);
        std::array<float, 3> color{1, 1, 1};
        const auto given = place.is_null() ? std::nullopt : read_exactly(place, DTYPE_FLOAT, 3);
        const std::string error = given ? copy_values(*given, color.data()) : "";
        if (!error.empty()) place.problem(error);
        failed = failed || (!given && !place.is_null()) || !error.empty();
        colors.insert(colors.end(), color.begin(), color.end());
    }
    if (failed) return std::nullopt;
    return Value{float_array(colors)};
}

// --- Groups and objects of no declared kind ---

std::optional<Value> read_group(const Cursor& cursor, Kind kind) {
    expect_only(cursor, "group");
    const Cursor place = *cursor.find("group");
    const auto* members = place.object();
    if (!members) return std::nullopt;
    ValueGroup group;
    bool failed = false;
    for (const auto& member : *members) {
        const auto shape = member_shape(kind, member.key);
        if (!shape || member.key.find_first_of(".[]") != std::string::npos || member.key.empty()) {
            place.key_problem(member, "a " + std::string(kind_name(kind)) + " has no sub-object of that name");
            failed = true;
            continue;
        }
        auto value = read_value(place.at(member), *shape);
        failed = failed || !value;
        if (value) group.push_back({member.key, std::move(*value)});
    }
    return failed ? std::nullopt : std::optional(Value{std::move(group)});
}

/// The kind whose form a value has, for parameters that take any object.
Kind apparent_kind(const Cursor& cursor) {
    if (const auto* number = cursor.get<Number>()) {
        const auto* whole = std::get_if<std::int64_t>(number);
        return whole && *whole >= INT_MIN && *whole <= INT_MAX ? Kind::integer : Kind::real;
    }
    if (cursor.get<std::string>()) return Kind::text;
    if (cursor.get<Numbers>() || is_array_elsewhere(cursor)) return Kind::array;
    if (cursor.get<Elements>()) {
        const auto& first = cursor.get<Elements>()->front().value;
        return std::holds_alternative<std::string>(first) ? Kind::texts : Kind::fields;
    }
    if (has_any(cursor, {"field", "field_file", "data_file"})) return Kind::field;
    if (has_any(cursor, {"range"})) return Kind::datamap;
    if (has_any(cursor, {"preset", "alpha", "red", "green", "blue"})) return Kind::color_table;
    if (has_any(cursor, {"matrix", "rotate", "scale", "translate", "mat", "xlate", "center"})) return Kind::transform;
    return Kind::object;
}

std::optional<Value> read_object(const Cursor& cursor) {
    const Kind kind = apparent_kind(cursor);
    if (kind != Kind::object) return read_value(cursor, {.kind = kind, .array_type = {}, .file_name = false});
    cursor.problem("this is none of the forms that values have");
    return std::nullopt;
}

std::optional<Value> read_integer(const Cursor& cursor) {
    const auto value = cursor.integer(INT_MIN, INT_MAX);
    return value ? std::optional(Value{static_cast<std::int32_t>(*value)}) : std::nullopt;
}

/// A file's name as modules are given it: on Windows absolute, since its profile calls look for others in its own
/// directory.
std::string file_name_for_modules(std::string name) {
#if defined(_WIN32)
    std::error_code error;
    const bool named = !name.empty() && name.front() != '$' && FILEis_path_absolute(name.c_str()) != 1;
    const auto absolute = named ? std::filesystem::absolute(file_path(name), error) : std::filesystem::path();
    if (named && !error) return absolute.string();
#endif
    return name;
}

std::optional<Value> read_text(const Cursor& cursor, bool file_name) {
    auto text = cursor.text();
    if (text && text->find('\0') != std::string::npos) {
        cursor.problem("texts hold no zero characters");
        return std::nullopt;
    }
    if (text && file_name) text = file_name_for_modules(cursor.input_file(*text));
    return as_value(std::move(text));
}

std::optional<Value> read_transform_value(const Cursor& cursor) {
    const auto transform = read_transform(cursor);
    return transform ? std::optional(Value{transform_group(*transform)}) : std::nullopt;
}

std::optional<Value> only_references(const Cursor& cursor) {
    cursor.problem(R"(a pointer is given as {"ref": "MODULE.PARAM"} only)");
    return std::nullopt;
}

}  // namespace

std::string_view kind_name(Kind kind) { return kKindNames[static_cast<std::size_t>(kind)]; }

std::optional<Kind> kind_from_name(std::string_view name) {
    const auto* const found = std::find(kKindNames.begin(), kKindNames.end(), name);
    if (found == kKindNames.end()) return std::nullopt;
    return static_cast<Kind>(found - kKindNames.begin());
}

std::optional<Shape> member_shape(Kind kind, std::string_view name) {
    const auto array = [](int type) { return Shape{Kind::array, type, false}; };
    const bool color = std::find(std::begin(kColors), std::end(kColors), name) != std::end(kColors);
    const bool bound = name == "min" || name == "max";
    const bool transform_array = name == "mat" || name == "xlate" || name == "center";
    switch (kind) {
        case Kind::object: return Shape{};
        case Kind::transform: return transform_array ? std::optional(array(DTYPE_FLOAT)) : std::nullopt;
        case Kind::color_table: return color ? std::optional(array(DTYPE_BYTE)) : std::nullopt;
        case Kind::datamap:
            if (color) return array(DTYPE_BYTE);
            return bound ? std::optional(Shape{Kind::real, {}, false}) : std::nullopt;
        default: return std::nullopt;
    }
}

bool is_group(Kind kind) {
    return kind == Kind::transform || kind == Kind::color_table || kind == Kind::datamap || kind == Kind::object;
}

std::optional<Value> read_value(const Cursor& cursor, const Shape& shape) {
    if (cursor.is_null()) return Value{Absent{}};
    if (cursor.find("ref")) return read_reference(cursor, shape.kind);
    if (cursor.find("group") && is_group(shape.kind)) return read_group(cursor, shape.kind);
    switch (shape.kind) {
        case Kind::integer:
        case Kind::trigger: return read_integer(cursor);
        case Kind::real: return as_value(cursor.real());
        case Kind::text: return read_text(cursor, shape.file_name);
        case Kind::pointer: return only_references(cursor);
        case Kind::array: return as_value(read_number_array(cursor, shape.array_type));
        case Kind::texts: return as_value(cursor.texts());
        case Kind::field: return read_field_form(cursor);
        case Kind::fields: return read_list(cursor, {Kind::field, {}, false});
        case Kind::transform: return read_transform_value(cursor);
        case Kind::color_table: return read_color_table(cursor);
        case Kind::datamap: return read_datamap(cursor);
        case Kind::datamaps: return read_list(cursor, {Kind::datamap, {}, false});
        case Kind::colors: return read_color_list(cursor);
        case Kind::object: return read_object(cursor);
    }
    return std::nullopt;
}

std::vector<const Reference*> references_in(const Value& value) {
    std::vector<const Reference*> found;
    const auto add = [&](const Value& part) {
        const auto below = references_in(part);
        found.insert(found.end(), below.begin(), below.end());
    };
    if (const auto* reference = std::get_if<Reference>(&value.form)) found.push_back(reference);
    if (const auto* converted = std::get_if<ConvertedReference>(&value.form)) found.push_back(&converted->source);
    if (const auto* list = std::get_if<ValueList>(&value.form)) std::for_each(list->begin(), list->end(), add);
    if (const auto* group = std::get_if<ValueGroup>(&value.form)) {
        for (const auto& member : *group) add(member.value);
    }
    return found;
}

ValueGroup transform_group(const Transform& transform) {
    return {{"mat", {float_array(transform.mat)}},
            {"xlate", {float_array(transform.xlate)}},
            {"center", {float_array(transform.center)}}};
}

}  // namespace zam::session
