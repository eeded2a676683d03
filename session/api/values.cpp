#include "session/api/values.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/available_memory.h"
#include "base/element_types.h"
#include "contract/om.h"
#include "embedded/host.h"
#include "session/objects/borrowed_field.h"
#include "session/outputs/json_writer.h"

namespace zam {
namespace {

constexpr int kMaxNesting = 64;

/// Values of a program's.
class LentValues final : public session::ValueSource {
public:
    explicit LentValues(const Array& array)
        : values_(static_cast<const std::byte*>(array.data())),
          size_(static_cast<xp_long>(size_of(array.type()))),
          // where nobody keeps the values they are there for good
          owner_(array.owner() ? array.owner() : std::shared_ptr<const void>(values_, [](const void* /*values*/) {})) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        std::memcpy(destination, values_ + first * size_, static_cast<std::size_t>(count * size_));
        return {};
    }
    const std::byte* in_memory() const override { return values_; }
    std::shared_ptr<const void> owner() const override { return owner_; }

private:
    const std::byte* values_;
    xp_long size_;
    std::shared_ptr<const void> owner_;
};

std::size_t checked_size(int type) {
    const std::size_t bytes = type_size(type);
    if (bytes == 0) throw Error("an array has an element type that does not exist");
    return bytes;
}

session::NumberArray to_session(const Array& array) {
    const int type = static_cast<int>(array.type());
    const std::size_t element_bytes = checked_size(type);
    session::NumberArray result{.type = type, .count = static_cast<xp_long>(array.size()), .values = {}, .source = {}};
    if (array.empty()) return result;
    if (!array.data()) throw Error("an array has a size and no values");
    if (reinterpret_cast<std::uintptr_t>(array.data()) % element_bytes != 0)
        throw Error("the values of an array are not aligned as its type needs");
    result.source = std::make_shared<LentValues>(array);
    return result;
}

/// Values that are kept where they are, or read into memory.
Array to_public(const session::NumberArray& array) {
    const auto type = static_cast<Type>(array.type);
    const auto count = static_cast<std::size_t>(array.count);
    if (count == 0) return {type, nullptr, 0, nullptr};
    auto owner = array.source ? array.source->owner() : nullptr;
    if (owner) return {type, array.source->in_memory(), count, std::move(owner)};
    const std::size_t element_bytes = checked_size(array.type);
    AvailableMemory().require(array.count, element_bytes);
    std::shared_ptr<void> values(std::malloc(count * element_bytes), std::free);
    if (!values) throw std::bad_alloc();
    const std::string error = copy_values(array, values.get());
    if (!error.empty()) throw Error(error);
    return {type, values.get(), count, values};
}

double number_of(const session::NumberArray& one) {
    alignas(double) std::byte bytes[sizeof(double)]{};
    copy_values(one, bytes);
    return with_type(one.type, [&](auto value) {
        std::memcpy(&value, bytes, sizeof value);
        return static_cast<double>(value);
    });
}

std::vector<Component> to_public(const std::vector<session::ComponentValue>& components) {
    std::vector<Component> result;
    for (const auto& component : components) {
        Component one{.values = to_public(component.values), .veclen = component.veclen};
        if (one.values.empty()) one.values = Array(static_cast<Type>(component.type), nullptr, 0, nullptr);
        one.label = component.label;
        one.units = component.units;
        one.id = component.id;
        if (component.null_value) one.null_value = number_of(*component.null_value);
        result.push_back(std::move(one));
    }
    return result;
}

std::array<float, 16> matrix_of(OMobj_id field) {
    std::array<float, 16> matrix{};
    FLDget_xform(field, matrix.data());
    return matrix;
}

std::string text_of(OMobj_id object) {
    char* text = nullptr;
    if (OMget_str_val(object, &text, 0) != 1) return {};
    std::string result = text;
    std::free(text);
    return result;
}

Value read_nested(OMobj_id object, int depth);

Value read_children(OMobj_id object, bool named, int depth) {
    if (depth > kMaxNesting) throw Error("the objects are nested too deeply to be read");
    Value::List list;
    Value::Group group;
    for (const OMobj_id child : host::children(object)) {
        Value value = read_nested(child, depth + 1);
        if (named)
            group.emplace_back(host::name(child), std::move(value));
        else
            list.push_back(std::move(value));
    }
    return named ? Value(std::move(group)) : Value(std::move(list));
}

std::vector<std::string> read_texts(OMobj_id object) {
    xp_long count = 0;
    OMget_array_size(object, &count);
    std::vector<std::string> texts;
    for (xp_long i = 0; i < count; ++i) texts.push_back(host::text_at(object, i).value_or(""));
    return texts;
}

Value read_nested(OMobj_id object, int depth) {
    int integer = 0;
    double real = 0;
    switch (host::kind(object)) {
        case host::Kind::integer: return OMget_int_val(object, &integer) == 1 ? Value(integer) : Value();
        case host::Kind::real: return OMget_real_val(object, &real) == 1 ? Value(real) : Value();
        case host::Kind::text: return text_of(object);
        case host::Kind::texts: return read_texts(object);
        case host::Kind::array: return to_public(session::borrow_array(object));
        case host::Kind::field: {
            Field field = zam::to_public(*session::borrow_field(object));
            field.xform = matrix_of(object);
            return field;
        }
        case host::Kind::objects: return read_children(object, false, depth);
        case host::Kind::group: return read_children(object, true, depth);
        default: return {};
    }
}

std::vector<Type> types_of(const std::vector<int>& codes) {
    std::vector<Type> types;
    std::transform(codes.begin(), codes.end(), std::back_inserter(types),
                   [](int code) { return static_cast<Type>(code); });
    return types;
}

}  // namespace

