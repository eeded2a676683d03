#include "runner/data_info.h"

#include <memory>

#include "session/convert/value_range.h"
#include "session/data/data_error.h"
#include "session/data/data_file.h"
#include "session/objects/host_fields.h"
#include "session/outputs/json_writer.h"

namespace zam::runner {

using namespace session;

namespace {

bool is_kind(const FileStart& file, std::string_view name) {
    const DataFileKind* kind = data_file_kind(file.bytes);
    return kind && kind->name == name;
}

/// An array as a field without values, with their range.
FieldValue shape_of(const DataArray& array) {
    FieldValue field = *make_field({array}, {});
    ComponentValue& component = field.node_data.front();
    const ValueRange values({component.values}, component.null_value);
    std::array<double, 2> range{};
    if (const std::string error = values.find(range); !error.empty()) throw DataError(error);
    component.minimum = one_value(component.type, range[0]);
    component.maximum = one_value(component.type, range[1]);
    component.values = {};
    return field;
}

std::string tell(const DataArray& array) {
    if (!array.fault.empty()) return array.name + ": " + array.fault;
    std::string text = describe(array);
    try {
        const FieldValue field = shape_of(array);
        const ComponentValue& component = field.node_data.front();
        append_number(text += ", min ", component.type, component.minimum->values.data());
        append_number(text += ", max ", component.type, component.maximum->values.data());
    } catch (const DataError& error) {
        text += std::string(": ") + error.what();
    }
    return text;
}

}  // namespace

bool is_numpy_array(const FileStart& file) { return is_kind(file, "NumPy array"); }
bool is_numpy_archive(const FileStart& file) { return is_kind(file, "NumPy archive"); }

Description describe_data_file(const FileStart& file, OMobj_id field) {
    Description description;
    try {
        const auto arrays = data_file_kind(file.bytes)->open(file.name);
        if (arrays.size() == 1 && arrays.front().fault.empty()) {
            fill_field(field, shape_of(arrays.front()));
        } else {
            for (const auto& array : arrays) description.arrays.push_back(tell(array));
        }
        if (arrays.empty()) description.fault = "holds no arrays";
    } catch (const DataError& error) {
        description.fault = std::string("cannot be read: ") + error.what();
    }
    return description;
}

}  // namespace zam::runner
