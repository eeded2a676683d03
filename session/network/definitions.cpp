#include "session/network/definitions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <initializer_list>
#include <limits>

#include "base/element_types.h"
#include "base/file_path.h"
#include "embedded/view/entries.h"
#include "session/document/json_of.h"
#include "session/document/suggestion.h"
#include "session/network/library_file.h"
#include "session/values/number_array.h"

namespace zam::session {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 3> kDirectionNames{"in", "out", "inout"};

std::string required_text(const Cursor& object, std::string_view key) {
    const auto place = object.find(key);
    if (!place) object.problem("\"" + std::string(key) + "\" is missing");
    return place ? place->text().value_or("") : "";
}

std::string optional_text(const Cursor& object, std::string_view key) {
    const auto place = object.find(key);
    return place ? place->text().value_or("") : "";
}

// --- Parameters ---

Shape read_shape(const Cursor& cursor) {
    Shape shape;
    const std::string kind_text = required_text(cursor, "kind");
    const auto kind = kind_from_name(kind_text);
    if (!kind && !kind_text.empty()) cursor.find("kind")->problem("unknown kind");
    shape.kind = kind.value_or(Kind::object);
    if (shape.kind == Kind::array) {
        shape.array_type = read_type(cursor, DTYPE_FLOAT);
    } else if (const auto type = cursor.find("type")) {
        type->problem("only arrays have an element type");
    }
    if (const auto file = cursor.find("file")) {
        shape.input_file = file->get<std::string>() && *file->get<std::string>() == "input";
        shape.file_name = shape.input_file || file->boolean().value_or(false);
        if (shape.kind != Kind::text) file->problem("only texts are file names");
    }
    return shape;
}

Direction read_direction(const Cursor& cursor) {
    const std::string name = required_text(cursor, "direction");
    const auto* const found = std::find(kDirectionNames.begin(), kDirectionNames.end(), name);
    if (found != kDirectionNames.end()) return static_cast<Direction>(found - kDirectionNames.begin());
    if (!name.empty()) cursor.find("direction")->problem("a direction is in, out or inout");
    return Direction::in;
}

/// A number as people read it; those of type int are exact.
std::string text_of(double number) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.10g", number);
    return text.data();
}

/// A default as people read it: numbers and texts as they are, larger values by their form.
std::string text_of_default(const Cursor& cursor) {
    if (const auto* text = cursor.get<std::string>()) return "\"" + *text + "\"";
    if (const auto* number = cursor.get<Number>()) {
        const auto* whole = std::get_if<std::int64_t>(number);
        return whole ? std::to_string(*whole) : text_of(std::get<double>(*number));
    }
    if (const auto preset = cursor.find("preset")) return optional_text(cursor, "preset");
    if (cursor.is_array()) return std::to_string(cursor.array_size()) + " values";
    return "given";
}

// --- Which values make sense ---

/// `nullopt` after a problem.
std::optional<std::int64_t> read_int(const Cursor& cursor) {
    return cursor.integer(std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max());
}

/// One end of a range; `nullopt` after a problem.
std::optional<double> read_end(const Cursor& cursor, Kind kind) {
    if (kind == Kind::integer) return read_int(cursor);
    const auto end = cursor.real();
    if (!end || std::isfinite(*end)) return end;
    cursor.problem("an end is a finite number, or null");
    return std::nullopt;
}

/// `nullopt` after a problem.
std::optional<Range> read_range(const Cursor& cursor, Kind kind) {
    if (kind != Kind::integer && kind != Kind::real) {
        cursor.problem("only int and real have a range");
        return std::nullopt;
    }
    if (!cursor.is_array() || cursor.array_size() != 2) {
        cursor.problem("a range is [low, high], with null for an end that is open");
        return std::nullopt;
    }
    const auto* numbers = cursor.get<Numbers>();
    std::array<std::optional<double>, 2> ends;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        const Node number{cursor.node().offset, numbers ? (*numbers)[i] : Number()};
        const Cursor end = numbers ? cursor.with(number) : cursor.at(i);
        if (end.is_null()) continue;
        ends[i] = read_end(end, kind);
        if (!ends[i]) return std::nullopt;
    }
    const auto [low, high] = ends;
    if (!low && !high) cursor.problem("leave a range without ends away instead");
    if (low && high && *low >= *high) cursor.problem("a range goes from a number to a larger one");
    return Range{low, high};
}

