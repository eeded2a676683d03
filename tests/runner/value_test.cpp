// The forms of values, given to a module and written out again as JSON.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/runner/support.h"

namespace zam::test {
namespace {

using Json = nlohmann::json;

struct ValueCase {
    const char* name;
    std::string parameter;
    std::string value;
    std::string dump;  // of the parameter, or of what `part` names in it
    std::string part = "";
};

const std::string kIdentity = "[1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1]";

/// A field as the dump writes it, from what differs.
std::string dump(const std::string& changes) {
    Json field = Json::parse(R"({"nspace": 3, "ndim": 0, "dims": [], "nnodes": 0, "grid_type": "unstructured",
        "points": [], "coord": [], "extent": [], "node_data": [], "cell_sets": [], "xform": )" +
                             kIdentity + "}");
    field.update(Json::parse(changes));
    return field.dump();
}

std::string component(const std::string& changes) {
    Json component = Json::parse(R"({"veclen": 1, "type": "float", "label": "", "units": "", "id": 0, "min": null,
        "max": null, "null": null, "values": []})");
    component.update(Json::parse(changes));
    return component.dump();
}

const ValueCase kCases[] = {
    {"int", "int", "-7", "-7"},
    {"whole_real_as_int", "int", "3.0", "3"},
    {"real", "real", "0.1", "0.1"},
    {"real_special", "real", "\"-inf\"", "\"-inf\""},
    {"text", "text", R"("ä \"q\" \n")", R"("ä \"q\" \n")"},
    {"file", "file", "\"data/x.fld\"", "\"DIR/data/x.fld\""},
    {"file_absolute", "file", "\"/data/x.fld\"", "\"/data/x.fld\""},
    {"file_variable", "file", "\"$HOME/x.fld\"", "\"$HOME/x.fld\""},
    {"bytes", "bytes", "[0, 128, 255]", "[0, 128, 255]"},
    {"chars_either_sign", "chars", "[-1, 255, 1]", "[255, 255, 1]"},
    {"floats", "floats", "[0.1, 16777217, 1e-45, 7.038530691851209e-26, \"nan\", \"inf\"]",
     "[0.1, 16777216, 1e-45, 7.038530691851209e-26, \"nan\", \"inf\"]"},
    {"doubles", "doubles", "[0.1, 1e300, 9007199254740993]", "[0.1, 1e300, 9007199254740992]"},
    {"longs", "longs", "[9223372036854775807, -9007199254740993, 2.0]", "[9223372036854775807, -9007199254740993, 2]"},
    {"empty_array", "floats", "[]", "[]"},
    {"texts", "texts", R"(["a", "", "nan"])", R"(["a", "", "nan"])"},
    {"texts_special", "texts", R"(["nan", "inf"])", R"(["nan", "inf"])"},

    {"values_file", "floats", R"({"values_file": "f.raw", "offset": 4})", "[2.5, -1]"},
    {"values_file_count", "floats", R"({"values_file": "f.raw", "count": 1})", "[0.5]"},
    {"values_file_converted", "doubles", R"({"values_file": "f.raw", "type": "byte", "offset": 6})",
     "[32, 64, 0, 0, 128, 191]"},

    {"matrix", "transform", R"({"matrix": [1,2,3,0, 4,5,6,0, 7,8,9,0, 10,11,12,1]})",
     R"({"mat": [1,2,3,0, 4,5,6,0, 7,8,9,0, 0,0,0,1], "xlate": [10,11,12], "center": [0,0,0]})"},
    // 90 about z takes x to y, about x y to z, about y z to x
    {"rotate_z", "transform", R"({"rotate": [0, 0, 90]})", "[0,1,0,0, -1,0,0,0, 0,0,1,0, 0,0,0,1]", ".mat"},
    {"rotate_x", "transform", R"({"rotate": [90, 0, 0]})", "[1,0,0,0, 0,0,1,0, 0,-1,0,0, 0,0,0,1]", ".mat"},
    {"rotate_y", "transform", R"({"rotate": [0, 90, 0]})", "[0,0,-1,0, 0,1,0,0, 1,0,0,0, 0,0,0,1]", ".mat"},
    // x first: z goes to -y and then, about z, to x
    {"rotate_order", "transform", R"({"rotate": [90, 0, 90], "scale": 2})", "[0,2,0,0, 0,0,2,0, 2,0,0,0, 0,0,0,1]",
     ".mat"},
    {"translate", "transform", R"({"scale": 3, "translate": [1, 2, 3]})",
     R"({"mat": [3,0,0,0, 0,3,0,0, 0,0,3,0, 0,0,0,1], "xlate": [1,2,3], "center": [0,0,0]})"},
    {"three_arrays", "transform", R"({"xlate": [1, 2, 3], "center": [4, 5, 6]})",
     "{\"mat\": " + kIdentity + R"(, "xlate": [1,2,3], "center": [4,5,6]})"},

    {"short_color_table", "colors", R"({"group": {"alpha": [1, 2], "red": [3]}})", R"({"alpha": [1, 2], "red": [3]})"},
    {"datamap", "datamap", R"({"range": [-1, 2.5]})", "2.5", ".max"},
    {"group", "object", R"({"group": {"n": 3, "r": 2.5, "t": "x", "a": [1, 2.5], "i": [1, 2], "none": null,
                                      "g": {"group": {"deep": 1}}}})",
     R"({"n": 3, "r": 2.5, "t": "x", "a": [1, 2.5], "i": [1, 2], "g": {"deep": 1}})"},

    // --- fields: what is left out follows from the rest ---
    {"uniform_by_dims", "field", R"({"field": {"dims": [3, 2]}})",
     dump(R"({"nspace": 2, "ndim": 2, "dims": [3, 2], "nnodes": 6, "grid_type": "uniform", "points": [0,0,2,1],
              "extent": [[0,0],[2,1]]})")},
    {"rectilinear_by_points", "field", R"({"field": {"dims": [2, 3], "points": [0,0, 1,0, 0,0, 0,5, 0,9]}})",
     dump(R"({"nspace": 2, "ndim": 2, "dims": [2, 3], "nnodes": 6, "grid_type": "rectilinear",
              "points": [0,0, 1,0, 0,0, 0,5, 0,9], "extent": [[0,0],[1,9]]})")},
    {"structured_by_coord", "field", R"({"field": {"dims": [2], "coord": [0,0,0, 1,2,3]}})",
     dump(R"({"ndim": 1, "dims": [2], "nnodes": 2, "grid_type": "structured", "coord": [0,0,0, 1,2,3],
              "extent": [[0,0,0],[1,2,3]]})")},
    {"unstructured_by_coord", "field",
     R"({"field": {"nspace": 2, "coord": [0,0, 1,0, 0,1], "cell_sets": [{"name": "Tri", "connect": [0, 1, 2]},
         {"name": "Polyline", "poly_connect": [0, 2]}]}})",
     dump(R"({"nspace": 2, "nnodes": 3, "coord": [0,0, 1,0, 0,1], "extent": [[0,0],[1,1]], "cell_sets": [
        {"name": "Tri", "ncells": 1, "cell_nnodes": 3, "connect": [0,1,2], "poly": false, "npolys": 0, "poly_connect": []},
        {"name": "Polyline", "ncells": 0, "cell_nnodes": 2, "connect": [], "poly": true, "npolys": 1,
         "poly_connect": [0, 2]}]})")},
    {"node_data", "field",
     R"({"field": {"dims": [2], "points": [], "node_data": [
         {"type": "byte", "values": [0, 9, 200, 7], "null": 200, "label": "b", "units": "u", "id": 669},
         {"veclen": 1, "values": {"values_file": "f.raw", "type": "short"}}, {"max": 5.5, "values": [1, 2]}, {}]}})",
     dump(R"({"nspace": 1, "ndim": 1, "dims": [2], "nnodes": 2, "grid_type": "uniform", "node_data": [)" +
          component(R"({"veclen": 2, "type": "byte", "label": "b", "units": "u", "id": 669, "min": 0, "max": 9,
                        "null": 200, "values": [0, 9, 200, 7]})") +
          "," + component(R"({"type": "short", "min": 0, "max": 16128, "values": [0, 16128]})") + "," +
          component(R"({"min": 1, "max": 5.5, "values": [1, 2]})") + "," + component("{}") + "]}")},
    {"xform", "field", R"({"field": {"xform": [2,0,0,0, 0,2,0,0, 0,0,2,0, 7,8,9,1]}})", "[7, 8, 9]", ".xform.xlate"},
    {"xform_about_center", "field",
     R"({"field": {"xform": {"mat": [2,0,0,0, 0,2,0,0, 0,0,2,0, 0,0,0,1], "center": [1,1,1]}}})",
     dump(R"({"xform": [2,0,0,0, 0,2,0,0, 0,0,2,0, -1,-1,-1,1]})")},
    {"time", "field",
     R"({"field": {"dims": [1], "points": [], "time": {"values": [0.5, 1.5], "steps": [{"node_data": [{"values": [3]}]}]}}})",
     dump(R"({"nspace": 1, "ndim": 1, "dims": [1], "nnodes": 1, "grid_type": "uniform", "time": {"nsteps": 2,
         "values": [0.5, 1.5], "steps": [{"coord": [], "node_data": [)" +
          component(R"({"min": 3, "max": 3, "values": [3]})") + R"(]}, {"coord": [], "node_data": []}]}})")},
    {"fields", "fields", R"([{"field": {"dims": [2]}}, {"ref": "k.out"}])", "1", "[0].coordinates.max"},
};

void PrintTo(const ValueCase& value_case, std::ostream* stream) { *stream << value_case.value; }

class Values : public testing::TestWithParam<ValueCase> {};

TEST_P(Values, AreWrittenAsTheyWereGiven) {
    const auto& [name, parameter, value, dump, part] = GetParam();
    const Scratch scratch;
    const float floats[] = {0.5F, 2.5F, -1.0F};
    scratch.write("f.raw", {reinterpret_cast<const char*>(floats), sizeof floats});
    std::filesystem::create_directory(scratch.file("DIR"));
    scratch.write("DIR/f.raw", scratch.read("f.raw"));
    scratch.write("DIR/n.json",
                  R"({"modules": {"k": {"use": "test_kinds", "params": {")" + parameter + "\": " + value + "}}}}");
    const auto run = scratch.zam("run DIR/n.json --write v.json=k." + parameter + part);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
    const Json written = Json::parse(scratch.read("v.json"));
    EXPECT_EQ(written, Json::parse(dump)) << written.dump();

    // what was written gives the same value when it is read again
    if (parameter != "field" || !part.empty()) return;
    scratch.write("again.json",
                  R"({"modules": {"k": {"use": "test_kinds", "params": {"field": {"field_file": "v.json"}}}}})");
    EXPECT_EQ(scratch.zam("run again.json --write again_v.json=k.field").err, "");
    EXPECT_EQ(scratch.read("again_v.json"), scratch.read("v.json"));
}

