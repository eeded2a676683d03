#include "runner/serve/state_parts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <sstream>
#include <utility>

#if !defined(_WIN32)
#include <unistd.h>
#endif

#include "runner/commands.h"
#include "runner/graphviz.h"
#include "session/network/network.h"
#include "session/network/network_reader.h"
#include "session/objects/run_error.h"
#include "session/values/color_tables.h"

namespace zam::runner {
namespace {

constexpr std::size_t kMaxValue = std::size_t{64} << 10;  // bytes of a value that pages are sent
constexpr std::size_t kClasses = 256;
constexpr std::size_t kMaxCounted = std::size_t{1} << 22;

template <class T>
Json count_typed(std::span<const T> values, std::size_t veclen, std::optional<double> null_value) {
    const std::size_t nodes = values.size() / veclen;
    const std::size_t step = std::max<std::size_t>(nodes / kMaxCounted, 1) * veclen;
    const auto counts_value = [&](T value) {
        return std::isfinite(static_cast<double>(value)) && static_cast<double>(value) != null_value;
    };
    double low = 0, high = 0;
    bool any = false;
    for (std::size_t i = 0; i < values.size(); i += step) {
        if (!counts_value(values[i])) continue;
        const auto value = static_cast<double>(values[i]);
        low = any ? std::min(low, value) : value;
        high = any ? std::max(high, value) : value;
        any = true;
    }
    std::array<std::int64_t, kClasses> counts{};
    const double scale = high > low ? static_cast<double>(kClasses) / (high - low) : 0.0;
    for (std::size_t i = 0; i < values.size(); i += step) {
        if (!counts_value(values[i])) continue;
        const double place = (static_cast<double>(values[i]) - low) * scale;
        ++counts[std::min(static_cast<std::size_t>(std::isfinite(place) ? place : 0.0), kClasses - 1)];
    }
    return {{"counts", counts}, {"min", low}, {"max", high}};
}

/// Adds what is known of a parameter's values.
void add_values(Json& json, const Parameter& parameter) {
    if (parameter.range) {
        const auto end = [](const std::optional<double>& value) { return value ? Json(*value) : Json(); };
        json["range"] = {end(parameter.range->low), end(parameter.range->high)};
    }
    for (const auto& choice : parameter.choices) json["choices"].push_back({choice.value, choice.name});
}

}  // namespace

Json problem_list(const std::string& lines) {
    Json problems = Json::array();
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        const auto colon = line.find(": ");
        const bool has_place = colon != std::string::npos;
        problems.push_back(
            {{"place", has_place ? line.substr(0, colon) : ""}, {"text", has_place ? line.substr(colon + 2) : line}});
    }
    return problems;
}

Json reports_json(const std::vector<Report>& reports) {
    const char* const kSeverities[] = {"note", "warning", "error"};
    Json list = Json::array();
    for (const auto& report : reports)
        list.push_back({{"severity", kSeverities[static_cast<int>(report.severity)]}, {"text", report.text}});
    return list;
}

Json parameter_json(const Parameter& parameter, const std::string& written) {
    const bool shown = !written.empty() && written.size() <= kMaxValue;
    const char* const kDirections[] = {"in", "out", "inout"};
    Json json{{"name", parameter.name},
              {"kind", parameter.kind},
              {"direction", kDirections[static_cast<int>(parameter.direction)]},
              {"value", shown ? Json::parse(written) : Json()},
              {"default", default_of(parameter)},
              {"meaning", parameter.meaning},
              {"file", parameter.is_file_name}};
    if (written.size() > kMaxValue) json["large"] = written.size();
    const Json& value = json["value"];
    if (value.is_object() && value.contains("ref")) json["ref"] = value["ref"];
    add_values(json, parameter);
    return json;
}

Json module_json(EditedNetwork& network, const ModuleState& state, const std::vector<Report>& reports) {
    const Module& definition = *network.modules().at(state.name);
    Json parameters = Json::array();
    for (const auto& parameter : definition.parameters) {
        parameters.push_back(parameter_json(parameter, network.written(state.name + "." + parameter.name)));
        if (parameter.kind != "transform" || state.state != ModuleState::State::Ran) continue;
        const auto fitted = network.network().fitted_transform(state.name);
        if (!fitted.empty()) parameters.back()["now"] = Json::parse(fitted);
    }
    const char* const kStates[] = {"waiting", "ran", "failed"};
    return {{"name", state.name},
            {"use", definition.name},
            {"summary", definition.summary},
            {"state", kStates[static_cast<int>(state.state)]},
            {"milliseconds", state.milliseconds},
            {"reports", reports_json(reports)},
            {"parameters", std::move(parameters)}};
}

Json output_json(const OutputEntry& entry) {
    const char* const kKinds[] = {"picture", "vector", "other"};
    return {{"name", entry.file}, {"kind", kKinds[static_cast<int>(entry.kind)]}, {"module", entry.module()}};
}

Json steps_json(const std::optional<TimeSteps>& steps) {
    if (!steps) return {};
    return {{"count", steps->count}, {"now", steps->now}};
}

Json presets_json() {
    Json presets = Json::object();
    for (const auto name : session::preset_names()) {
        const auto table = session::preset_table(name);
        if (!table) continue;
        Json& colors = presets[std::string(name)];
        for (std::size_t i = 0; i < session::kTableSize; ++i) {
            std::array<char, 8> color{};
            std::snprintf(color.data(), color.size(), "#%02x%02x%02x", unsigned{table->red[i]},
                          unsigned{table->green[i]}, unsigned{table->blue[i]});
            colors.push_back(color.data());
        }
    }
    return presets;
}

Json count_values(const Field& field) {
    if (field.data.empty() || field.data.front().values.empty()) throw Error("the field has no values");
    const Component& component = field.data.front();
    const auto veclen = static_cast<std::size_t>(std::max(component.veclen, 1));
    const auto count = [&](auto kind) {
        return count_typed(component.values.as<decltype(kind)>(), veclen, component.null_value);
    };
    switch (component.values.type()) {
        case Type::Char: return count(char{});
        case Type::Byte: return count(std::uint8_t{});
        case Type::Short: return count(std::int16_t{});
        case Type::Int: return count(std::int32_t{});
        case Type::Float: return count(float{});
        case Type::Double: return count(double{});
        case Type::Long: return count(std::int64_t{});
    }
    throw Error("the field's values are of no known type");
}

std::string graph_svg(const std::string& text, const std::string& otherwise) {
    static const auto definitions = load_definitions();
    if (!definitions || !can_lay_out_graphs()) return {};
    session::Problems problems;
    session::Document document("network", text);
    session::NetworkOptions options;
    options.without_data = true;
    if (!document.parse(problems)) return otherwise;
    const auto network = session::network_from(document, {}, options, *definitions, problems);
    if (problems.any()) return otherwise;
    static std::string drawn, picture;  // the latest: most changes leave it as it is
    try {
        const std::string graph = graph_text(network, true);
        if (graph == drawn) return picture;
        const std::string svg = graph_as_svg(graph);
        drawn = graph;
        picture = svg.substr(std::min(svg.find("<svg"), svg.size()));
        return picture;
    } catch (const session::RunError&) {
        return otherwise;
    }
}

std::int64_t resident_bytes() {
#if defined(_WIN32)
    return 0;
#else
    std::int64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;  // the second number
    return pages * sysconf(_SC_PAGESIZE);
#endif
}

}  // namespace zam::runner
