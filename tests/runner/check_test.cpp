// Networks with something wrong, and the problems that are found in them, each with its place.
#include <gtest/gtest.h>

#include <set>

#include "runner/network.h"
#include "tests/runner/support.h"

namespace zam::runner {
namespace {

struct CheckCase {
    const char* name;
    std::string network;                // with a mark ^ before each place that a problem names
    std::vector<std::string> problems;  // "^" stands for the place of the next mark
    std::vector<std::string> set = {};
};

/// A network whose only module is of kind "kinds" with these parameters.
std::string kinds(const std::string& params) {
    return R"({"modules": {"k": {"use": "test_kinds", "params": {)" + params + "}}}}";
}

/// The same with a field written in place.
std::string field(const std::string& members) { return kinds(R"("field": {"field": {)" + members + "}}"); }

/// Two modules, and events or outputs.
std::string with(const std::string& rest) {
    return "{\"modules\": {\"a\": {\"use\": \"test_add\"}, \"m\": {\"use\": \"test_make\"}},\n" + rest + "}";
}

const CheckCase kCases[] = {
    // --- JSON ---
    {"empty", "^", {"^ syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal"}},
    {"trailing_comma",
     "{\"modules\":\n  {},^}",
     {"^ syntax error while parsing object key - unexpected '}'; expected string literal"}},
    {"deep", std::string(100, '['), {":1:65: nested deeper than 64 objects and arrays"}},
    {"number_too_large", "{\"modules\": 1e99^9}", {"^ number overflow parsing '1e999'"}},
    {"duplicate_module",
     R"({"modules": {"a": {"use": "test_add"}, ^"a": {"use": "test_add"}}})",
     {"^ \"a\" is given twice"}},
    {"not_utf8",
     "{\"^\xFF\": 1}",
     {"^ syntax error while parsing object key - invalid string: ill-formed UTF-8 byte; last read: '\"?'; expected "
      "string literal"}},

    // --- structure ---
    {"array", "^[1]", {"^ an object is expected, not an array"}},
    {"no_modules", "^{}", {"^ \"modules\" is missing"}},
    {"unknown_keys",
     R"({"modules": {}, ^"event": [], ^"writes": {}})",
     {"^ event: unknown key; known here: modules events write",
      "^ writes: unknown key; known here: modules events write"}},
    {"unknown_entry",
     R"({"modules": {"a": {"use": ^"test_nothing"}, "b": ^{}}})",
     {"^ modules.a.use: there is no module entry test_nothing", "^ modules.b: \"use\" is missing"}},
    {"module_name",
     R"({"modules": {^"a.b": {"use": "test_add"}}})",
     {"^ modules.a.b: names of modules are not empty and hold no dots or brackets"}},
    {"unknown_parameter", kinds(R"(^"width": 3)"), {"^ modules.k.params.width: test_kinds has no parameter width"}},

    // --- kinds ---
    {"int_text", kinds(R"("int": ^"3")"), {"^ modules.k.params.int: a whole number is expected, not a text"}},
    {"int_fraction", kinds(R"("int": ^2.5)"), {"^ modules.k.params.int: a whole number is expected, not a fraction"}},
    {"int_range",
     kinds(R"("int": ^2147483648)"),
     {"^ modules.k.params.int: the number is outside -2147483648 to 2147483647"}},
    {"real_array", kinds(R"("real": ^[1])"), {"^ modules.k.params.real: a number is expected, not an array"}},
    {"text_number", kinds(R"("text": ^1)"), {"^ modules.k.params.text: a text is expected, not a number"}},
    {"byte_range",
     kinds(R"("bytes": ^[0, 255, 256])"),
     {"^ modules.k.params.bytes: value 2: 256 does not fit the element type byte"}},
    {"byte_nan",
     kinds(R"("bytes": ^[0, "nan"])"),
     {"^ modules.k.params.bytes: value 1: nan does not fit the element type byte"}},
    {"float_range",
     kinds(R"("floats": ^[1e39])"),
     {"^ modules.k.params.floats: value 0: 1e+39 does not fit the element type float"}},
    {"long_range",
     kinds(R"("longs": ^[9223372036854775808])"),
     {"^ modules.k.params.longs: value 0: 9223372036854775808 does not fit the element type long"}},
    {"array_of_texts",
     kinds(R"("floats": [1, ^"two"])"),
     {"^ modules.k.params.floats[1]: a number is expected, not a text"}},
    {"texts_mixed", kinds(R"("texts": ["a", ^1])"), {"^ modules.k.params.texts[1]: a text is expected, not a number"}},
    {"pointer_value",
     kinds(R"("pointer": ^1)"),
     {"^ modules.k.params.pointer: a pointer is given as {\"ref\": \"MODULE.PARAM\"} only"}},
    {"group_of_int",
     kinds(R"("int": ^{"group": {}})"),
     {"^ modules.k.params.int: a whole number is expected, not an object"}},
    {"group_member",
     kinds(R"("transform": {"group": {"mat": [1], ^"scale": 2}})"),
     {"^ modules.k.params.transform.group.scale: a transform has no sub-object of that name"}},
    {"transform_size",
     kinds(R"("transform": {"matrix": ^[1, 2, 3]})"),
     {"^ modules.k.params.transform.matrix: 16 numbers are expected, not 3"}},
    {"preset",
     kinds(R"("colors": {"preset": ^"grey"})"),
     {"^ modules.k.params.colors.preset: unknown preset; there are gray bone heat rainbow viridis"}},
    {"curve",
     kinds(R"("colors": {"alpha": [[0, 0], ^[80, 300]], "red": [[9, 1], ^[3, 1]], "green": ^[1, 2]})"),
     {"^ modules.k.params.colors.alpha[1]: a point [index, value], both from 0 to 255, is expected",
      "^ modules.k.params.colors.red[1]: the indices of a curve's points have to ascend",
      "^ modules.k.params.colors.green: a curve is 256 numbers or a list of points [index, value]"}},
    {"datamap",
     kinds(R"("datamap": ^{"preset": "gray"})"),
     {"^ modules.k.params.datamap: a datamap has a \"range\": [minimum, maximum]"}},
    {"color_list",
     kinds(R"("tints": [[1, 0, 0], ^[1, 0], ^"red", null])"),
     {"^ modules.k.params.tints[1]: 3 numbers are expected, not 2",
      "^ modules.k.params.tints[2]: an array of numbers is expected, not a text"}},
    {"color_flat",
     kinds(R"("tints": ^[1, 0, 0])"),
     {"^ modules.k.params.tints: an array of colours [red, green, blue] is expected, not an array"}},
    {"datamap_list",
     kinds(R"("datamaps": [null, ^{"preset": "gray"}, ^3.5])"),
     {"^ modules.k.params.datamaps[1]: a datamap has a \"range\": [minimum, maximum]",
      "^ modules.k.params.datamaps[2]: an object is expected, not a number"}},

    // --- fields ---
    {"no_field",
     kinds(R"("field": ^3)"),
     {"^ modules.k.params.field: a field is given as {\"ref\": ...}, {\"field\": {...}} or {\"field_file\": "
      "\"NAME\"}"}},
    {"values_short",
     field(R"("dims": [2, 3], "node_data": [{"veclen": 2, "values": ^[1, 2, 3]}])"),
     {"^ modules.k.params.field.field.node_data[0].values: values holds 3 numbers, not 12"}},
    {"dims_overflow",
     field(R"("dims": ^[4294967296, 4294967296])"),
     {"^ modules.k.params.field.field.dims: dimensions are at least 0, and their product is at most 2^50"}},
    {"dims_negative",
     field(R"("dims": ^[-1])"),
     {"^ modules.k.params.field.field.dims: dimensions are at least 0, and their product is at most 2^50"}},
    {"nnodes",
     field(R"("dims": [4], "nnodes": ^5)"),
     {"^ modules.k.params.field.field.nnodes: the dimensions make 4 nodes"}},
    {"points",
     field(R"("dims": [4, 4], "points": ^[0, 0, 3])"),
     {"^ modules.k.params.field.field.points: points holds 3 numbers, not 4"}},
    {"coord",
     field(R"("dims": [2], "nspace": 3, "coord": ^[1, 2, 3, 4])"),
     {"^ modules.k.params.field.field.coord: coord holds 4 numbers, not 6"}},
    {"cells",
     field(R"("coord": [0, 0, 0], "cell_sets": [{"name": "Tri", "connect": ^[0, 0]}, {"name": ^"Cube"}])"),
     {"^ modules.k.params.field.field.cell_sets[0].connect: connect holds 2 numbers, not 3 for each of 0",
      "^ modules.k.params.field.field.cell_sets[1].name: a cell set is one of Point Line Tri Quad Tet Hex Prism "
      "Pyr Polyline Polyhedron"}},
    {"many_dims",
     field(R"("dims": ^[1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1])"),
     {"^ modules.k.params.field.field.dims: more than 10 dimensions"}},

    // --- files ---
    {"values_file",
     kinds(R"("floats": {"values_file": ^"none.raw", "count": 1000000000000000000})"),
     {"^ modules.k.params.floats.values_file: the file DIR/none.raw does not exist"}},
    {"values_file_short",
     kinds(R"("floats": {"values_file": ^"ten.raw", "offset": 2, "count": 1000000000000000000})"),
     {"^ modules.k.params.floats.values_file: DIR/ten.raw holds 2 values of type float from byte 2 on"}},
    {"values_file_offset",
     kinds(R"("floats": {"values_file": ^"ten.raw", "offset": 11})"),
     {"^ modules.k.params.floats.values_file: DIR/ten.raw holds 0 values of type float from byte 11 on"}},
    {"values_file_device",
     kinds(R"("floats": {"values_file": ^"/dev/zero"})"),
     {"^ modules.k.params.floats.values_file: /dev/zero is not a file of values"}},
    {"field_file",
     kinds(R"("field": {"field_file": ^"none.json"})"),
     {"DIR/none.json: cannot open the file",
      "^ modules.k.params.field.field_file: no field can be read from DIR/none.json"}},

    // --- references ---
    {"ref_to_nothing",
     kinds(R"("field": {"ref": ^"x.out"}, "real": {"ref": ^"k.nothing"}, "int": {"ref": ^"k"})"),
     {"^ modules.k.params.field.ref: there is no module x",
      "^ modules.k.params.real.ref: test_kinds has no parameter nothing",
      "^ modules.k.params.int.ref: a reference names a parameter, as MODULE.PARAM"}},
    {"ref_to_absent",
     kinds(R"("real": {"ref": ^"k.int"}, "field": {"ref": ^"k.out"}, "out": null)"),
     {"^ modules.k.params.real.ref: k.int does not exist: it has no value and no default",
      "^ modules.k.params.field.ref: k.out does not exist: it has no value and no default"}},
    {"ref_kind",
     kinds(R"("text": {"ref": ^"k.out"}, "trigger": {"ref": "k.out"})"),
     {"^ modules.k.params.text.ref: k.out is of kind field, not text"}},
    {"ref_part",
     kinds(R"("real": {"ref": ^"k.int.x"}, "int": 1)"),
     {"^ modules.k.params.real.ref: k.int, of kind int, has no part .x"}},
    {"ref_to_itself",
     kinds(R"("real": ^{"ref": "k.int"}, "int": ^{"ref": "k.real"})"),
     {"^ modules.k.params.real: the reference leads back to itself",
      "^ modules.k.params.int: the reference leads back to itself"}},
    {"circle",
     R"({"modules": {"a": ^{"use": "test_add", "params": {"a": {"ref": "c.sum"}}},
                     "b": {"use": "test_add", "params": {"a": {"ref": "a.sum"}}},
                     "c": {"use": "test_add", "params": {"a": {"ref": "b.sum"}}}}})",
     {"^ modules.a: the references go in a circle: a -> c -> b -> a"}},

    // --- events and outputs ---
    {"event_circle",
     with(R"("events": [{"set": {"a.a": {"ref": "m.size"}}}, ^{"set": {"m.size": {"ref": "a.sum"}}}])"),
     {"^ events[1]: the references go in a circle: a -> m -> a"}},
    {"event_keys",
     with(R"("events": [^{"set": {}, "run": "a"}, {^"play": 1}, ^3])"),
     {"^ events[0]: an event is an object with one key",
      "^ events[1].play: unknown event; there are set run call write joystick advance unlink",
      "^ events[2]: an object is expected, not a number"}},
    {"event_targets",
     with(
         R"("events": [{"set": {"b.a": ^1, "a.c": ^1, "a.a.b": ^1, "a.a": ^"x"}}, {"run": ["a", ^"z"]}, {"unlink": ^"a.z"}])"),
     {"^ events[0].set.b.a: there is no module b", "^ events[0].set.a.c: test_add has no parameter c",
      "^ events[0].set.a.a.b: values are given to whole parameters, as MODULE.PARAM",
      "^ events[0].set.a.a: a whole number is expected, not a text", "^ events[1].run[1]: there is no module z",
      "^ events[2].unlink: test_add has no parameter z"}},
    {"event_call",
     with(R"("events": [{"call": {"module": "a", "entry": ^"system"}}, {"call": ^{"module": "a"}}])"),
     {"^ events[0].call.entry: there is no entry system",
      "^ events[1].call: a call names a \"module\" and an \"entry\""}},
    {"joystick",
     with(R"("events": [{"joystick": {"id": ^3, "x": ^65536, ^"w": 1}}, {"advance": ^-1}])"),
     {"^ events[0].joystick.id: the number is outside 1 to 2",
      "^ events[0].joystick.x: the number is outside 0 to 65535",
      "^ events[0].joystick.w: unknown key; known here: id x y z r u v pov buttons",
      "^ events[1].advance: the number is outside 0 to 86400000"}},
    {"outputs",
     with(R"("write": {"a.bmp": ^"m.out", "b": ^"m.out", "c.png": ^"n.out", "d.png": ^{"alpha": ^1, ^"comp": 2}})"),
     {"^ write.a.bmp: files end in .png .svg .json .raw .vti .vtr .vts or .vtu, not in \"bmp\"",
      "^ write.b: files end in .png .svg .json .raw .vti .vtr .vts or .vtu, not in \"\"",
      "^ write.c.png: there is no module n", "^ write.d.png: \"from\" is missing",
      "^ write.d.png.alpha: true or false is expected, not a number",
      "^ write.d.png.comp: unknown key; known here: from alpha background"}},
    {"background",
     with(R"("write": {"c.png": {"from": "m.out", "background": ^[0, 0, 255]}})"),
     {"^ write.c.png.background: a colour is [red, green, blue], each from 0 to 1"}},

    // --- options ---
    {"options",
     with("\"write\": {}"),
     {"--set a.a=x: a whole number is expected, not a text", "--set z.a=1: there is no module z",
      "--set a.a: the form is --set MODULE.PARAM=VALUE"},
     {"a.a=x", "z.a=1", "a.a"}},
};

