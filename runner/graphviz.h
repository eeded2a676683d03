// Graphs laid out by Graphviz's library, which a build may go without.
#pragma once

#include <string>

namespace zam::runner {

bool can_lay_out_graphs();

/// A graph in the language of Graphviz, UTF-8, laid out in layers, as an SVG picture. Throws RunError if the library
/// cannot lay it out. @pre  can_lay_out_graphs()
std::string graph_as_svg(const std::string& graph);

}  // namespace zam::runner