// --- Values as text ---

void WrittenValue::item(std::string_view text) {
    if (!std::exchange(first_, false)) text_ += ',';
    text_ += text;
}

void WrittenValue::begin(char bracket) {
    item({&bracket, 1});
    first_ = true;
}

void WrittenValue::end(char bracket) {
    text_ += bracket;
    first_ = false;
}

void WrittenValue::key(std::string_view name) {
    item(session::json_text(name));
    text_ += ':';
    first_ = true;
}

void WrittenValue::write(const Array& array) {
    arrays_.push_back(to_session(array));
    item("{\"lent\":" + std::to_string(arrays_.size() - 1) + "}");
}

void WrittenValue::write(const Value& value) {
    const auto number = [](double real) {
        std::string text;
        session::append_number(text, DTYPE_DOUBLE, &real);
        return text;
    };
    if (const auto* whole = value.get<std::int64_t>()) return item(std::to_string(*whole));
    if (const auto* real = value.get<double>()) return item(number(*real));
    if (const auto* text = value.get<std::string>()) return item(session::json_text(*text));
    if (const auto* json = value.get<Json>()) return item(json->text + "\n");  // which may end in a comment
    if (const auto* array = value.get<Array>()) return write(*array);
    if (const auto* field = value.get<Field>()) {
        begin('{');
        key("field");
        write(*field);
        return end('}');
    }
    if (const auto* group = value.get<Value::Group>()) {
        begin('{');
        const bool converted =
            std::any_of(group->begin(), group->end(), [](const auto& member) { return member.first == "convert"; });
        for (const auto& [name, member] : *group) {
            key(name);
            const auto* source = converted && name == "field" ? member.get<Field>() : nullptr;
            source ? write(*source) : write(member);
        }
        return end('}');
    }
    if (value.get<std::monostate>()) return item("null");
    begin('[');
    if (const auto* texts = value.get<std::vector<std::string>>()) {
        for (const auto& text : *texts) item(session::json_text(text));
    } else {
        for (const auto& element : *value.get<Value::List>()) write(element);
    }
    end(']');
}

void WrittenValue::write(const Component& component) {
    begin('{');
    const auto type = name_of(component.values.type());
    for (const auto& [name, value] : {std::pair<const char*, Value>{"type", type},
                                      {"veclen", component.veclen},
                                      {"label", component.label},
                                      {"units", component.units},
                                      {"id", component.id}}) {
        key(name), write(value);
    }
    if (component.null_value) key("null"), write(Value(*component.null_value));
    if (component.minimum) key("min"), write(Value(*component.minimum));
    if (component.maximum) key("max"), write(Value(*component.maximum));
    if (!component.values.empty()) key("values"), write(component.values);
    end('}');
}

void WrittenValue::write(const std::vector<Component>& components) {
    key("node_data");
    begin('[');
    for (const auto& component : components) write(component);
    end(']');
}

void WrittenValue::write(const CellSet& cells) {
    begin('{');
    key("name"), write(Value(cells.name));
    if (cells.cells > 0) key("ncells"), write(Value(cells.cells));
    if (cells.polys > 0) key("npolys"), write(Value(cells.polys));
    if (!cells.connect.empty()) key("connect"), write(cells.connect);
    if (!cells.poly_connect.empty()) key("poly_connect"), write(cells.poly_connect);
    end('}');
}

void WrittenValue::write_times(const Field& field) {
    if (field.times.empty() && field.steps.empty()) return;
    key("time");
    begin('{');
    if (!field.times.empty()) key("values"), write(Array::keep(field.times));
    key("steps");
    begin('[');
    for (const auto& step : field.steps) {
        begin('{');
        if (!step.coord.empty()) key("coord"), write(step.coord);
        write(step.data);
        end('}');
    }
    end(']');
    end('}');
}

