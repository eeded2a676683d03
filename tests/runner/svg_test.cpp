// Vector graphics of lines and points, by their text.
#include <gtest/gtest.h>

#include "tests/runner/support.h"

namespace zam::test {
namespace {

/// A network with three fields: of lines, of points and an image.
std::string with_fields(const std::string& lines, const std::string& points) {
    const auto module = [](const std::string& name, const std::string& field) {
        return "\"" + name + R"(": {"use": "test_kinds", "params": {"field": {"field": {)" + field + "}}}}";
    };
    return "{\"modules\": {" + module("l", lines) + "," + module("p", points) + "," +
           module("i", R"("dims": [3, 2], "points": [0, 0, 2, 1], "node_data": [{"type": "byte", "veclen": 4,
               "values": [255,1,2,3, 255,1,2,3, 255,1,2,3, 255,1,2,3, 255,1,2,3, 255,1,2,3]}])") +
           "}}";
}

struct SvgCase {
    const char* name;
    std::string lines, points, options;
    std::vector<std::string> texts;  // in this order
};

const SvgCase kCases[] = {
    {"lines that follow each other are one path",
     R"("nspace": 3, "coord": [0,0,9, 4,0,9, 4,2.5,9, 1e-7,50,9, 100,0,9], "cell_sets": [
        {"name": "Line", "connect": [0, 1, 1, 2, 3, 4]}])",
     "",
     "",
     {"viewBox=\"-4 -54 108 58\"", "<path d=\"M0 0L4 0L4 -2.5\"/>", "<path d=\"M1e-07 -50L100 0\"/>", "</svg>\n"}},
    {"polylines, and gaps where coordinates are no numbers",
     R"("nspace": 2, "coord": [0,0, 1,1, "nan",2, 3,3, 4,"inf", 5,5, 6,6, 7,8], "cell_sets": [
        {"name": "Polyline", "poly_connect": [0, 3, 5, 7]}])",
     "",
     "",
     {"<path d=\"M0 0L1 -1\"/>\n<path d=\"M5 -5L6 -6L7 -8\"/>\n</g>"}},
    {"where a path has been it is not drawn again",
     R"("nspace": 2, "coord": [0,0, 1.5,0, 0,0, 1.5,0, 4000,0], "cell_sets": [{"name": "Polyline", "poly_connect": [0, 4]}])",
     "",
     "",
     {"<path d=\"M0 0L1.5 0L0 0M1.5 0L4000 0\"/>"}},
    {"labels are texts",
     "",
     R"("nspace": 2, "coord": [1,2, 3,4, 5,"nan", 6,7], "node_data": [{"type": "char", "veclen": 2,
        "values": [83,80, 60,38, 65,65, 7,0]}])",
     R"(, "points": "p.field")",
     {"<circle cx=\"1\" cy=\"-2\"", "<circle cx=\"3\" cy=\"-4\"", "<circle cx=\"6\" cy=\"-7\"", ">SP</text>",
      ">&lt;&amp;</text>", ">?</text>\n</g>\n</svg>"}},
    {"an image's pixels lie round their nodes",
     R"("nspace": 2, "coord": [0,0, 2,1], "cell_sets": [{"name": "Line", "connect": [0, 1]}])",
     "",
     R"(, "under": "i.field")",
     {"viewBox=\"-0.62 -1.62 3.24 2.24\"",
      "<image transform=\"scale(1 -1)\" preserveAspectRatio=\"none\" x=\"-0.5\" y=\"-0.5\" width=\"3\" height=\"2\" "
      "xlink:href=\"data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAMAAAACCAI",
      "\"/>\n<g", "<path d=\"M0 0L2 -1\"/>"}},
    {"nothing at all", "", "", "", {"viewBox=\"-0.54 -0.54 1.08 1.08\"", "</svg>\n"}},
};

TEST(Svg, Texts) {
    for (const auto& c : kCases) {
        const Scratch scratch;
        const auto run =
            scratch.run(with_fields(c.lines, c.points), R"(--write 'f.svg={"from": "l.field")" + c.options + "}'");
        ASSERT_EQ(run.err, "") << c.name;
        const std::string file = scratch.read("f.svg");
        std::size_t at = 0;
        for (const auto& text : c.texts) {
            at = file.find(text, at);
            ASSERT_NE(at, std::string::npos) << c.name << ": " << text << "\n" << file;
        }
        EXPECT_EQ(file.find("nan"), std::string::npos) << c.name;
        EXPECT_EQ(file.find("inf"), std::string::npos) << c.name;
    }
}

TEST(Svg, RefusedWithAReason) {
    const struct {
        std::string lines, options, why;
    } cases[] = {
        {R"("coord": [0,0,0], "cell_sets": [{"name": "Line", "connect": [0, 1]}])", "", "a line refers to node 1"},
        {R"("coord": [0,0,0], "cell_sets": [{"name": "Tri", "connect": [0, 0, 0]}])", "",
         "only lines and points are written as .svg"},
        {R"("dims": [2, 2])", "", "lines and points of .svg files have coordinates of two or three components"},
        {"", R"(, "under": "p.field")", "an image field has two dimensions of at least 1"},
    };
    for (const auto& c : cases) {
        const Scratch scratch;
        const auto run =
            scratch.run(with_fields(c.lines, ""), R"(--write 'f.svg={"from": "l.field")" + c.options + "}'");
        EXPECT_EQ(run.err, "zam: error: f.svg: " + c.why + "\n");
        EXPECT_FALSE(scratch.has("f.svg"));
    }
    const Scratch scratch;
    EXPECT_EQ(scratch.run(with_fields("", ""), R"(--write 'f.svg={"from": "l.field", "under": "x.y"}')").status, 2);
}

}  // namespace
}  // namespace zam::test
