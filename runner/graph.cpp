// `zam graph`: the modules of a network and how they are connected.
#include <cstdio>
#include <map>

#include "runner/commands.h"
#include "runner/console.h"
#include "runner/graphviz.h"
#include "session/document/suggestion.h"
#include "session/objects/run_error.h"
#include "session/outputs/output_file.h"

namespace zam::runner {

using namespace session;

namespace {

constexpr const char* kWide = "digraph network {\n  rankdir=LR\n";
constexpr const char* kNarrow =
    "strict digraph network {\n  bgcolor=transparent\n  nodesep=0.15\n";  // one line between two modules
constexpr const char* kStyle =
    "  node [shape=box, style=\"rounded,filled\", fillcolor=\"#eef3f8\", fontname=\"Helvetica\", fontsize=12]\n"
    "  edge [fontname=\"Helvetica\", fontsize=10, color=\"#506070\"]\n";

/// A text in quotes, with a line break for every line end.
std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
            continue;
        }
        if (c == '"' || c == '\\') result += '\\';
        result += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
    return result + "\"";
}

std::string module_node(std::size_t module) { return "m" + std::to_string(module); }

/// Writes a network in the language of Graphviz.
class Drawing {
public:
    /// @param for_page  only the modules, with ids, for a narrow place
    Drawing(const Network& network, bool for_page)
        : network_(network), for_page_(for_page), text_(std::string(for_page ? kNarrow : kWide) + kStyle) {}

    std::string text() {
        for (std::size_t i = 0; i < network_.instances.size(); ++i) add_module(i);
        for (const auto& event : network_.events) {
            if (const auto* set = std::get_if<SetEvent>(&event.what))
                add_references(set->assignments, "style=dashed, ");
            if (const auto* write = std::get_if<WriteEvent>(&event.what)) add_outputs(write->outputs);
        }
        add_outputs(network_.outputs);
        return text_ + "}\n";
    }

private:
    void add_module(std::size_t number) {
        const Instance& instance = network_.instances[number];
        const std::string& use = instance.definition->entry;
        const std::string id = for_page_ ? "id=" + quoted("module-" + instance.name) + ", " : "";
        text_ += "  " + module_node(number) + " [" + id + "label=" + quoted(instance.name + "\n" + use) + "]\n";
        add_references(instance.given, "");
    }

    /// @param style  of the lines, before their labels
    void add_references(const std::vector<Assignment>& assignments, const std::string& style) {
        for (const auto& assignment : assignments) {
            for (const auto* reference : references_in(assignment.value))
                add_line(*reference, module_node(assignment.module), style, " → " + assignment.parameter->name);
        }
    }

    void add_outputs(const std::vector<Output>& outputs) {
        if (for_page_) return;  // which has them as tabs
        for (const auto& output : outputs) {
            const auto [node, added] = files_.emplace(output.file, "f" + std::to_string(files_.size()));
            const std::string& name = node->second;
            if (added) text_ += "  " + name + " [shape=note, style=\"\", label=" + quoted(output.file) + "]\n";
            add_line(output.from, name, "", "");
            if (output.under) add_line(*output.under, name, "", " → under");
            if (output.points) add_line(*output.points, name, "", " → points");
        }
    }

    void add_line(const Reference& from, const std::string& to, const std::string& style, const std::string& behind) {
        const auto [module, parameter, rest] = split_reference(from.target);
        const auto number = network_.find(module);
        if (!number) return;
        const std::string label = for_page_ ? "" : std::string(parameter).append(rest) + behind;
        text_ += "  " + module_node(*number) + " -> " + to + " [" + style + "label=" + quoted(label) + "]\n";
    }

    const Network& network_;
    bool for_page_;
    std::string text_;
    std::map<std::string, std::string> files_;  // nodes of output files, by their names
};

}  // namespace

std::string graph_text(const Network& network, bool for_page) { return Drawing(network, for_page).text(); }

int draw_graph(const std::string& network_file, const std::string& picture) {
    const std::string ending(file_ending(picture));
    if (!picture.empty() && ending != "svg" && ending != "dot") {
        print_error("graphs are written as .svg or .dot, not as \"" + ending + "\"");
        return kWrong;
    }
    if (ending == "svg" && !can_lay_out_graphs()) {
        print_error("this build of zam has no Graphviz; graphs are written as .dot only");
        return kWrong;
    }
    const auto definitions = load_definitions();
    Problems problems;
    const auto network =
        definitions ? read_network_file(network_file, {{}, {}, true}, *definitions, problems) : std::nullopt;
    if (!network) return kWrong;
    const std::string text = graph_text(*network, false);
    try {
        OutputFile file("", picture.empty() ? std::string(kStandardOutput) : picture);
        file.write(ending == "svg" ? graph_as_svg(text) : text);
        file.commit();
    } catch (const RunError& error) {
        print_error(error.what());
        return kFailed;
    }
    return kAllWell;
}

}  // namespace zam::runner