/// Appends a choice if its parts can be read.
void read_choice(const Cursor& cursor, std::vector<Choice>& choices) {
    if (!cursor.get<Elements>() || cursor.array_size() != 2) return cursor.problem("a choice is [number, name]");
    const auto value = read_int(cursor.at(0));
    auto name = cursor.at(1).text();
    if (!value || !name) return;
    const bool is_known = std::any_of(choices.begin(), choices.end(), [&](const Choice& choice) {
        return choice.value == *value || choice.name == *name;
    });
    if (name->empty()) cursor.problem("a choice has a name");
    if (is_known) cursor.problem("this number or name is given twice");
    choices.push_back({static_cast<int>(*value), std::move(*name)});
}

std::vector<Choice> read_choices(const Cursor& cursor, Kind kind) {
    std::vector<Choice> choices;
    if (kind != Kind::integer) cursor.problem("only int has choices");
    if (!cursor.get<Elements>()) cursor.problem("choices are an array of [number, name]");
    for (std::size_t i = 0; cursor.get<Elements>() && i < cursor.array_size(); ++i) read_choice(cursor.at(i), choices);
    return choices;
}

// --- What modules take ---

std::vector<int> read_numbers(const Cursor& object, std::string_view key) {
    constexpr int kMaxNumber = 1000;
    std::vector<int> numbers;
    const auto place = object.find(key);
    if (!place) return numbers;
    const auto array = read_number_array(*place, DTYPE_INT);
    if (array) numbers.resize(static_cast<std::size_t>(array->count));
    const std::string error = array ? copy_values(*array, numbers.data()) : "";
    if (!error.empty()) place->problem(error);
    const bool in_range = std::all_of(numbers.begin(), numbers.end(), [](int n) { return n >= 0 && n <= kMaxNumber; });
    if (!in_range) place->problem("the numbers are from 0 to 1000");
    return numbers;
}

AcceptedComponent read_accepted_component(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"type", "veclen", "min_veclen"};
    constexpr int kMaxVeclen = 1000;
    cursor.expect_keys(kKeys);
    AcceptedComponent accepted;
    const auto types = cursor.find("type");
    for (const auto& name : types ? types->texts().value_or(std::vector<std::string>{}) : std::vector<std::string>{}) {
        const auto type = type_from_name(name);
        if (type) accepted.types.push_back(*type);
        if (!type) types->problem("unknown type " + name);
    }
    accepted.veclens = read_numbers(cursor, "veclen");
    const auto least = cursor.find("min_veclen");
    if (least) accepted.min_veclen = static_cast<int>(least->integer(1, kMaxVeclen).value_or(1));
    return accepted;
}

std::optional<Accepted> read_accepted(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"ndim", "components"};
    if (!cursor.object()) return std::nullopt;
    cursor.expect_keys(kKeys);
    Accepted accepted{read_numbers(cursor, "ndim"), {}};
    const auto components = cursor.find("components");
    if (!components) return accepted;
    if (!components->get<Elements>()) {
        components->expected("an array of what is taken of the components");
        return std::nullopt;
    }
    for (std::size_t i = 0; i < components->array_size(); ++i) {
        const Cursor place = components->at(i);
        if (place.object()) accepted.components.push_back(read_accepted_component(place));
    }
    return accepted;
}

// --- Where colours come from ---

