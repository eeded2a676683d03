// Whole runs of the program: order, events, reports, the record of calls, exit status.
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "tests/runner/support.h"

namespace zam::test {
namespace {

using Json = nlohmann::json;

/// The record of calls in short: "update NAME", "call NAME ENTRY", one word a line of the log.
std::string story(const std::string& log) {
    std::istringstream lines(log);
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        const Json event = Json::parse(line);
        if (event["event"] != "update") continue;
        const std::string entry = event["entry"];
        const std::size_t suffix = entry.find('_', sizeof "test_");
        text += text.empty() ? "" : " ";
        text +=
            event["module"].get<std::string>() + (suffix == std::string::npos ? "" : ":" + entry.substr(suffix + 1));
    }
    return text;
}

struct StoryCase {
    const char* name;
    std::string network;
    std::string story;  // calls of modules, with :entry where it is not the update
    std::string dumps;  // of the modules' parameters named in the write section, in its order
};

// a <- b <- c by references, written in another order; d is by itself.
const std::string kModules = R"({"modules": {
    "c": {"use": "test_add", "params": {"a": {"ref": "b.sum"}}},
    "d": {"use": "test_add", "params": {"a": 100, "b": 1}},
    "b": {"use": "test_add", "params": {"a": {"ref": "a.sum"}, "b": 10}},
    "a": {"use": "test_add", "params": {"b": 5}}},)";
// what ends every such run: deletion, the last module first
const std::string kEnding = " a:delete b:delete d:delete c:delete";
const std::string kFirst = "d:set_params d a:set_params a b:set_params b c";

const StoryCase kStories[] = {
    {"order", kModules + R"("write": {"1.json": "c.sum", "2.json": "d.sum", "3.json": "a.changed"}})", kFirst + kEnding,
     R"(16 101 "set_params ab;")"},
    {"set_runs_what_is_affected", kModules + R"("events": [{"set": {"b.a": 1}}, {"set": {"d.go": 1, "a.a": 2}}],
        "write": {"1.json": "c.sum", "2.json": "b.changed"}})",
     kFirst + " b c d a" + kEnding, R"(11 "set_params ab;a;")"},
    {"set_calls_set_params", kModules + R"("events": [{"set": {"a.b": 6}}], "write": {"1.json": "c.sum"}})",
     kFirst + " a:set_params a b c" + kEnding, "17"},
    {"trigger_with_the_same_value", kModules + R"("events": [{"set": {"c.go": 0}}], "write": {"1.json": "c.changed"}})",
     kFirst + " c" + kEnding, R"("a;;")"},
    {"run_calls_the_update_only", kModules + R"("events": [{"run": ["b", "a"]}, {"run": "a"}],
        "write": {"1.json": "b.changed"}})",
     kFirst + " b a a" + kEnding, R"("set_params ab;;")"},
    {"call",
     kModules + R"("events": [{"call": {"module": "a", "entry": "test_add_delete"}}], "write": {"1.json": "a.sum"}})",
     kFirst + " a:delete" + kEnding, "6"},
    {"write_at_a_moment", kModules + R"("events": [{"write": {"1.json": "c.sum"}}, {"set": {"a.a": 3}}],
        "write": {"2.json": "c.sum"}})",
     kFirst + " a b c" + kEnding, "16 18"},
    {"unlink_runs_nothing", kModules + R"("events": [{"unlink": "b.b"}, {"set": {"d.a": 1}}, {"set": {"b.go": 1}}],
        "write": {"1.json": "b.sum", "2.json": "c.sum"}})",
     kFirst + " d b c" + kEnding, "6 6"},
    {"null_takes_away", kModules + R"("events": [{"set": {"b.b": null}}], "write": {"1.json": "b"}})",
     kFirst + " b:set_params b c" + kEnding, R"({"a": 6, "changed": "set_params ab;set_params ;", "go": 0, "sum": 6})"},
    {"set_changes_the_order", kModules + R"("events": [{"set": {"a.a": {"ref": "d.sum"}}}, {"set": {"d.a": 0}}],
        "write": {"1.json": "c.sum"}})",
     kFirst + " a b c d a b c" + kEnding, "16"},
    {"value_replaces_a_reference", kModules + R"("events": [{"set": {"c.a": 1}}, {"set": {"a.a": 9}}],
        "write": {"1.json": "c.sum", "2.json": "b.sum"}})",
     kFirst + " c a b" + kEnding, "1 24"},
    {"parts_are_looked_up_anew",
     R"({"modules": {"k": {"use": "test_kinds", "params": {"real": {"ref": "m.out.coordinates.max"}}},
                     "m": {"use": "test_make", "params": {"size": 5}}},
         "events": [{"write": {"1.json": "k.real"}}, {"set": {"m.size": 9}}], "write": {"2.json": "k.real"}})",
     "m k m k", "4 8"},
    {"elements",
     R"({"modules": {"k": {"use": "test_kinds", "params": {"fields": [{"ref": "c.list[0]"}, {"ref": "c.list[1]"}]}},
                     "c": {"use": "test_collect", "params": {"list": [{"field": {"dims": [7]}}]}}},
         "write": {"1.json": "c.list[1]", "2.json": "k.fields[1].coordinates"}})",
     "c k", R"({"cell_sets": [], "coord": [], "dims": [], "extent": [], "grid_type": "unstructured", "ndim": 0,
                "nnodes": 2, "node_data": [], "nspace": 0, "points": [],
                "xform": [1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1]} {"max": null, "min": null})"},
    {"advance",
     R"({"modules": {"t": {"use": "test_tick"}, "s": {"use": "test_add", "params": {"a": {"ref": "t.ticks"}}}},
         "events": [{"advance": 9}, {"advance": 26}], "write": {"1.json": "t.ticks", "2.json": "s.sum"}})",
     "t s s s:delete", "3 3"},
};