/// The network as zam reads it, and the problems with the places of the marks.
std::pair<std::string, std::multiset<std::string>> without_marks(const CheckCase& test_case) {
    std::string network;
    std::vector<std::string> places;
    int line = 1;
    int column = 1;
    for (const char c : test_case.network) {
        if (c == '^') {
            places.push_back(":" + std::to_string(line) + ":" + std::to_string(column) + ":");
            continue;
        }
        network += c;
        column = c == '\n' ? 1 : column + 1;
        line += c == '\n' ? 1 : 0;
    }
    std::multiset<std::string> problems;
    auto place = places.begin();
    for (std::string problem : test_case.problems) {
        if (problem.starts_with("^")) problem.replace(0, 1, place == places.end() ? "no mark" : *place++);
        problems.insert(problem);
    }
    return {network, problems};
}

void PrintTo(const CheckCase& check_case, std::ostream* stream) { *stream << check_case.network; }

class Check : public testing::TestWithParam<CheckCase> {};

TEST_P(Check, FindsTheProblems) {
    const test::Scratch scratch;
    scratch.write("ten.raw", "0123456789");
    auto [network, expected] = without_marks(GetParam());
    const std::string file = scratch.write("n.json", network);
    Problems problems;
    const auto definitions = Definitions::load(ZAM_TEST_MODULES, problems);
    ASSERT_FALSE(problems.any()) << problems.lines().front();
    load_network(file, {GetParam().set, {}}, definitions, problems);

    std::vector<std::string> found;
    for (std::string line : problems.lines()) {
        if (line.starts_with(file)) line.erase(0, file.size());
        for (auto at = line.find(scratch.file("")); at != std::string::npos; at = line.find(scratch.file(""))) {
            line.replace(at, scratch.file("").size(), "DIR/");
        }
        found.push_back(line);
    }
    EXPECT_EQ(std::multiset<std::string>(found.begin(), found.end()), expected);
}

