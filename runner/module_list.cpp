// `zam modules`: what modules there are and what parameters they have.
#include "runner/module_list.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "base/element_types.h"
#include "runner/commands.h"
#include "runner/console.h"
#include "session/network/acceptance.h"

namespace zam::runner {

using namespace session;

namespace {

using Json = nlohmann::ordered_json;

void print(const std::string& text) { std::fputs(text.c_str(), stdout); }

std::string padded(std::string_view text, std::size_t width) {
    std::string result(text);
    result.resize(std::max(width, result.size()), ' ');
    return result + "  ";
}

/// Rows of texts with aligned columns; the last column is free.
class Table {
public:
    void add(std::vector<std::string> row) {
        widths_.resize(std::max(widths_.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths_[i] = std::max(widths_[i], row[i].size());
        rows_.push_back(std::move(row));
    }
    void write() const {
        for (const auto& row : rows_) {
            std::string line;
            for (std::size_t i = 0; i + 1 < row.size(); ++i) line += padded(row[i], widths_[i]);
            print(line + row.back() + "\n");
        }
    }

private:
    std::vector<std::vector<std::string>> rows_;
    std::vector<std::size_t> widths_;
};

std::string kind_text(const Parameter& parameter) {
    const Shape& shape = parameter.shape;
    const std::string values = describe_values(parameter);
    std::string text(kind_name(shape.kind));
    if (shape.kind == Kind::array && shape.array_type) text += " of " + std::string(type_name(*shape.array_type));
    if (!values.empty()) text += " (" + values + ")";
    return shape.file_name ? text + " (file)" : text;
}

/// What is known of a parameter's fields beside its meaning.
std::string remarks(const Parameter& parameter) {
    std::string text;
    if (parameter.accepted) text += " (takes " + describe(*parameter.accepted) + ")";
    if (parameter.origin == ImageOrigin::lower) text += " (origin lower)";
    return text;
}

void print_all(const Definitions& definitions) {
    Table table;
    for (const auto& definition : definitions.all()) {
        table.add({definition->module, definition->entry, definition->summary});
    }
    table.write();
}

void print_one(const Definition& definition) {
    print(definition.module + ": " + definition.summary + "\nuse: " + definition.entry + "\n");
    if (!definition.library.empty()) print("library: " + definition.library + "\n");
    if (definition.is_class) {
        std::string methods = "methods:";
        for (const auto& method : definition.methods) methods += " " + method.name;
        print(methods + "\n");
    }
    print("\n");
    Table table;
    table.add({"parameter", "kind", "direction", "default", "meaning"});
    for (const auto& parameter : definition.parameters) {
        table.add({parameter.name, kind_text(parameter), std::string(direction_name(parameter.direction)),
                   parameter.default_text.empty() ? "-" : parameter.default_text,
                   parameter.meaning + remarks(parameter)});
    }
    table.write();
}

}  // namespace

Json definition_file(const Definition& definition) {
    if (!definition.text.empty()) return Json::parse(definition.text);
    std::ifstream file(definition.file);
    return Json::parse(file, nullptr, true, true);  // with comments
}

int list_modules(const std::string& name, bool as_json) {
    const auto definitions = load_definitions();
    if (!definitions) return kWrong;
    if (name.empty()) {
        if (!as_json) {
            print_all(*definitions);
            return kAllWell;
        }
        Json list = Json::array();
        for (const auto& definition : definitions->all()) list.push_back(definition_file(*definition));
        print(list.dump(2) + "\n");
        return kAllWell;
    }
    const auto* definition = definitions->by_any_name(name);
    if (!definition) {
        print_error("there is no module " + name + "; see zam modules" + definitions->nearest_to(name));
        return kWrong;
    }
    if (as_json) {
        print(definition_file(*definition).dump(2) + "\n");
    } else {
        print_one(*definition);
    }
    return kAllWell;
}

}  // namespace zam::runner