void PrintTo(const StoryCase& story_case, std::ostream* stream) { *stream << story_case.name; }

class Stories : public testing::TestWithParam<StoryCase> {};

TEST_P(Stories, Run) {
    const Scratch scratch;
    const auto run = scratch.run(GetParam().network, "--log log --output-dir out/deep");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(story(scratch.read("log")), GetParam().story);
    std::string dumps;
    for (int i = 1; scratch.has("out/deep/" + std::to_string(i) + ".json"); ++i) {
        dumps += Json::parse(scratch.read("out/deep/" + std::to_string(i) + ".json")).dump() + " ";
    }
    std::string expected;
    std::istringstream in(GetParam().dumps);
    for (Json value; in.peek() != EOF && (in >> value); in >> std::ws) expected += value.dump() + " ";
    EXPECT_EQ(dumps, expected);
}

INSTANTIATE_TEST_SUITE_P(Networks, Stories, testing::ValuesIn(kStories),
                         [](const auto& info) { return info.param.name; });

// --- Reports ---

struct ReportCase {
    const char* name;
    std::string params;
    int status;
    std::string err;
    std::string log;  // the report's line
};

const ReportCase kReports[] = {
    {"error", R"("text": "went wrong\n")", 1, "zam: r: error: went wrong\n",
     R"({"event":"report","module":"r","call":"ERRverror","label":"Label","flags":96,"text":"went wrong\n"})"},
    {"two_line_ends", R"("text": "a\nb\n\n")", 1, "zam: r: error: a\nb\n\n",
     R"({"event":"report","module":"r","call":"ERRverror","label":"Label","flags":96,"text":"a\nb\n\n"})"},
    {"warning", R"("how": "error", "flags": 16, "text": "look")", 0, "zam: r: warning: look\n",
     R"({"event":"report","module":"r","call":"ERRerror","label":"label","flags":16,"text":"look"})"},
    {"error_by_other_flags", R"("how": "error", "text": "bad")", 1, "zam: r: error: bad\n",
     R"({"event":"report","module":"r","call":"ERRerror","label":"label","flags":2,"text":"bad"})"},
    {"memory", R"("how": "memory", "text": "no room")", 1, "zam: r: error: no room\n",
     R"({"event":"report","module":"r","call":"ERRout_of_memory","label":"","flags":0,"text":"no room"})"},
    {"silent_failure", R"("how": "silent")", 0, "",
     R"({"event":"result","module":"r","entry":"test_report","result":0})"},
};

TEST(Reports, BecomeMessagesStatusAndLog) {
    for (const auto& report : kReports) {
        const Scratch scratch;
        const auto run = scratch.run(R"({"modules": {"r": {"use": "test_report", "params": {)" + report.params + "}}}}",
                                     "--log log");
        EXPECT_EQ(run.status, report.status) << report.name;
        EXPECT_EQ(run.err, report.err) << report.name;
        EXPECT_EQ(run.out, "before\nc++ before\nafter\n") << report.name;
        EXPECT_NE(scratch.read("log").find("\n" + report.log + "\n"), std::string::npos) << scratch.read("log");
    }
}

