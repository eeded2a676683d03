#include "runner/graphviz.h"

#include "base/part.h"
#include "session/objects/run_error.h"

#if defined(ZAM_WITH_GRAPHVIZ)
#include <gvc.h>

#include <memory>
#endif

#if defined(__has_feature)  // clang's way of telling
#define ZAM_HAS_FEATURE(name) __has_feature(name)
#else
#define ZAM_HAS_FEATURE(name) 0
#endif

#if !defined(ZAM_IS_PART) && (defined(__SANITIZE_ADDRESS__) || ZAM_HAS_FEATURE(address_sanitizer))
// Graphviz keeps its list of plugins, and fontconfig its fonts, until the program ends; SDL what it has of a thread
// that it did not start, as zam serve's.
extern "C" const char* __lsan_default_suppressions() { return "leak:libgvc\nleak:libfontconfig\nleak:libSDL2\n"; }
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }
#endif

namespace zam::runner {

#if defined(ZAM_WITH_GRAPHVIZ)

bool can_lay_out_graphs() { return true; }

std::string graph_as_svg(const std::string& graph) {
    struct CloseGraph {
        void operator()(Agraph_t* graph) const { agclose(graph); }
    };
    // for good: its plug-in for letters still reads a font's name of the context before
    static GVC_t* const context = gvContext();
    const std::unique_ptr<Agraph_t, CloseGraph> layers(agmemread(graph.c_str()));
    session::require(context && layers, "the graph cannot be read");
    session::require(gvLayout(context, layers.get(), "dot") == 0, "the graph cannot be laid out");
    char* picture = nullptr;
    unsigned length = 0;
    const bool drawn = gvRenderData(context, layers.get(), "svg", &picture, &length) == 0 && picture;
    std::string result = drawn ? std::string(picture, length) : std::string();
    gvFreeRenderData(picture);
    gvFreeLayout(context, layers.get());
    session::require(drawn, "the graph cannot be drawn");
    return result;
}
ZAM_PART_EXPORT(graph_as_svg)

#else

namespace {

auto graph_as_svg_of_part() {
    static const auto function = part_function<decltype(graph_as_svg)>("zam_graphviz", "graph_as_svg");
    return function;
}

}  // namespace

bool can_lay_out_graphs() { return graph_as_svg_of_part() != nullptr; }

std::string graph_as_svg(const std::string& graph) {
    session::require(can_lay_out_graphs(), "there is no Graphviz");
    return graph_as_svg_of_part()(graph);
}

#endif

}  // namespace zam::runner