/// Of a text that names a parameter of one of these kinds its name; empty after a problem.
std::string read_parameter_name(const Cursor& cursor, const Definition& definition, std::initializer_list<Kind> kinds) {
    const auto name = cursor.text();
    if (!name) return {};
    const auto* parameter = definition.find_parameter(*name);
    if (!parameter) {
        cursor.problem("there is no parameter " + *name);
        return {};
    }
    if (std::find(kinds.begin(), kinds.end(), parameter->shape.kind) != kinds.end()) return *name;
    std::string known;
    for (const Kind kind : kinds) known += (known.empty() ? "" : " or ") + std::string(kind_name(kind));
    cursor.problem(*name + " is of kind " + std::string(kind_name(parameter->shape.kind)) + ", not " + known);
    return {};
}

/// Colours of three numbers from 0 to 255, or the name of a parameter.
void read_legend_colors(const Cursor& cursor, const Definition& definition, LegendSource& legend) {
    constexpr std::size_t kMaxColors = 256;
    if (cursor.get<std::string>()) {
        legend.colors = read_parameter_name(cursor, definition, {Kind::color_table, Kind::datamaps});
        return;
    }
    const bool is_list = cursor.get<Elements>() && cursor.array_size() >= 2 && cursor.array_size() <= kMaxColors;
    if (!is_list) return cursor.expected("the name of a parameter, or 2 to 256 colours");
    for (std::size_t i = 0; i < cursor.array_size(); ++i) {
        const auto color = read_exactly(cursor.at(i), DTYPE_BYTE, 3);
        const std::string error = color ? copy_values(*color, legend.ramp.emplace_back().data()) : "";
        if (!error.empty()) cursor.problem(error);
    }
}

LegendSource read_legend(const Cursor& cursor, const Definition& definition) {
    constexpr std::string_view kKeys[] = {"values", "parts", "colors", "if"};
    LegendSource legend;
    if (!cursor.object()) return legend;
    cursor.expect_keys(kKeys);
    const auto values = cursor.find("values");
    const auto colors = cursor.find("colors");
    if (!values || !colors) cursor.problem("a legend has \"values\" and \"colors\"");
    if (values) legend.values = read_parameter_name(*values, definition, {Kind::field, Kind::fields});
    if (colors) read_legend_colors(*colors, definition, legend);
    const auto parts = cursor.find("parts");
    if (parts && !parts->get<Elements>()) parts->expected("an array of names");
    for (std::size_t i = 0; parts && parts->get<Elements>() && i < parts->array_size(); ++i) {
        legend.parts.push_back(read_parameter_name(parts->at(i), definition, {Kind::integer}));
    }
    const auto when = cursor.find("if");
    const auto* members = when ? when->object() : nullptr;
    for (std::size_t i = 0; members && i < members->size(); ++i) {
        const auto& member = (*members)[i];
        const auto* parameter = definition.find_parameter(member.key);
        const bool known = parameter && parameter->shape.kind == Kind::integer;
        if (!known) when->key_problem(member, "there is no parameter " + member.key + " of kind int");
        legend.when.emplace_back(member.key, when->at(member).boolean().value_or(false));
    }
    return legend;
}

Parameter read_parameter(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"name",    "kind",    "type",    "file",     "direction",
                                          "default", "range",   "choices", "origin",   "accepts",
                                          "legend",  "meaning", "shared",  "any_order"};
    cursor.expect_keys(kKeys);
    Parameter parameter;
    parameter.name = required_text(cursor, "name");
    if (parameter.name.find_first_of(".[]") != std::string::npos) cursor.problem("names hold no dots or brackets");
    parameter.shape = read_shape(cursor);
    parameter.direction = read_direction(cursor);
    parameter.meaning = required_text(cursor, "meaning");
    const auto range = cursor.find("range");
    const auto choices = cursor.find("choices");
    if (range) parameter.range = read_range(*range, parameter.shape.kind);
    if (choices) parameter.choices = read_choices(*choices, parameter.shape.kind);
    if (range && choices) cursor.problem("a parameter has a range or choices");
    if (const auto place = cursor.find("any_order")) parameter.any_order = place->boolean().value_or(false);
    if (const auto place = cursor.find("origin")) {
        parameter.origin = read_image_origin(*place).value_or(ImageOrigin::upper);
    }
    if (const auto place = cursor.find("accepts")) {
        parameter.accepted = read_accepted(*place);
        if (parameter.shape.kind != Kind::field) place->problem("only what fields are taken is said");
    }
    if (const auto place = cursor.find("shared")) {
        parameter.shared = place->boolean().value_or(false);
        if (parameter.shape.kind != Kind::fields) place->problem("only lists of fields are shared out");
    }
    if (const auto place = cursor.find("default")) {
        parameter.default_value = read_value(*place, parameter.shape);
        parameter.default_text = text_of_default(*place);
        parameter.default_json = json_of(place->node());
        if (place->is_null()) place->problem("leave the default away instead");
    }
    return parameter;
}

