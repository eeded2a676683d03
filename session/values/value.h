// Values of parameters: what a network file says of them, checked against the kind that the module's definition gives.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "session/convert/conversion.h"
#include "session/document/cursor.h"
#include "session/values/field_value.h"
#include "session/values/number_array.h"

namespace zam::session {

enum class Kind {
    integer,
    real,
    text,
    trigger,
    pointer,
    array,
    texts,
    field,
    fields,       // array of fields
    transform,    // group: float arrays mat, xlate, center
    color_table,  // group: byte arrays alpha, red, green, blue
    datamap,      // group: reals min and max, byte arrays alpha, red, green, blue
    datamaps,     // array of datamaps; empty groups where there is none
    colors,       // array of floats: colour after colour: red, green, blue
    object,       // any
};

/// Name of a kind in definition files: "int", "color_table".
std::string_view kind_name(Kind kind);
std::optional<Kind> kind_from_name(std::string_view name);
/// Whether objects of a kind have sub-objects that a network can give.
bool is_group(Kind kind);

/// What a parameter takes.
struct Shape {
    Kind kind = Kind::object;
    std::optional<int> array_type;  // Kind::array
    bool file_name = false;         // Kind::text: names a file or directory
    bool input_file = false;        // a file that has to be there when the network is run
};

/// The object does not exist.
struct Absent {};

/// The object refers to another: "MODULE.PARAM", with dots to sub-objects and [i] to elements of arrays.
struct Reference {
    std::string target;
    Place place;
};

/// The object is a field made of the one referred to, anew whenever that changes.
struct ConvertedReference {
    Reference source;
    Conversion conversion;
};

struct Value;
struct NamedValue;
using ValueList = std::vector<Value>;        // an array of objects
using ValueGroup = std::vector<NamedValue>;  // an object with sub-objects

struct Value {
    std::variant<Absent, std::int32_t, double, std::string, std::vector<std::string>, NumberArray, Reference,
                 ConvertedReference, FieldPointer, ValueList, ValueGroup>
        form;
};

struct NamedValue {
    std::string name;
    Value value;
};

/// Reads a value of any of the forms that suit the shape. `nullopt` after a problem.
std::optional<Value> read_value(const Cursor& cursor, const Shape& shape);

/// The shape of sub-object `name` of an object of a kind; `nullopt` if the kind has no such sub-object, any object
/// if only the network decides.
std::optional<Shape> member_shape(Kind kind, std::string_view name);

/// All references in a value, those within lists and groups too.
std::vector<const Reference*> references_in(const Value& value);

/// The three arrays of a transform as a group.
ValueGroup transform_group(const Transform& transform);

}  // namespace zam::session
