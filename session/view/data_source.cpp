// Data files: which of their arrays is shown, and which of its axes are parts of a vector and time steps.
#include <algorithm>
#include <cctype>
#include <limits>

#include "session/data/data_error.h"
#include "session/data/data_file.h"
#include "session/document/document.h"
#include "session/values/value.h"
#include "session/view/view_source.h"

namespace zam::session {
namespace {

constexpr std::size_t kMaxSpace = 3;

/// A problem without the places within a network that nobody wrote.
std::string without_places(std::string problem, const std::string& file) {
    for (const std::string& place : {file + ": ", std::string("data_file: "), file + ": "}) {
        if (problem.starts_with(place)) problem.erase(0, place.size());
    }
    return problem;
}

/// Reads a JSON text as part of a network.
/// @param name  of the text, for messages
template <class Read>
auto read_json(const std::string& name, const Json& json, Read read) {
    Problems problems;
    Environment environment{problems, {}};
    const auto document = Document::from_option(name, network_text(json));
    auto value = read(Cursor(*document, environment));
    if (problems.any()) throw ViewError(without_places(problems.lines().front(), name));
    return value;
}

/// The field that a parameter with that value would be.
FieldPointer read_field_value(const std::string& name, const Json& json) {
    Shape shape;
    shape.kind = Kind::field;
    const auto value = read_json(name, json, [&](const Cursor& cursor) { return read_value(cursor, shape); });
    const auto* field = value ? std::get_if<FieldPointer>(&value->form) : nullptr;
    return field ? *field : nullptr;
}

// --- Axes ---

xp_long value_count(const DataArray& array) {
    xp_long count = 1;
    for (const auto& axis : array.axes) count *= std::max<xp_long>(axis.size, 0);
    return count;
}

/// Axes of which the file does not say that they hold parts of vectors, or steps.
std::vector<std::size_t> free_axes(const DataArray& array) {
    std::vector<std::size_t> axes;
    for (std::size_t i = 0; i < array.axes.size(); ++i) {
        if (!array.axes[i].vector && !array.axes[i].step) axes.push_back(i);
    }
    return axes;
}

bool is_real(int type) { return type == DTYPE_FLOAT || type == DTYPE_DOUBLE; }

/// What a file leaves open about an array.
struct Axes {
    bool last_is_vector = false;
    std::optional<std::size_t> step;
    xp_long steps = 1;
    std::size_t space = 0;  // axes of the grid with more than one node
};

/// Reals whose last axis has two or three values, after two longer ones at least, are vectors; more axes than space has
/// begin with time.
Axes find_axes(const DataArray& array) {
    constexpr std::size_t kMinForVectors = 3;
    constexpr xp_long kMaxParts = 3;
    Axes axes;
    std::vector<std::size_t> open = free_axes(array);
    const auto has_flag = [&](bool DataAxis::*flag) {
        return std::any_of(array.axes.begin(), array.axes.end(), [&](const DataAxis& axis) { return axis.*flag; });
    };
    const auto is_last = [&](std::size_t axis) { return axis + 1 == array.axes.size(); };
    if (is_real(array.type) && !has_flag(&DataAxis::vector) && open.size() >= kMinForVectors && is_last(open.back())) {
        const xp_long parts = array.axes.back().size;
        const bool longer = std::all_of(open.begin(), open.end() - 1,
                                        [&](std::size_t axis) { return array.axes[axis].size > kMaxParts; });
        axes.last_is_vector = (parts == 2 || parts == kMaxParts) && longer;
        if (axes.last_is_vector) open.pop_back();
    }
    // vectors of two parts lie in a plane
    const std::size_t most = axes.last_is_vector && array.axes.back().size == 2 ? 2 : kMaxSpace;
    if (!has_flag(&DataAxis::step) && open.size() > most) {
        const auto slowest = array.x_first ? open.end() - 1 : open.begin();
        axes.step = *slowest;
        axes.steps = array.axes[*slowest].size;
        open.erase(slowest);
    }
    for (const auto& axis : array.axes) {
        if (axis.step) axes.steps = axis.size;
    }
    for (const std::size_t axis : open) axes.space += array.axes[axis].size > 1 ? 1 : 0;
    return axes;
}

bool same_shape(const DataArray& a, const DataArray& b) {
    return std::equal(a.axes.begin(), a.axes.end(), b.axes.begin(), b.axes.end(),
                      [](const DataAxis& one, const DataAxis& other) { return one.size == other.size; });
}

// --- Arrays ---

std::vector<std::string> names_of(const std::vector<const DataArray*>& arrays) {
    std::vector<std::string> names;
    names.reserve(arrays.size());
    for (const auto* array : arrays) names.push_back(array->name);
    return names;
}

std::string listed(const std::vector<DataArray>& arrays) {
    std::string text;
    for (const auto& array : arrays) text += (text.empty() ? "" : ", ") + describe(array);
    return text;
}

/// Name of an array that is wanted by name or number.
const DataArray& named(const std::vector<DataArray>& arrays, const std::string& wanted) {
    const auto found = std::find_if(arrays.begin(), arrays.end(), [&](const auto& one) { return one.name == wanted; });
    if (found != arrays.end()) return *found;
    const bool number = !wanted.empty() && wanted.size() < 10 &&
                        std::all_of(wanted.begin(), wanted.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
    const std::size_t index = number ? std::stoul(wanted) : arrays.size();
    if (index >= arrays.size()) throw ViewError("there is no array " + wanted + "; there are " + listed(arrays));
    return arrays[index];
}

/// The arrays that become the components of the field: those that are wanted, else the parts of a vector, else the
/// first of the largest.
std::vector<const DataArray*> choose(const std::vector<DataArray>& arrays, const WantedData& wanted) {
    std::vector<const DataArray*> chosen;
    for (const auto& name : wanted.vector) chosen.push_back(&named(arrays, name));
    if (!wanted.variable.empty()) chosen = {&named(arrays, wanted.variable)};
    const bool by_number = chosen.empty() && wanted.component >= 0 && arrays.size() > 1;
    if (by_number) chosen = {&named(arrays, std::to_string(wanted.component))};
    if (!chosen.empty()) return chosen;

    const DataArray* largest = nullptr;
    for (const auto& array : arrays) {
        if (array.fault.empty() && (!largest || value_count(array) > value_count(*largest))) largest = &array;
    }
    if (!largest) throw ViewError(arrays.empty() ? "the file holds no arrays" : arrays.front().fault);
    std::vector<const DataArray*> alike;
    for (const auto& array : arrays) {
        if (array.fault.empty() && same_shape(array, *largest)) alike.push_back(&array);
    }
    const Axes axes = find_axes(*largest);
    if (axes.last_is_vector) return {largest};
    for (const std::size_t part : find_vector(names_of(alike), axes.space)) chosen.push_back(alike[part]);
    return chosen.empty() ? std::vector{largest} : chosen;
}

class DataSource final : public ViewSource {
public:
    DataSource(std::string file, const std::string& name, const WantedData& wanted) : file_(std::move(file)) {
        const auto arrays = without_descriptions(data_file_kind(data_file_start(file_))->open(file_));
        const auto chosen = choose(arrays, wanted);
        const Axes axes = find_axes(*chosen.front());
        value_["data_file"] = name;
        if (chosen.size() > 1) {
            value_["variables"] = names_of(chosen);
        } else if (arrays.size() > 1 || !wanted.variable.empty()) {
            value_["variable"] = chosen.front()->name;
        }
        if (chosen.front()->name.empty()) value_.erase("variable");
        if (axes.last_is_vector) value_["vector_axis"] = -1;
        if (axes.step) value_["step_axis"] = *axes.step;
        steps_ = static_cast<int>(std::min<xp_long>(axes.steps, std::numeric_limits<int>::max()));
        if (steps_ > 1) value_["step"] = 0;
        for (const auto& array : arrays) {
            const bool shown =
                std::any_of(chosen.begin(), chosen.end(), [&](const auto* one) { return one == &array; });
            if (!shown) besides_ += (besides_.empty() ? "" : ", ") + describe(array);
        }
    }

    Json value() const override { return value_; }
    int steps() const override { return steps_; }
    std::pair<std::string, int> step_track() const override { return {".step", 0}; }
    void go_to(int step) override {
        if (steps_ > 1) value_["step"] = step;
    }
    FieldPointer field() override {
        Json value = value_;
        value["data_file"] = file_;
        return read_field_value(file_, value);
    }
    std::string besides() const override { return besides_; }
    bool has_chosen() const override { return true; }

private:
    std::string file_, besides_;
    Json value_;
    int steps_ = 1;
};

/// A field as .json outputs write it.
class DumpSource final : public ViewSource {
public:
    DumpSource(std::string file, std::string name) : file_(std::move(file)), name_(std::move(name)) {}

    Json value() const override { return {{"data_file", name_}}; }
    int steps() const override { return 1; }
    std::pair<std::string, int> step_track() const override { return {}; }
    void go_to(int /*step*/) override {}
    FieldPointer field() override { return read_field_value(file_, {{"data_file", file_}}); }

private:
    std::string file_, name_;
};

/// A name with the letter at a place changed.
std::string with_letter(std::string name, std::size_t at, char letter) {
    const bool upper = std::isupper(static_cast<unsigned char>(name[at])) != 0;
    name[at] = upper ? static_cast<char>(std::toupper(static_cast<unsigned char>(letter))) : letter;
    return name;
}

}  // namespace

std::vector<std::size_t> find_vector(const std::vector<std::string>& names, std::size_t parts) {
    const auto find = [&](const std::string& name) {
        return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
    };
    for (const std::string_view letters : {"uvw", "xyz"}) {
        for (std::size_t first = 0; first < names.size(); ++first) {
            const std::string& name = names[first];
            if (letters == "xyz" && name.size() == 1) continue;  // a coordinate
            for (std::size_t at = name.size(); at-- > 0;) {
                if (std::tolower(static_cast<unsigned char>(name[at])) != letters[0]) continue;
                std::vector<std::size_t> found{first};
                for (std::size_t part = 1; part < parts && part < letters.size(); ++part)
                    found.push_back(find(with_letter(name, at, letters[part])));
                const bool all =
                    std::all_of(found.begin(), found.end(), [&](std::size_t one) { return one < names.size(); });
                if (all && found.size() == parts && parts > 1) return found;
            }
        }
    }
    return {};
}

Conversion conversion_of(const Json& convert) {
    const auto conversion = read_json("convert", convert, read_conversion);
    return conversion.value_or(Conversion{});
}

std::unique_ptr<ViewSource> open_data_source(const std::string& file, const std::string& name,
                                             const WantedData& wanted) {
    try {
        if (!data_file_kind(data_file_start(file))) return std::make_unique<DumpSource>(file, name);
        return std::make_unique<DataSource>(file, name, wanted);
    } catch (const DataError& error) {
        throw ViewError(error.what());
    }
}

}  // namespace zam::session