TEST(Reports, StandToWhatModulesPrintAsTheyHappened) {
    const Scratch scratch;
    scratch.write("n.json", R"({"modules": {"r": {"use": "test_report"}, "s": {"use": "test_report"}}})");
    const auto run = scratch.zam("run n.json", ">.out 2>&1");
    EXPECT_EQ(run.out,
              "before\nc++ before\nzam: r: error: went wrong\nafter\n"
              "before\nc++ before\nzam: s: error: went wrong\nafter\n");
}

TEST(Reports, StatusLines) {
    const Scratch scratch;
    scratch.run(R"({"modules": {"t": {"use": "test_tick"}}})", "--log log");
    EXPECT_EQ(scratch.read("log"), R"({"event":"update","module":"t","entry":"test_tick"}
{"event":"status","module":"t","percent":50,"text":null,"range":[50,100]}
{"event":"status","module":"t","percent":100,"text":"<idle>","range":[0,100]}
{"event":"result","module":"t","entry":"test_tick","result":1}
)");
}

// --- The command line ---

const char* const kScale = R"({"modules": {"s": {"use": "test_scale", "params": {"values": [1, 2]}}},
                               "write": {"s.raw": "s.scaled"}})";

struct CommandCase {
    std::string options;
    int status;
    std::string err;
    std::string scaled;  // what s.raw holds
};

TEST(CommandLine, OptionsOfRun) {
    const float two_four[] = {2.0F, 4.0F};
    const float seven[] = {21.0F};
    const std::string doubled(reinterpret_cast<const char*>(two_four), sizeof two_four);
    const std::string tripled(reinterpret_cast<const char*>(seven), sizeof seven);
    const CommandCase cases[] = {
        {"", 0, "", doubled},
        {"--quiet --set s.values=[7] --set s.factor=3", 0, "", tripled},
        {"--write s.raw=s.values --set 's.values={\"ref\": \"s.scaled\"}'", 0, "", ""},
        {"--fail-allocation 1", 1, "zam: s: error: scaled array is not allocated\n", ""},
        {"--fail-allocation 2", 0, "", doubled},
        {"--set s.factor=null --write s.raw=s.scaled", 0, "", doubled},
        {"--write t.png=s.scaled", 1, "zam: error: t.png: only image fields are written as .png\n", doubled},
        {"--output-dir n.json", 1, "zam: error: s.raw: cannot make the directory of n.json/s.raw: Not a directory\n",
         ""},
        {"--set s.none=1", 2, "--set s.none=1: test_scale has no parameter none\n", ""},
        {"--set s.factor=many", 2, "--set s.factor=many: a whole number is expected, not a text\n", ""},
        {"--write x=s.scaled", 2,
         "--write x=s.scaled: files end in .png .svg .json .raw .vti .vtr .vts or .vtu, not in \"\"\n", ""},
        {"--log none/log", 2, "zam: error: cannot write the log none/log\n", ""},
        {"--loop -1", 2, "zam: error: --loop: Value -1 not in range 0.000000 to 10000000.000000; see zam --help\n", ""},
        {"--fail-allocation 0", 2,
         "zam: error: --fail-allocation: Value 0 not in range 1 to 1000000000000; see zam --help\n", ""},
        {"--frobnicate", 2, "zam: error: The following argument was not expected: --frobnicate; see zam --help\n", ""},
    };
    for (const auto& command : cases) {
        const Scratch scratch;
        const auto run = scratch.run(kScale, command.options);
        EXPECT_EQ(run.status, command.status) << command.options;
        EXPECT_EQ(run.err, command.err) << command.options;
        EXPECT_EQ(scratch.read("s.raw"), command.scaled) << command.options;
        EXPECT_FALSE(scratch.has("s.raw.part")) << command.options;
    }
}

