#include "session/network/acceptance.h"

#include <algorithm>

#include "base/element_types.h"
#include "session/convert/convert_field.h"
#include "session/data/data_error.h"

namespace zam::session {
namespace {

constexpr int kMaxReferences = 100;  // one after the other

template <class Range>
bool contains(const Range& range, int value) {
    return std::find(range.begin(), range.end(), value) != range.end();
}

/// "1, 2 or 4"
std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? "" : i + 1 < names.size() ? ", " : " or ") + names[i];
    }
    return text;
}

std::string listed(const std::vector<int>& numbers) {
    std::vector<std::string> names;
    names.reserve(numbers.size());
    for (const int number : numbers) names.push_back(std::to_string(number));
    return listed(names);
}

std::string type_names(const std::vector<int>& types) {
    std::vector<std::string> names;
    names.reserve(types.size());
    for (const int type : types) names.emplace_back(type_name(type));
    return listed(names);
}

std::string veclens(const AcceptedComponent& accepted) {
    return accepted.veclens.empty() ? std::to_string(accepted.min_veclen) + " or more" : listed(accepted.veclens);
}

// --- Conversions that help ---

using Keys = std::vector<std::string>;  // "\"type\": \"byte\""

std::string suggestion(const Keys& keys) {
    if (keys.empty()) return {};
    std::string text = ": \"convert\": {";
    for (std::size_t i = 0; i < keys.size(); ++i) text += (i > 0 ? ", " : "") + keys[i];
    return text + "}";
}

/// The middle slice of the last axis, if a field of one dimension fewer is taken.
std::string slice(const Accepted& accepted, const std::vector<xp_long>& dims) {
    if (dims.size() < 2 || !contains(accepted.ndims, static_cast<int>(dims.size()) - 1)) return {};
    std::string text = "\"crop\": [";
    for (std::size_t axis = 0; axis + 1 < dims.size(); ++axis) text += "[0, " + std::to_string(dims[axis] - 1) + "], ";
    const std::string middle = std::to_string(dims.back() / 2);
    return suggestion({text + "[" + middle + ", " + middle + "]]"});
}

bool takes_type(const AcceptedComponent& accepted, int type) {
    // raw bytes are bytes
    return accepted.types.empty() || contains(accepted.types, type) ||
           (type == DTYPE_CHAR && contains(accepted.types, DTYPE_BYTE));
}

bool takes_veclen(const AcceptedComponent& accepted, int veclen) {
    if (veclen == 0 || (accepted.veclens.empty() && accepted.min_veclen == 0)) return true;
    return contains(accepted.veclens, veclen) || (accepted.min_veclen > 0 && veclen >= accepted.min_veclen);
}

void add_type(const AcceptedComponent& accepted, int type, Keys& keys) {
    if (takes_type(accepted, type)) return;
    const int wanted = accepted.types.front();
    keys.push_back("\"type\": \"" + std::string(type_name(wanted)) + "\"");
    if (wanted != DTYPE_FLOAT && wanted != DTYPE_DOUBLE) keys.emplace_back("\"range\": \"auto\"");
}

/// Vectors become their lengths, scalar components a vector.
Keys keys_for_veclen(const AcceptedComponent& accepted, const FieldForm& form, std::size_t comp) {
    const auto& component = form.components[comp];
    Keys keys;
    if (takes_veclen(accepted, 1)) {
        keys.emplace_back("\"magnitude\": true");
        add_type(accepted, component.type == DTYPE_DOUBLE ? DTYPE_DOUBLE : DTYPE_FLOAT, keys);
        return keys;
    }
    const auto all = static_cast<int>(form.components.size());
    const int fewest = accepted.veclens.empty() ? accepted.min_veclen : accepted.veclens.front();
    const auto wanted = static_cast<std::size_t>(contains(accepted.veclens, all) ? all : fewest);
    const auto is_scalar = [](const auto& one) { return one.veclen == 1; };
    const bool enough =
        comp == 0 && form.components.size() >= wanted &&
        std::all_of(form.components.begin(), form.components.begin() + static_cast<std::ptrdiff_t>(wanted), is_scalar);
    if (!enough) return keys;
    std::string list;
    for (std::size_t i = 0; i < wanted; ++i) list += (i > 0 ? ", " : "") + std::to_string(i);
    keys = {"\"components\": [" + list + "]", "\"vector\": true"};
    add_type(accepted, component.type.value_or(DTYPE_FLOAT), keys);
    return keys;
}

