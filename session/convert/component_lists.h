// The components of a field and of each of its steps.
#pragma once

#include <optional>
#include <vector>

#include "session/values/field_value.h"

namespace zam::session {

using Components = std::vector<ComponentValue>;

/// The components of the field and of each of its steps, the field's own first.
inline std::vector<Components*> component_lists(FieldValue& field) {
    std::vector<Components*> lists{&field.node_data};
    for (auto& step : field.steps) lists.push_back(&step.node_data);
    return lists;
}

/// New values in place of a component's; limits that it had no longer hold.
inline void replace_values(ComponentValue& component, NumberArray values, std::optional<NumberArray> null_value) {
    component.type = values.type;
    component.values = std::move(values);
    component.null_value = std::move(null_value);
    component.minimum.reset();
    component.maximum.reset();
    component.scaled_from.reset();
    component.id = 0;
}

}  // namespace zam::session