TEST(CommandLine, Commands) {
    const struct {
        std::string arguments;
        int status;
        std::string out, err;  // beginnings
    } cases[] = {
        {"--version", 0, "zam 0.", ""},
        {"--help", 0, "Runs networks", ""},
        {"run --help", 0, "Run every module", ""},
        {"", 2, "", "zam: error: A subcommand is required"},
        {"frob", 2, "", "zam: error: there is no command frob"},
        {"run", 2, "", "zam: error: network is required"},
        {"run none.json", 2, "", "none.json: cannot open the file\n"},
        {"check n.json", 0, "", ""},
        {"check bad.json", 2, "", "bad.json:1:1: \"modules\" is missing\n"},
        {"modules", 0, "add        test_add      adds two numbers\n", ""},
        {"modules host_view", 0, "host_view: draws meshes", ""},
        {"modules test_tick", 0,
         "tick: counts timer events\nuse: test_tick\n\nparameter  kind  direction  default  meaning\n"
         "interval   int   in         10       units between ticks\n",
         ""},
        {"modules none", 2, "", "zam: error: there is no module none"},
        {"info none", 1, "", "zam: error: cannot open none"},
        {"info n.json", 1, "", "zam: error: n.json is of no kind that a module reads"},
    };
    const Scratch scratch;
    scratch.write("n.json", kScale);
    scratch.write("bad.json", "{}");
    for (const auto& command : cases) {
        const auto run = scratch.zam(command.arguments);
        EXPECT_EQ(run.status, command.status) << command.arguments;
        EXPECT_EQ(run.out.substr(0, command.out.size()), command.out) << command.arguments;
        EXPECT_EQ(run.err.substr(0, command.err.size()), command.err) << command.arguments;
    }
    EXPECT_EQ(Json::parse(scratch.zam("modules add --json").out)["parameters"][1]["name"], "b");
    EXPECT_EQ(Json::parse(scratch.zam("modules --json").out).size(), 8U);
}

/// The host's view is used as a module is: with references, values of its own kinds, events.
TEST(Runs, TheHostsOwnEntries) {
    const Scratch scratch;
    const auto run = scratch.run(R"({"modules": {
        "view": {"use": "host_view", "params": {
            "objects": [{"field": {"dims": [2, 2]}}, {"field": {"dims": [2, 2], "points": [1, 0, 2, 1],
                                                      "node_data": [{"values": [5, 5, 5, 5]}]}}],
            "colors": [[1, 0, 0], null], "datamaps": [null, {"range": [0, 5], "preset": "gray", "red": [[0, 9]]}],
            "width": {"ref": "size.sum"}, "height": 1, "xform": {"translate": [-1, -0.5, 0]}}},
        "size": {"use": "test_add", "params": {"a": 1, "b": 1}}},
      "events": [{"write": {"first.raw": "view.out"}},
                 {"set": {"view.colors": [[0, 0, 1], [1, 1, 0]], "view.datamaps": null}}],
      "write": {"second.raw": "view.out"}})");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(scratch.read("first.raw"), std::string("\xFF\xFF\x00\x00\xFF\x09\xFF\xFF", 8));
    EXPECT_EQ(scratch.read("second.raw"), std::string("\xFF\x00\x00\xFF\xFF\xFF\xFF\x00", 8));
}

TEST(CommandLine, LoopRunsInRealTime) {
    const Scratch scratch;
    const auto start = std::chrono::steady_clock::now();
    scratch.run(R"({"modules": {"t": {"use": "test_tick"}}, "write": {"t.json": "t.ticks"}})", "--loop 0.25");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(250));
    EXPECT_EQ(scratch.read("t.json"), "25\n");
}

TEST(Runs, ThatCannotBeDone) {
    const struct {
        const char* network;
        int status;
        const char* err;
    } cases[] = {
        {R"({"modules": {"a": {"use": "test_add"}}, "events": [{"joystick": {"x": 1}}]})", 1,
         "zam: error: the module library has no joysticks to simulate\n"},
        {R"({"modules": {"k": {"use": "test_kinds", "params": {"field": {"ref": "c.list[1]"}}}, "c": {"use": "test_collect"}},
             "write": {"a.json": "k.field", "b.json": "c.list[9]", "c.json": "c.list[0].nothing"}})",
         1,
         "zam: k: error: c.list[1] leads to nothing\nzam: error: b.json: c.list[9] leads to nothing\n"
         "zam: error: c.json: c.list[0].nothing leads to nothing\n"},
    };
    for (const auto& one : cases) {
        const Scratch scratch;
        const auto run = scratch.run(one.network);
        EXPECT_EQ(run.status, one.status);
        EXPECT_EQ(run.err, one.err);
    }
}

}  // namespace
}  // namespace zam::test
