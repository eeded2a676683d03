#include "runner/data_info.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "base/file_path.h"
#include "runner/console.h"
#include "session/convert/value_range.h"
#include "session/data/data_error.h"
#include "session/data/data_file.h"
#include "session/document/parser.h"
#include "session/objects/host_fields.h"
#include "session/outputs/json_writer.h"

namespace zam::runner {

using namespace session;

namespace {

constexpr std::size_t kMaxTimes = 16;

/// An array as a field without values, with their range over all time steps.
FieldValue shape_of(const DataArray& array) {
    FieldValue field = *make_field({array}, {});
    ComponentValue& component = field.node_data.front();
    std::vector<NumberArray> all;
    if (field.steps.empty()) all.push_back(component.values);
    for (const auto& step : field.steps) all.push_back(step.node_data.front().values);
    const ValueRange values(std::move(all), component.null_value);
    std::array<double, 2> range{};
    if (const std::string error = values.find(range); !error.empty()) throw DataError(error);
    component.minimum = one_value(component.type, range[0]);
    component.maximum = one_value(component.type, range[1]);
    component.values = {};
    field.steps.clear();
    return field;
}

/// "3: 0 0.5 1", the number of steps and the times of the first of them.
std::vector<Description::Line> tell_steps(std::size_t steps, const std::vector<float>& times) {
    std::string text = std::to_string(steps) + (times.empty() ? "" : ":");
    for (std::size_t i = 0; i < std::min(times.size(), kMaxTimes); ++i)
        append_number(text += " ", DTYPE_FLOAT, &times[i]);
    return {{"time steps", text + (times.size() > kMaxTimes ? " ..." : "")}};
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

Description describe_data_file(const FileStart& file, OMobj_id field) {
    Description description;
    try {
        const auto arrays = without_descriptions(data_file_kind(file.bytes)->open(file.name));
        if (arrays.size() == 1) {
            if (!arrays.front().fault.empty()) throw DataError(tell(arrays.front()));
            if (!arrays.front().note.empty()) description.notes = {arrays.front().note};
            FieldValue shape = shape_of(arrays.front());
            if (!shape.time_values.empty()) description.lines = tell_steps(shape.time_values.size(), shape.time_values);
            shape.time_values.clear();
            fill_field(field, shape);
        } else {
            for (const auto& array : arrays) description.arrays.push_back(one_line(tell(array)));
        }
        if (arrays.empty()) description.fault = "holds no arrays";
    } catch (const DataError& error) {
        description.fault = std::string("cannot be read: ") + error.what();
    }
    return description;
}

bool is_field_dump(std::string_view start) {
    const std::string key = first_key(start);
    return std::find(std::begin(kFieldKeys), std::end(kFieldKeys), key) != std::end(kFieldKeys);
}

Description describe_field_dump(const FileStart& file, OMobj_id field) {
    Problems problems;
    Environment environment{problems, file_path(file.name).parent_path().string()};
    const auto document = load_document(file.name, problems);
    const FieldPointer value = document ? read_field(Cursor(*document, environment)) : nullptr;
    if (problems.any()) return {.fault = "cannot be read: " + problems.lines().front()};
    fill_field(field, *value);
    Description description;
    if (!value->steps.empty()) description.lines = tell_steps(value->steps.size(), value->time_values);
    return description;
}

}  // namespace zam::runner
