#include "session/convert/conversion.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "session/values/number_array.h"

namespace zam::session {
namespace {

std::optional<std::vector<std::variant<xp_long, std::string>>> read_components(const Cursor& cursor) {
    std::vector<std::variant<xp_long, std::string>> components;
    if (const auto* numbers = cursor.get<Numbers>()) {
        for (const auto& number : *numbers) {
            const auto* whole = std::get_if<std::int64_t>(&number);
            if (!whole || *whole < 0) break;
            components.emplace_back(*whole);
        }
        if (components.size() == numbers->size() && !components.empty()) return components;
    } else if (cursor.get<Elements>()) {
        for (std::size_t i = 0; i < cursor.array_size(); ++i) {
            const Cursor place = cursor.at(i);
            const bool number = place.get<Number>() != nullptr;
            const auto whole = number ? place.integer(0, INT_MAX) : std::nullopt;
            const auto label = number ? std::nullopt : place.text();
            if (!whole && !label) return std::nullopt;
            if (whole) components.emplace_back(*whole);
            if (label) components.emplace_back(*label);
        }
        return components;
    }
    cursor.expected("an array of components, by number or label");
    return std::nullopt;
}

/// Whole numbers of at least `low`.
std::optional<std::vector<xp_long>> read_whole_numbers(const Cursor& cursor, xp_long low) {
    const auto array = read_number_array(cursor, DTYPE_LONG);
    if (!array) return std::nullopt;
    std::vector<xp_long> values(static_cast<std::size_t>(array->count));
    const std::string error = copy_values(*array, values.data());
    const bool fits = std::all_of(values.begin(), values.end(), [&](xp_long value) { return value >= low; });
    if (error.empty() && fits && !values.empty()) return values;
    cursor.problem(error.empty() ? "whole numbers of at least " + std::to_string(low) + " are expected" : error);
    return std::nullopt;
}

std::optional<std::vector<std::array<xp_long, 2>>> read_crop(const Cursor& cursor) {
    std::vector<std::array<xp_long, 2>> crop;
    if (!cursor.get<Elements>()) {
        cursor.expected("an array of [first, last] node per axis");
        return std::nullopt;
    }
    for (std::size_t i = 0; i < cursor.array_size(); ++i) {
        const auto ends = read_whole_numbers(cursor.at(i), 0);
        if (!ends) return std::nullopt;
        if (ends->size() != 2 || (*ends)[0] > (*ends)[1]) {
            cursor.at(i).problem("the first and the last node of an axis are expected");
            return std::nullopt;
        }
        crop.push_back({(*ends)[0], (*ends)[1]});
    }
    return crop;
}

bool read_range(const Cursor& cursor, Conversion& conversion) {
    if (const auto* text = cursor.get<std::string>(); text && *text == "auto") {
        conversion.automatic_range = true;
        return true;
    }
    if (!cursor.is_array()) {
        cursor.expected("[lowest, highest] or \"auto\"");
        return false;
    }
    const auto array = read_exactly(cursor, DTYPE_DOUBLE, 2);
    if (!array) return false;
    std::array<double, 2> range{};
    std::string error = copy_values(*array, range.data());
    if (error.empty() && !(std::isfinite(range[0]) && std::isfinite(range[1])))
        error = "the ends of a range are finite";
    if (!error.empty()) cursor.problem(error);
    conversion.range = range;
    return error.empty();
}

bool is_whole_type(int type) { return type != DTYPE_FLOAT && type != DTYPE_DOUBLE; }

bool read_scaling(const Cursor& cursor, Conversion& conversion) {
    const auto range = cursor.find("range");
    const auto type_place = cursor.find("type");
    if (range && !read_range(*range, conversion)) return false;
    if (!range && !type_place) return true;
    const auto type = read_type(cursor, DTYPE_BYTE);
    if (!type) return false;
    if (range && !is_whole_type(*type)) {
        type_place->problem("a range leads to a whole type: char, byte, short, int or long");
        return false;
    }
    conversion.type = *type;
    return true;
}

}  // namespace

std::optional<Conversion> read_conversion(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"components", "vector", "crop", "resample", "magnitude", "range", "type"};
    if (!cursor.object()) return std::nullopt;
    cursor.expect_keys(kKeys);
    Conversion conversion;
    bool failed = false;
    const auto read = [&](std::string_view key, auto reader, auto& to) {
        const auto place = cursor.find(key);
        if (!place) return;
        auto value = reader(*place);
        failed = failed || !value;
        if (value) to = std::move(*value);
    };
    const auto truth = [](const Cursor& place) { return place.boolean(); };
    read("components", read_components, conversion.components);
    read("vector", truth, conversion.vector);
    read("crop", read_crop, conversion.crop);
    read(
        "resample", [](const Cursor& place) { return read_whole_numbers(place, 1); }, conversion.resample);
    read("magnitude", truth, conversion.magnitude);
    if (!read_scaling(cursor, conversion)) failed = true;
    return failed ? std::nullopt : std::optional(std::move(conversion));
}

}  // namespace zam::session