void read_parameters(const Cursor& cursor, Definition& definition) {
    const auto place = cursor.find("parameters");
    if (!place) return cursor.problem("\"parameters\" is missing");
    if (!place->is_array() || (place->get<Numbers>() && place->array_size() > 0)) {
        return place->expected("an array of parameters");
    }
    std::vector<std::pair<std::size_t, Cursor>> legends;
    for (std::size_t i = 0; i < place->array_size(); ++i) {
        const Cursor parameter_place = place->at(i);
        if (!parameter_place.object()) continue;
        auto parameter = read_parameter(parameter_place);
        if (definition.find_parameter(parameter.name)) parameter_place.problem("this name is given twice");
        const auto legend = parameter_place.find("legend");
        if (legend) legends.emplace_back(definition.parameters.size(), *legend);
        definition.parameters.push_back(std::move(parameter));
    }
    // these name other parameters
    for (const auto& [number, legend] : legends) {
        definition.parameters[number].legend = read_legend(legend, definition);
    }
}

// --- Entries ---

void read_set_params(const Cursor& cursor, Definition& definition) {
    constexpr std::string_view kKeys[] = {"name", "on"};
    if (!cursor.object()) return;
    cursor.expect_keys(kKeys);
    definition.set_params_entry = required_text(cursor, "name");
    const auto on = cursor.find("on");
    if (!on) return cursor.problem("\"on\" is missing");
    definition.set_params_on = on->texts().value_or(std::vector<std::string>{});
    for (const auto& name : definition.set_params_on) {
        if (!definition.find_parameter(name)) on->problem("there is no parameter " + name);
    }
}

void read_entries(const Cursor& cursor, Definition& definition) {
    const auto place = cursor.find("entries");
    if (!place) return;
    const auto* members = place->object();
    if (!members) return;
    for (const auto& member : *members) {
        const Cursor entry = place->at(member);
        if (member.key == "set_params") {
            read_set_params(entry, definition);
        } else if (member.key == "delete") {
            definition.delete_entry = entry.text().value_or("");
        } else if (auto name = entry.text()) {
            definition.further_entries.push_back(std::move(*name));
        }
    }
}

// --- Classes ---

std::optional<Method> read_method(const Cursor& cursor, const Definition& definition) {
    constexpr std::string_view kKeys[] = {"name", "on", "at_start"};
    if (!cursor.object()) return std::nullopt;
    cursor.expect_keys(kKeys);
    Method method{.name = required_text(cursor, "name"), .on = {}, .at_start = false};
    if (const auto on = cursor.find("on")) {
        method.on = on->texts().value_or(std::vector<std::string>{});
        for (const auto& name : method.on) {
            if (!definition.find_parameter(name)) on->problem("there is no parameter " + name);
        }
    }
    if (const auto at_start = cursor.find("at_start")) method.at_start = at_start->boolean().value_or(false);
    return method;
}

void read_class(const Cursor& cursor, Definition& definition) {
    const auto place = cursor.find("methods");
    if (!place) return cursor.problem("\"methods\" is missing");
    if (!place->get<Elements>()) return place->expected("an array of methods");
    for (std::size_t i = 0; i < place->array_size(); ++i) {
        if (auto method = read_method(place->at(i), definition)) definition.methods.push_back(std::move(*method));
    }
    definition.update_method = required_text(cursor, "update");
    if (!definition.find_method(definition.update_method)) cursor.problem("\"update\" names no method");
}