INSTANTIATE_TEST_SUITE_P(Forms, Values, testing::ValuesIn(kCases), [](const auto& info) { return info.param.name; });

TEST(Curves, JoinPointsLinearly) {
    const Scratch scratch;
    const std::string network = R"({"modules": {"k": {"use": "test_kinds", "params": {"colors":
        {"preset": "heat", "alpha": [[10, 5], [20, 15], [20, 100], [250, 102]]},
        "datamap": {"range": [0, 1], "preset": "bone", "green": {"values_file": "g.raw"}}}}}})";
    scratch.write("g.raw", std::string(256, '\7'));
    ASSERT_EQ(scratch.run(network, "--write c.json=k.colors --write d.json=k.datamap").err, "");
    const Json colors = Json::parse(scratch.read("c.json"));
    const Json datamap = Json::parse(scratch.read("d.json"));
    EXPECT_EQ(colors["alpha"][0], 5);
    EXPECT_EQ(colors["alpha"][13], 8);
    EXPECT_EQ(colors["alpha"][20], 15);
    EXPECT_EQ(colors["alpha"][135], 101);
    EXPECT_EQ(colors["alpha"][255], 102);
    EXPECT_EQ(colors["red"][48], 128);  // half-way to full red at 96
    EXPECT_EQ(colors["blue"][255], 255);
    EXPECT_EQ(datamap["alpha"][0], 255);
    EXPECT_EQ(datamap["green"][200], 7);
    EXPECT_EQ(datamap["red"].size(), 256U);
}

}  // namespace
}  // namespace zam::test
