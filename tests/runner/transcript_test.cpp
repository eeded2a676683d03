// Runs of the program as texts: what it is given, what it says, what it writes.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/runner/read_back.h"
#include "tests/runner/support.h"
#include "tests/support/environment.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

using Json = nlohmann::json;

// a <- b <- c by references, written in another order; d is by itself.
const std::string kChain = R"({"modules": {
    "c": {"use": "test_add", "params": {"a": {"ref": "b.sum"}}},
    "d": {"use": "test_add", "params": {"a": 100, "b": 1}},
    "b": {"use": "test_add", "params": {"a": {"ref": "a.sum"}, "b": 10}},
    "a": {"use": "test_add", "params": {"b": 5}}},)";
const std::string kScale = R"({"modules": {"s": {"use": "test_scale", "params": {"values": [1, 2]}}},
                               "write": {"s.raw": "s.scaled"}})";

std::string use(const std::string& name, const std::string& entry, const std::string& params) {
    return "\"" + name + "\": {\"use\": \"" + entry + "\", \"params\": {" + params + "}}";
}

std::string with_field(const std::string& name, const std::string& members) {
    return use(name, "test_kinds", R"("field": {"field": {)" + members + "}}");
}

/// The network of a case; its form says which part of one its lines are.
std::string network(const TextCase& one) {
    std::string text = one.text('>');
    const auto of = [](const std::string& modules) { return "{\"modules\": {" + modules + "}}"; };
    if (one.form == "chain") return kChain + text;
    if (one.form == "scale" || (one.form == "command" && text.size() < 2)) return kScale;
    if (one.form == "report") return of(use("r", "test_report", text));
    if (one.form == "value") return of(use("k", "test_kinds", text));
    if (one.form == "field") return of(with_field("k", text));
    if (one.form == "drawing")
        return of(with_field("l", text) + "," + with_field("p", one.text('+')) + "," +
                  with_field("i", R"("dims": [3, 2], "node_data": [{"type": "byte", "veclen": 4,
                      "values": [255,1,2,3, 255,1,2,3, 255,1,2,3, 255,1,2,3, 255,1,2,3, 255,1,2,3]}])"));
    return text;
}

/// The record of calls in short: the modules that were called, with :entry where it was not the update.
std::string story(const std::string& log) {
    std::istringstream lines(log);
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        const Json event = Json::parse(line);
        if (event["event"] != "update") continue;
        const std::string entry = event["entry"];
        const std::size_t suffix = entry.find('_', sizeof "test_");
        text += (text.empty() ? "" : " ") + event["module"].get<std::string>();
        if (suffix != std::string::npos) text += ":" + entry.substr(suffix + 1);
    }
    return text;
}

/// Splits "NAME TEXT".
std::pair<std::string, std::string> named(const std::string& line) {
    const std::size_t end = line.find(' ');
    return {line.substr(0, end), end == std::string::npos ? "" : line.substr(end + 1)};
}

/// A dumped field, from what differs from an empty one.
Json field_with(const std::string& changes) {
    Json field = Json::parse(R"({"nspace": 3, "ndim": 0, "dims": [], "nnodes": 0, "grid_type": "unstructured",
        "points": [], "coord": [], "extent": [], "node_data": [], "cell_sets": [],
        "xform": [1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1]})");
    field.update(Json::parse(changes));
    return field;
}

void expect_file(const TextCase& one, const Scratch& scratch, const std::string& name, const std::string& expected) {
    const std::string written = scratch.read(name == "story" ? "log" : name);
    if (name == "story" && one.form == "chain") {
        EXPECT_EQ(story(written), "d:set_params d a:set_params a b:set_params b c" +
                                      (expected.empty() ? "" : " " + expected) +
                                      " a:delete b:delete d:delete c:delete");
    } else if (name == "story") {
        EXPECT_EQ(story(written), expected);
    } else if (const std::size_t ending = name.find(".json"); ending != std::string::npos) {
        const Json all = Json::parse(scratch.read(name.substr(0, ending + 5)));
        EXPECT_EQ(all.at(Json::json_pointer(name.substr(ending + 5))), Json::parse(expected)) << all;
    } else if (name == "p.png") {
        EXPECT_EQ(picture(written), Json::parse(expected));
    } else if (name.find(".vt") != std::string::npos) {
        EXPECT_EQ(vtk_arrays(written), Json::parse(expected));
    } else {
        EXPECT_EQ(written, expected) << name;
    }
}