INSTANTIATE_TEST_SUITE_P(Networks, Check, testing::ValuesIn(kCases), [](const auto& info) { return info.param.name; });

// Files that are hostile in size end with one message, soon and in bounded memory.
TEST(Check, HostileSizes) {
    const test::Scratch scratch;
    const std::string long_line = "{\"modules\": \"" + std::string(10'000'000, 'x') + "\"}";
    const std::string many = "[" + std::string(9'000'000, '[') + "]";
    std::string values = "{\"modules\": [[]";
    for (int i = 0; i < 4'000'001; ++i) values += ",[]";
    std::string unpacked = "{\"modules\": [0";
    for (int i = 0; i < 4'000'001; ++i) unpacked += ",0";
    for (const std::string& text :
         {long_line, many, values + "]}", unpacked + ",\"x\"]}", std::string("{\"modules\": \"\0\"}", 16)}) {
        Problems problems;
        load_network(scratch.write("n.json", text), {}, {}, problems);
        EXPECT_EQ(problems.count(), 1U);
        EXPECT_LT(problems.lines().at(0).size(), 500U);
    }
}

struct DefinitionCase {
    const char* name;
    std::string definition;
    std::vector<std::string> problems;
};

const DefinitionCase kDefinitionCases[] = {
    {"members",
     "{}",
     {"\"module\" is missing", "\"entry\" is missing", "\"summary\" is missing", "\"parameters\" is missing"}},
    {"parameter",
     R"({"module": "m", "entry": "e", "summary": "s", "parameters": [
        {"name": "a", "kind": "number", "direction": "through", "meaning": "-"},
        {"name": "a", "kind": "int", "type": "byte", "file": true, "direction": "in", "default": "x", "meaning": "-"}]})",
     {"parameters[0].kind: unknown kind", "parameters[0].direction: a direction is in, out or inout",
      "parameters[1].type: only arrays have an element type", "parameters[1].file: only texts are file names",
      "parameters[1].default: a whole number is expected, not a text", "parameters[1]: this name is given twice"}},
    {"entries",
     R"({"module": "m", "entry": "e", "summary": "s", "parameters": [],
         "entries": {"set_params": {"name": "f", "on": ["b"]}, "delete": 3}})",
     {"entries.set_params.on: there is no parameter b", "entries.delete: a text is expected, not a number"}},
    {"class",
     R"({"module": "m", "class": "C", "summary": "s", "parameters": [], "update": "go", "entries": {},
         "methods": [{"name": "run", "on": ["a"], "at_start": 1, "off": 0}, 5]})",
     {"entries: unknown key; known here: module class summary update methods parameters",
      "methods[0].off: unknown key; known here: name on at_start", "methods[0].on: there is no parameter a",
      "methods[0].at_start: true or false is expected, not a number", "methods[1]: an object is expected, not a number",
      "\"update\" names no method"}},
    {"class_without_methods",
     R"({"module": "m", "class": "C", "summary": "s", "parameters": []})",
     {"\"methods\" is missing"}},
};

