// `zam schema`: how network files look, as a JSON Schema, which editors complete and check them by. What the program
// can say better of a file, with the data at hand, is left to `zam check`.
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "runner/commands.h"
#include "runner/module_list.h"
#include "session/values/color_tables.h"

namespace zam::runner {

using namespace session;

namespace {

using Json = nlohmann::ordered_json;

Json of_type(const char* type) { return {{"type", type}}; }
Json list_of(Json items) { return {{"type", "array"}, {"items", std::move(items)}}; }
Json definition(const std::string& name) { return {{"$ref", "#/$defs/" + name}}; }
Json any_of(std::vector<Json> forms) { return {{"anyOf", std::move(forms)}}; }

/// An object that has one of some keys at least; others may stand beside it.
Json object_with(const std::vector<std::string>& keys) {
    Json forms = Json::array();
    for (const auto& key : keys) forms.push_back({{"required", Json::array({key})}});
    return {{"type", "object"}, {"anyOf", std::move(forms)}};
}

Json numbers() { return any_of({list_of(definition("number")), object_with({"values_file"})}); }

Json preset() {
    Json names = Json::array();
    for (const auto name : preset_names()) names.push_back(name);
    return {{"enum", std::move(names)}};
}

/// A colour table, or a datamap where `keys` has a range.
Json colors_with(const std::vector<std::string>& keys) {
    Json object = object_with(keys);
    object["properties"] = {{"preset", preset()}, {"range", numbers()}};
    for (const auto* channel : {"alpha", "red", "green", "blue"}) object["properties"][channel] = definition("curve");
    return object;
}

/// The forms of a kind besides those that every kind has.
std::vector<Json> own_forms(Kind kind) {
    const Json group = object_with({"group"});
    switch (kind) {
        case Kind::integer:
        case Kind::trigger: return {of_type("integer")};
        case Kind::real: return {definition("number")};
        case Kind::text: return {of_type("string")};
        case Kind::pointer: return {};
        case Kind::array: return {numbers()};
        case Kind::texts: return {list_of(of_type("string"))};
        case Kind::field: return {object_with({"field", "field_file", "data_file"})};
        case Kind::fields: return {list_of(definition("field"))};
        case Kind::transform:
            return {object_with({"rotate", "scale", "translate", "matrix", "mat", "xlate", "center"}), group};
        case Kind::color_table: return {colors_with({"preset", "alpha", "red", "green", "blue"}), group};
        case Kind::datamap: return {colors_with({"range"}), group};
        case Kind::datamaps: return {list_of(definition("datamap"))};
        case Kind::colors: return {list_of(any_of({numbers(), of_type("null")})), object_with({"values_file"})};
        case Kind::object: return {Json::object()};
    }
    return {};
}

Json kind_schema(Kind kind) {
    std::vector<Json> forms = own_forms(kind);
    forms.push_back(definition("reference"));
    forms.push_back(of_type("null"));
    return any_of(std::move(forms));
}

Json parameter_schema(const Parameter& parameter, const Json& written) {
    Json schema = definition(std::string(kind_name(parameter.shape.kind)));
    // networks may have other values, so these are said and not demanded
    const std::string values = describe_values(parameter);
    schema["description"] = parameter.meaning + (values.empty() ? "" : " (" + values + ")");
    if (written.contains("default")) schema["default"] = written["default"];
    return schema;
}

Json parameters_schema(const Definition& module) {
    const Json file = definition_file(module);
    Json schema = {{"type", "object"}, {"properties", Json::object()}, {"additionalProperties", false}};
    for (std::size_t i = 0; i < module.parameters.size(); ++i) {
        const auto& parameter = module.parameters[i];
        schema["properties"][parameter.name] = parameter_schema(parameter, file["parameters"][i]);
    }
    return schema;
}

/// A module instance: what it uses decides which parameters it may be given.
Json module_schema(const Definitions& definitions) {
    Json names = Json::array();
    Json cases = Json::array();
    for (const auto& module : definitions.all()) {
        const Json names_of_it = Json::array({module->entry, module->module});
        for (const auto& name : names_of_it) {
            if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
        }
        cases.push_back({{"if", {{"properties", {{"use", {{"enum", names_of_it}}}}}}},
                         {"then", {{"properties", {{"params", definition("params of " + module->entry)}}}}}});
    }
    return {{"type", "object"},
            {"properties", {{"use", {{"enum", names}}}, {"params", of_type("object")}}},
            {"required", {"use"}},
            {"additionalProperties", false},
            {"allOf", std::move(cases)}};
}

/// Files and what is written to them: a reference, or an object with options.
Json write_schema() {
    const Json output = {{"type", "object"}, {"properties", {{"from", of_type("string")}}}, {"required", {"from"}}};
    return {{"type", "object"}, {"additionalProperties", any_of({of_type("string"), output})}};
}

Json event_schema() {
    Json event = object_with({"set", "run", "call", "write", "advance", "unlink", "joystick", "for"});
    event["properties"] = {{"set", of_type("object")},
                           {"run", any_of({of_type("string"), list_of(of_type("string"))})},
                           {"call", {{"type", "object"}, {"required", {"module", "entry"}}}},
                           {"write", definition("write")},
                           {"advance", of_type("integer")},
                           {"unlink", of_type("string")},
                           {"joystick", of_type("object")},
                           {"for", of_type("object")}};
    return event;
}

Json network_schema(const Definitions& definitions) {
    Json kinds = {
        {"number", any_of({of_type("number"), {{"enum", {"nan", "inf", "-inf"}}}})},
        {"curve",
         any_of({list_of(any_of({of_type("number"), list_of(of_type("number"))})), object_with({"values_file"})})},
        {"reference", {{"type", "object"}, {"properties", {{"ref", of_type("string")}}}, {"required", {"ref"}}}},
        {"write", write_schema()},
        {"module", module_schema(definitions)}};
    for (int kind = 0; kind <= static_cast<int>(Kind::object); ++kind)
        kinds[std::string(kind_name(static_cast<Kind>(kind)))] = kind_schema(static_cast<Kind>(kind));
    for (const auto& module : definitions.all()) kinds["params of " + module->entry] = parameters_schema(*module);
    return {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
            {"title", "zam network"},
            {"type", "object"},
            {"properties",
             {{"$schema", of_type("string")},
              {"modules",
               {{"type", "object"},
                {"propertyNames", {{"pattern", R"(^[^.\[\]]+$)"}}},
                {"additionalProperties", definition("module")}}},
              {"events", list_of(event_schema())},
              {"write", definition("write")}}},
            {"required", {"modules"}},
            {"additionalProperties", false},
            {"$defs", std::move(kinds)}};
}

}  // namespace

int print_schema() {
    const auto definitions = load_definitions();
    if (!definitions) return kWrong;
    std::printf("%s\n", network_schema(*definitions).dump(2).c_str());
    return kAllWell;
}

}  // namespace zam::runner
