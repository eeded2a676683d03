#include "session/view/plan_file.h"

#include <algorithm>
#include <filesystem>

#include "base/file_path.h"
#include "session/document/suggestion.h"
#include "session/values/color_tables.h"

namespace zam::session {
namespace {

namespace fs = std::filesystem;

/// The name of a file in a network that lies in another directory.
std::string name_from(const std::string& directory, const std::string& file) {
    if (directory.empty() || file_path(file).is_absolute()) return file;
    std::error_code error;
    const fs::path name = fs::relative(file_path(file), file_path(directory), error);
    return error || name.empty() ? fs::absolute(file_path(file)).string() : name.string();
}

Json to_json(const Value& value) {
    if (const auto* text = std::get_if<std::string>(&value.form)) return *text;
    if (const auto* number = std::get_if<std::int32_t>(&value.form)) return *number;
    return nullptr;
}

/// What a kind's module is given.
Json parameters(const ModuleFile& kind, FileStart file, const std::string& name) {
    file.name = name;
    Json params = Json::object();
    for (const auto& [parameter, value] : kind.parameters(file)) params[std::string(parameter)] = to_json(value);
    return params;
}

/// @param name  as the network names the file
std::unique_ptr<ViewSource> open_module_file(const FileStart& file, const ModuleFile& reader, const std::string& name,
                                             const Makers& makers) {
    const FileReader module{std::string(reader.entry), parameters(reader, file, file.name), std::string(reader.output)};
    return open_module_source(module, parameters(reader, file, name), makers.definitions, makers.library,
                              makers.listener);
}

}  // namespace

std::unique_ptr<ViewSource> open_module_file(const FileStart& file, const ModuleFile& reader, const Makers& makers) {
    return open_module_file(file, reader, file.name, makers);
}

ViewPlan plan_file(const FileStart& file, const ModuleFile* reader, const std::string& directory,
                   const ViewOptions& options, const Makers& makers) {
    const std::string name = name_from(directory, file.name);
    if (is_capture_file(file.bytes)) {
        if (!is_whole_capture(file)) throw ViewError("the file is shorter than the size at its beginning says");
        return plan_capture(name, capture_dims(file.bytes), options);
    }
    if (!reader) return plan_view(*open_data_source(file.name, name, options.data), options);
    const auto source = open_module_file(file, *reader, name, makers);
    return plan_view(*source, options);
}

/// What is wrong with the options' values; empty: nothing.
std::string fault_of(const ViewOptions& options) {
    constexpr int kMostPixels = 32767;  // per side
    if (options.size && !std::all_of(options.size->begin(), options.size->end(),
                                     [](int side) { return side >= 1 && side <= kMostPixels; }))
        return "--size: a picture has 1 to 32767 pixels per side";
    if (!options.preset.empty() && !preset_table(options.preset))
        return list_known("unknown preset " + options.preset + "; there are", options.preset, preset_names());
    if (options.opacity.empty()) return {};
    Problems problems;
    Environment environment{problems, {}};
    const auto document = Document::from_option("--opacity", options.opacity);
    read_curve(Cursor(*document, environment));
    return problems.any() ? problems.lines().front() : "";
}

}  // namespace zam::session
