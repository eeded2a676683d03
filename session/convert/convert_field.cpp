#include "session/convert/convert_field.h"

#include <algorithm>

#include "session/convert/component_lists.h"
#include "session/convert/convert_grid.h"
#include "session/convert/sources.h"
#include "session/convert/value_kernels.h"
#include "session/data/data_error.h"

namespace zam::session {
namespace {

// --- Types and nulls ---

/// The type that holds the values of both.
int wider(int a, int b) {
    constexpr int kOrder[] = {DTYPE_CHAR, DTYPE_BYTE, DTYPE_SHORT, DTYPE_INT, DTYPE_LONG, DTYPE_FLOAT, DTYPE_DOUBLE};
    const auto rank = [&](int type) { return std::find(std::begin(kOrder), std::end(kOrder), type); };
    const int widest = rank(a) < rank(b) ? b : a;
    const auto is_long = [](int type) { return type == DTYPE_INT || type == DTYPE_LONG; };
    return widest == DTYPE_FLOAT && (is_long(a) || is_long(b)) ? DTYPE_DOUBLE : widest;
}

/// A component's null value as one of another type.
std::optional<NumberArray> null_as(const ComponentValue& component, int type) {
    if (!component.null_value) return std::nullopt;
    const double value = real_of(*component.null_value);
    auto null_value = one_value(type, value);
    if (!null_value) {
        throw DataError("the null value " + std::to_string(value) + " does not fit in type " +
                        std::string(type_name(type)));
    }
    return null_value;
}

// --- Components ---

std::string list_components(const Components& components) {
    std::string text;
    for (std::size_t i = 0; i < components.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(i);
        if (!components[i].label.empty()) text += " " + components[i].label;
    }
    return text;
}

std::size_t component_number(const Components& components, const std::variant<xp_long, std::string>& wanted) {
    if (const auto* number = std::get_if<xp_long>(&wanted)) {
        if (*number < static_cast<xp_long>(components.size())) return static_cast<std::size_t>(*number);
        throw DataError("there is no component " + std::to_string(*number) + "; there are " +
                        list_components(components));
    }
    const auto& label = std::get<std::string>(wanted);
    const auto found =
        std::find_if(components.begin(), components.end(), [&](const auto& c) { return c.label == label; });
    if (found != components.end()) return static_cast<std::size_t>(found - components.begin());
    throw DataError("there is no component " + label + "; there are " + list_components(components));
}

void keep_components(FieldValue& field, const Conversion& conversion) {
    std::vector<std::size_t> kept;
    for (const auto& wanted : conversion.components) kept.push_back(component_number(field.node_data, wanted));
    for (Components* components : component_lists(field)) {
        Components chosen;
        for (const std::size_t number : kept) {
            if (number >= components->size()) throw DataError("a time step has fewer components than the field");
            chosen.push_back((*components)[number]);
        }
        *components = std::move(chosen);
    }
}

ComponentValue join(const Components& components) {
    ComponentValue vector;
    int type = components.front().type;
    bool same_units = true;
    for (const auto& component : components) {
        type = wider(type, component.type);
        same_units = same_units && component.units == components.front().units;
        if (!component.label.empty()) vector.label += (vector.label.empty() ? "" : ", ") + component.label;
    }
    std::optional<NumberArray> null_value;
    for (const auto& component : components) {
        if (!null_value) null_value = null_as(component, type);
    }
    vector.veclen = 0;
    for (const auto& component : components) vector.veclen += component.veclen;
    if (same_units) vector.units = components.front().units;
    replace_values(vector, joined(components, type, null_value), null_value);
    return vector;
}

void join_components(FieldValue& field) {
    for (Components* components : component_lists(field)) {
        if (components->empty()) continue;
        for (const auto& component : *components) {
            if (component.values.count != field.nnodes * component.veclen) {
                throw DataError("components without a value at every node cannot be joined");
            }
        }
        *components = {join(*components)};
    }
}

// --- Values ---

void take_magnitudes(FieldValue& field) {
    for (Components* components : component_lists(field)) {
        for (auto& component : *components) {
            const int type = wider(component.type, DTYPE_FLOAT);
            auto null_value = null_as(component, type);
            replace_values(component, magnitude(component, type, null_value), null_value);
            component.veclen = 1;
        }
    }
}

/// The values of one component over the steps, or of the field itself where it has none.
ValueRange range_over_steps(const FieldValue& field, std::size_t number) {
    std::vector<NumberArray> steps;
    for (const auto& step : field.steps) {
        if (number < step.node_data.size()) steps.push_back(step.node_data[number].values);
    }
    if (steps.empty()) steps.push_back(field.node_data[number].values);
    return {std::move(steps), field.node_data[number].null_value};
}

void scale_or_cast(FieldValue& field, const Conversion& conversion) {
    const int type = *conversion.type;
    for (std::size_t number = 0; number < field.node_data.size(); ++number) {
        std::shared_ptr<const ValueRange> range;
        if (conversion.range) range = std::make_shared<const ValueRange>(*conversion.range);
        if (conversion.automatic_range) range = std::make_shared<const ValueRange>(range_over_steps(field, number));
        for (Components* components : component_lists(field)) {
            if (number >= components->size()) continue;
            ComponentValue& component = (*components)[number];
            if (range) {
                replace_values(component, scaled(component, type, range), std::nullopt);
                component.scaled_from = range;
            } else {
                auto null_value = null_as(component, type);
                replace_values(component, cast(component, type, null_value), null_value);
            }
        }
    }
}

}  // namespace

FieldPointer convert(const FieldPointer& source, const Conversion& conversion) {
    auto field = std::make_shared<FieldValue>(*source);
    if (!conversion.components.empty()) keep_components(*field, conversion);
    if (conversion.vector) join_components(*field);
    if (!conversion.crop.empty()) crop_field(*field, conversion.crop);
    if (!conversion.resample.empty()) resample_field(*field, conversion.resample);
    if (conversion.magnitude) take_magnitudes(*field);
    if (conversion.type) scale_or_cast(*field, conversion);
    return field;
}

}  // namespace zam::session