std::string component_mismatch(std::string_view module, const AcceptedComponent& accepted, const FieldForm& form,
                               std::size_t comp) {
    const std::string takes = std::string(module) + " takes ";
    const auto& component = form.components[comp];
    if (!takes_veclen(accepted, component.veclen)) {
        return "has veclen " + std::to_string(component.veclen) + ", " + takes + veclens(accepted) +
               suggestion(keys_for_veclen(accepted, form, comp));
    }
    if (!component.type || takes_type(accepted, *component.type)) return {};
    Keys keys;
    add_type(accepted, *component.type, keys);
    return "is " + std::string(type_name(*component.type)) + ", " + takes + type_names(accepted.types) +
           suggestion(keys);
}

// --- Fields of a network ---

FieldForm form_of(const FieldValue& field) {
    FieldForm form{field.dims, {}};
    const auto& components =
        field.node_data.empty() && !field.steps.empty() ? field.steps[0].node_data : field.node_data;
    for (const auto& component : components) form.components.push_back({component.type, component.veclen});
    return form;
}

/// The field that a value is, or leads to, without any module's doing; null if there is none.
FieldPointer field_of(const Network& network, const Value& value, int references) {
    if (const auto* field = std::get_if<FieldPointer>(&value.form)) return *field;
    const auto* converted = std::get_if<ConvertedReference>(&value.form);
    const auto* reference = converted ? &converted->source : std::get_if<Reference>(&value.form);
    if (!reference || references == 0) return nullptr;
    const auto [module, parameter, rest] = split_reference(reference->target);
    const auto number = network.find(module);
    if (!number || !rest.empty()) return nullptr;
    for (const auto& assignment : network.instances[*number].given) {
        if (assignment.parameter->name != parameter || assignment.parameter->direction != Direction::in) continue;
        const auto field = field_of(network, assignment.value, references - 1);
        try {
            return field && converted ? convert(field, converted->conversion) : field;
        } catch (const DataError&) {
            return nullptr;  // the run says what does not suit
        }
    }
    return nullptr;
}

}  // namespace

std::string describe(const Accepted& accepted) {
    std::string text = accepted.ndims.empty() ? "" : "ndim " + listed(accepted.ndims);
    for (std::size_t comp = 0; comp < accepted.components.size(); ++comp) {
        const AcceptedComponent& component = accepted.components[comp];
        text.append(text.empty() ? "" : ", ").append("component ").append(std::to_string(comp));
        if (!component.types.empty()) text.append(": ").append(type_names(component.types));
        if (component.veclens.empty() && component.min_veclen == 0) continue;
        text.append(component.types.empty() ? ": veclen " : ", veclen ").append(veclens(component));
    }
    return text;
}

std::string mismatch(std::string_view module, const Parameter& parameter, const FieldForm& form) {
    if (!parameter.accepted) return {};
    const auto& accepted = *parameter.accepted;
    const std::string about = std::string(module) + "." + parameter.name + ": ";
    const auto ndim = static_cast<int>(form.dims.size());
    if (!accepted.ndims.empty() && !contains(accepted.ndims, ndim)) {
        return about + "ndim is " + std::to_string(ndim) + ", " + std::string(module) + " takes " +
               listed(accepted.ndims) + slice(accepted, form.dims);
    }
    for (std::size_t comp = 0; comp < accepted.components.size() && !form.components.empty(); ++comp) {
        const std::string number = "component " + std::to_string(comp);
        if (comp >= form.components.size()) return std::string(about).append("there is no ").append(number);
        const std::string text = component_mismatch(module, accepted.components[comp], form, comp);
        if (!text.empty()) return std::string(about).append(number).append(" ").append(text);
    }
    return {};
}

std::vector<std::string> mismatches(const Network& network) {
    std::vector<std::string> found;
    for (const auto& instance : network.instances) {
        for (const auto& assignment : instance.given) {
            if (!assignment.parameter->accepted) continue;
            const auto field = field_of(network, assignment.value, kMaxReferences);
            auto text = field ? mismatch(instance.name, *assignment.parameter, form_of(*field)) : std::string();
            if (!text.empty()) found.push_back(std::move(text));
        }
    }
    return found;
}

}  // namespace zam::session