// --- Plug-ins ---

/// Whether the library of a definition was made for this contract.
bool is_for_this_contract(const Cursor& cursor) {
    constexpr int kMaxAbi = 1'000'000;
    const auto place = cursor.find("abi");
    if (!place) {
        cursor.problem("\"abi\" is missing");
        return false;
    }
    const std::int64_t abi = place->integer(0, kMaxAbi).value_or(-1);
    if (abi >= 0 && abi != ZAM_CONTRACT_ABI)
        place->problem("the library was made for contract " + std::to_string(abi) + ", this host has contract " +
                       std::to_string(ZAM_CONTRACT_ABI));
    return abi == ZAM_CONTRACT_ABI;
}

/// The library of a definition, which lies in the same directory.
std::string read_library(const Cursor& cursor, const std::string& definition_file) {
    const std::string name = required_text(cursor, "library");
    const auto place = cursor.find("library");
    if (!place || !is_for_this_contract(cursor)) return {};
    if (name.empty() || name.find_first_of("/\\:") != std::string::npos) {
        place->problem("a library lies beside its definition, and is named without a directory");
        return {};
    }
    const auto file = find_library_file(file_path(definition_file).parent_path().string(), name);
    if (!file) place->problem("there is no library " + name + " beside this file");
    return file.value_or("");
}