/// Runs what a case says, in a directory with the files of data/inputs. Relative names of networks of the form "value"
/// and of their files lie one directory deeper.
Scratch::Run run(const TextCase& one, const Scratch& scratch) {
    std::filesystem::copy(ZAM_TEST_DATA "/inputs", scratch.path(), std::filesystem::copy_options::recursive);
    set_variable("DATA", ZAM_TEST_NETWORKS "/..");
    const std::string file = one.form == "value" ? "DIR/n.json" : "n.json";
    scratch.write(one.form == "info" ? "f" : file, network(one));
    const auto options = one.list('$');
    const std::string more = options.empty() ? "" : options[0];
    if (one.form == "info") return scratch.zam("info " + (more.empty() ? "f" : more), ">.out 2>.err", "");
    if (one.form == "command") return scratch.zam(more);
    return scratch.zam("run " + file + " --log log " + more);
}

class Transcripts : public testing::TestWithParam<TextCase> {};

TEST_P(Transcripts, AreWhatHappens) {
    const TextCase& one = GetParam();
    const Scratch scratch;
    const auto [status, out, err] = run(one, scratch);
    EXPECT_EQ(status, one.list('?').empty() ? 0 : std::stoi(one.list('?')[0]));
    const std::string message = one.text('!');
    if (message.empty() || message.ends_with('\n')) {
        EXPECT_EQ(err, message);
    } else {
        EXPECT_TRUE(err.starts_with(message)) << err;
    }
    const std::string told = one.text(':');
    EXPECT_NE(out.find(told), std::string::npos) << out;
    EXPECT_EQ(out.find('\r'), std::string::npos) << out;
    EXPECT_TRUE(one.form != "info" || out.empty() == told.empty()) << out;
    for (const auto& line : one.list('=')) expect_file(one, scratch, named(line).first, named(line).second);
    std::map<std::string, std::size_t> places;
    for (const auto& line : one.list('~')) {
        const auto [name, piece] = named(line);
        const std::string file = scratch.read(name);
        if (name.ends_with(".json")) {
            EXPECT_EQ(Json::parse(file), field_with(piece)) << file;
            // what was written gives the same when it is read again
            scratch.write("again.json",
                          "{\"modules\": {" + use("k", "test_kinds", R"("field": {"field_file": "v.json"})") + "}}");
            EXPECT_EQ(scratch.zam("run again.json --write again_v.json=k.field").err, "");
            EXPECT_EQ(scratch.read("again_v.json"), file);
            continue;
        }
        places[name] = file.find(piece, places[name]);
        ASSERT_NE(places[name], std::string::npos) << piece << "\n" << file;
        EXPECT_EQ(file.find("nan"), std::string::npos) << file;
    }
    for (const auto& entry : std::filesystem::directory_iterator(scratch.path()))
        EXPECT_NE(entry.path().extension(), ".part") << entry.path();
}

INSTANTIATE_TEST_SUITE_P(Runner, Transcripts,
                         testing::ValuesIn(load_text_cases(ZAM_TEST_DATA "/transcripts.test", ">+$?!:=~")),
                         [](const auto& info) { return info.param.name; });

TEST(Runs, LoopInRealTime) {
    const Scratch scratch;
    const auto start = std::chrono::steady_clock::now();
    scratch.write("n.json", R"({"modules": {"t": {"use": "test_tick"}}, "write": {"t.json": "t.ticks"}})");
    scratch.zam("run n.json --loop 0.25");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(250));
    EXPECT_EQ(scratch.read("t.json"), "25\n");
}

}  // namespace
}  // namespace zam::test