void WrittenValue::write(const Field& field) {
    begin('{');
    if (field.nspace > 0) key("nspace"), write(Value(field.nspace));
    key("dims");
    write(Array::keep(field.dims));
    if (field.nodes > 0) key("nnodes"), write(Value(field.nodes));
    if (field.grid) {
        const auto place = static_cast<std::size_t>(*field.grid) - 1;
        if (place >= std::size(session::kGridTypeNames)) throw Error("a field has a grid type that does not exist");
        key("grid_type"), write(Value(session::kGridTypeNames[place]));
    }
    if (!field.points.empty()) key("points"), write(field.points);
    if (!field.coord.empty()) key("coord"), write(field.coord);
    if (field.xform) {
        std::string numbers;
        for (const float& number : *field.xform)
            session::append_number(numbers += numbers.empty() ? "[" : ",", DTYPE_FLOAT, &number);
        key("xform"), item(numbers + "]");
    }
    write(field.data);
    key("cell_sets");
    begin('[');
    for (const auto& cells : field.cells) write(cells);
    end(']');
    write_times(field);
    end('}');
}

// --- Results ---

Field to_public(const session::FieldValue& field) {
    Field result;
    result.grid = static_cast<GridType>(field.grid_type);
    result.nspace = field.nspace;
    result.dims.assign(field.dims.begin(), field.dims.end());
    result.nodes = field.nnodes;
    result.points = to_public(field.points);
    result.coord = to_public(field.coord);
    result.data = to_public(field.node_data);
    for (const auto& cells : field.cell_sets) {
        result.cells.push_back({.name = cells.name,
                                .connect = to_public(cells.connect),
                                .poly_connect = to_public(cells.poly_connect),
                                .cells = cells.ncells,
                                .polys = cells.npolys});
    }
    result.times = field.time_values;
    for (const auto& step : field.steps) result.steps.push_back({to_public(step.coord), to_public(step.node_data)});
    return result;
}

Value read_object(OMobj_id object) { return read_nested(object, 0); }

// --- Definitions ---

Module describe(const session::Definition& definition) {
    Module module{definition.module, definition.entry, definition.summary, definition.is_class, {}};
    for (const auto& parameter : definition.parameters) {
        Parameter one{.name = parameter.name,
                      .kind = std::string(session::kind_name(parameter.shape.kind)),
                      .direction = static_cast<Parameter::Direction>(parameter.direction),
                      .default_json = parameter.default_json,
                      .meaning = parameter.meaning,
                      .array_type = {},
                      .is_file_name = parameter.shape.file_name,
                      .range = {},
                      .choices = {},
                      .accepts = {}};
        if (const auto& range = parameter.range) one.range = Parameter::Range{range->low, range->high};
        for (const auto& choice : parameter.choices) one.choices.push_back({choice.value, choice.name});
        if (parameter.shape.array_type) one.array_type = static_cast<Type>(*parameter.shape.array_type);
        if (parameter.accepted) {
            one.accepts = Accepts{parameter.accepted->ndims, {}};
            for (const auto& comp : parameter.accepted->components)
                one.accepts->components.push_back({types_of(comp.types), comp.veclens, comp.min_veclen});
        }
        module.parameters.push_back(std::move(one));
    }
    return module;
}

// --- Public functions ---

std::size_t size_of(Type type) { return type_size(static_cast<int>(type)); }

std::string_view name_of(Type type) {
    return is_type(static_cast<int>(type)) ? type_name(static_cast<int>(type)) : "unknown";
}

Field uniform_field(std::vector<std::int64_t> dims, Array values, int veclen) {
    Field field;
    field.grid = GridType::Uniform;
    field.dims = std::move(dims);
    field.data.push_back({.values = std::move(values), .veclen = veclen});
    return field;
}

bool Outcome::good() const {
    return std::none_of(reports.begin(), reports.end(),
                        [](const Report& report) { return report.severity == Report::Severity::Error; });
}

std::string Outcome::errors() const {
    std::string text;
    for (const auto& report : reports) {
        if (report.severity != Report::Severity::Error) continue;
        if (!text.empty()) text += '\n';
        text += (report.module.empty() ? "" : report.module + ": ") + report.text;
    }
    return text;
}

const Parameter* Module::find(std::string_view parameter) const {
    const auto found =
        std::find_if(parameters.begin(), parameters.end(), [&](const Parameter& one) { return one.name == parameter; });
    return found == parameters.end() ? nullptr : &*found;
}

}  // namespace zam