/// The .json files of a directory, in alphabetical order.
std::vector<std::string> definition_files(const std::string& directory, std::error_code& error) {
    std::vector<std::string> files;
    for (auto entry = fs::directory_iterator(file_path(directory), error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (entry->path().extension() == ".json") files.push_back(entry->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

std::optional<ImageOrigin> read_image_origin(const Cursor& cursor) {
    const auto name = cursor.text();
    if (name == "upper") return ImageOrigin::upper;
    if (name == "lower") return ImageOrigin::lower;
    if (name) cursor.problem("an origin is upper or lower");
    return std::nullopt;
}

std::string describe_values(const Parameter& parameter) {
    if (const auto& range = parameter.range) {
        if (range->low && range->high) return text_of(*range->low) + " to " + text_of(*range->high);
        return range->low ? "from " + text_of(*range->low) : "up to " + text_of(*range->high);
    }
    std::string text;
    for (const auto& [value, name] : parameter.choices)
        text += (text.empty() ? "" : ", ") + std::to_string(value) + " " + name;
    return text;
}

std::string_view direction_name(Direction direction) { return kDirectionNames[static_cast<std::size_t>(direction)]; }

const Parameter* Definition::find_parameter(std::string_view name) const {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [&](const auto& parameter) { return parameter.name == name; });
    return found == parameters.end() ? nullptr : &*found;
}

std::string Definition::no_parameter(std::string_view name) const {
    return entry + " has no parameter " + std::string(name) +
           did_you_mean(name, parameters, [](const auto& parameter) -> std::string_view { return parameter.name; });
}

const Method* Definition::find_method(std::string_view name) const {
    const auto found = std::find_if(methods.begin(), methods.end(), [&](const auto& method) {
        return method.name == name || exported(method.name) == name;
    });
    return found == methods.end() ? nullptr : &*found;
}

std::string Definition::no_method(std::string_view name) const {
    return entry + " has no method " + std::string(name) +
           did_you_mean(name, methods, [](const auto& method) -> std::string_view { return method.name; });
}

void Definitions::add(const std::string& file, Problems& problems, Origin origin) {
    const auto document = load_document(file, problems);
    if (!document) return;
    auto definition = std::make_unique<Definition>();
    definition->file = file;
    add(*document, std::move(definition), problems, origin);
}

void Definitions::add_host_entries(Problems& problems) {
    for (const auto& entry : host::entry_definitions()) {
        auto definition = std::make_unique<Definition>();
        definition->file = entry.name;
        definition->text = entry.text;
        Document document(entry.name, entry.text);
        if (document.parse(problems)) add(document, std::move(definition), problems, Origin::built_in);
    }
}

void Definitions::add(const Document& document, std::unique_ptr<Definition> definition, Problems& problems,
                      Origin origin) {
    constexpr std::string_view kKeys[] = {"module",  "entry",      "summary", "joint",
                                          "entries", "parameters", "library", "abi"};
    constexpr std::string_view kClassKeys[] = {"module",  "class",      "summary", "update",
                                               "methods", "parameters", "library", "abi"};
    const std::size_t problems_before = problems.count();
    Environment environment{problems, file_path(definition->file).parent_path().string()};
    const Cursor cursor(document, environment);
    if (!cursor.object()) return;
    if (origin == Origin::plugin) definition->library = read_library(cursor, definition->file);
    if (problems.count() > problems_before) return;  // one for another contract may have all sorts of keys
    definition->is_class = cursor.find("class").has_value();
    definition->is_class ? cursor.expect_keys(kClassKeys) : cursor.expect_keys(kKeys);
    definition->module = required_text(cursor, "module");
    definition->entry = required_text(cursor, definition->is_class ? "class" : "entry");
    definition->summary = required_text(cursor, "summary");
    const auto joint = cursor.find("joint");
    definition->joint = joint && joint->boolean().value_or(false);
    read_parameters(cursor, *definition);
    definition->is_class ? read_class(cursor, *definition) : read_entries(cursor, *definition);
    if (by_entry(definition->entry)) cursor.problem("another file defines " + definition->entry);
    if (origin == Origin::plugin && by_any_name(definition->module))
        cursor.problem("there is another module " + definition->module);
    if (problems.count() > problems_before) return;
    const auto behind = std::upper_bound(definitions_.begin(), definitions_.end(), definition,
                                         [](const auto& a, const auto& b) { return a->module < b->module; });
    definitions_.insert(behind, std::move(definition));
}

Definitions Definitions::load(const std::string& directory, Problems& problems) {
    Definitions definitions;
    std::error_code error;
    const auto files = definition_files(directory, error);
    if (error) problems.add({directory, 0, 0, {}}, "no definition files can be read here: " + error.message());
    for (const auto& file : files) definitions.add(file, problems);
    return definitions;
}

void Definitions::add_plugins(const std::string& directory, std::vector<std::string>& left_out) {
    std::error_code error;
    const auto files = definition_files(directory, error);
    if (error) left_out.push_back(directory + ": no plug-ins can be read here: " + error.message());
    for (const auto& file : files) {
        Problems problems;
        if (!fs::is_regular_file(file_path(file), error)) {
            problems.add({file, 0, 0, {}}, "this is no file");  // it may be a pipe, which would not end
        } else {
            add(file, problems, Origin::plugin);
        }
        if (!problems.any()) continue;
        const std::string more = problems.count() > 1 ? " (and " + std::to_string(problems.count() - 1) + " more)" : "";
        left_out.push_back(problems.lines().front() + more);
    }
}

const Definition* Definitions::by_entry(std::string_view entry) const {
    const auto found =
        std::find_if(definitions_.begin(), definitions_.end(), [&](const auto& d) { return d->entry == entry; });
    return found == definitions_.end() ? nullptr : found->get();
}

const Definition* Definitions::by_any_name(std::string_view name) const {
    if (const auto* definition = by_entry(name)) return definition;
    const auto found =
        std::find_if(definitions_.begin(), definitions_.end(), [&](const auto& d) { return d->module == name; });
    return found == definitions_.end() ? nullptr : found->get();
}

std::string Definitions::nearest_to(std::string_view name) const {
    std::vector<std::string_view> known;
    for (const auto& definition : definitions_) known.insert(known.end(), {definition->module, definition->entry});
    return did_you_mean(name, known);
}

bool Definitions::has_entry(std::string_view entry) const {
    return std::any_of(definitions_.begin(), definitions_.end(), [&](const auto& definition) {
        const auto& further = definition->further_entries;
        if (definition->is_class) return false;
        return definition->entry == entry || definition->set_params_entry == entry ||
               definition->delete_entry == entry || std::find(further.begin(), further.end(), entry) != further.end();
    });
}

}  // namespace zam::session