TEST(Classes, HaveTheirMethodsCalled) {
    const test::Scratch scratch;
    Problems problems;
    Definitions definitions;
    definitions.add(scratch.write("d.json", R"({"module": "m", "class": "C", "summary": "s", "parameters": [],
        "update": "go", "methods": [{"name": "go"}]})"),
                    problems);
    const auto file = scratch.write("n.json", R"({"modules": {"c": {"use": "C"}}, "events": [
        {"call": {"module": "c", "entry": "go"}}, {"call": {"module": "c", "entry": "C_go"}},
        {"call": {"module": "c", "entry": "C"}}]})");
    const Network network = load_network(file, {}, definitions, problems);
    ASSERT_EQ(problems.count(), 1U);
    EXPECT_TRUE(problems.lines()[0].ends_with("events[2].call.entry: C has no method C")) << problems.lines()[0];
    ASSERT_EQ(network.events.size(), 2U);
    for (const auto& event : network.events) EXPECT_EQ(std::get<CallEvent>(event.what).entry, "go");
}

TEST(DefinitionFiles, AreChecked) {
    for (const auto& test_case : kDefinitionCases) {
        const test::Scratch scratch;
        Problems problems;
        Definitions definitions;
        definitions.add(scratch.write("d.json", test_case.definition), problems);
        ASSERT_EQ(problems.count(), test_case.problems.size()) << test_case.name;
        for (std::size_t i = 0; i < problems.count(); ++i) {
            EXPECT_TRUE(problems.lines()[i].ends_with(": " + test_case.problems[i])) << problems.lines()[i];
        }
        EXPECT_TRUE(definitions.all().empty());
    }
}

}  // namespace
}  // namespace zam::runner
