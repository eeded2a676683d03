// Networks with something wrong, and the problems that are found in them, each with its place.
#include <gtest/gtest.h>

#include <set>

#include "session/network/network_reader.h"
#include "tests/runner/support.h"
#include "tests/support/text_cases.h"

namespace zam::session {
namespace {

/// The network of a case, with a mark ^ before each place that a problem names.
std::string marked_network(const test::TextCase& one) {
    std::string text = one.text('>');
    text.pop_back();
    if (one.form == "field") text = R"("field": {"field": {)" + text + "}}";
    if (one.form == "kinds" || one.form == "field")
        return R"({"modules": {"k": {"use": "test_kinds", "params": {)" + text + "}}}}";
    if (one.form == "two")
        return "{\"modules\": {\"a\": {\"use\": \"test_add\"}, \"m\": {\"use\": \"test_make\"}},\n" + text + "}";
    return text;
}

/// The network as zam reads it, and the problems with the places of the marks.
std::pair<std::string, std::multiset<std::string>> without_marks(const test::TextCase& test_case) {
    std::string network;
    std::vector<std::string> places;
    int line = 1;
    int column = 1;
    for (const char c : marked_network(test_case)) {
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
    for (std::string problem : test_case.list('!')) {
        if (problem.starts_with("^")) problem.replace(0, 1, place == places.end() ? "no mark" : *place++);
        problems.insert(problem);
    }
    return {network, problems};
}

class Check : public testing::TestWithParam<test::TextCase> {};

TEST_P(Check, FindsTheProblems) {
#if defined(_WIN32)
    if (GetParam().name == "values_file_device") GTEST_SKIP() << "there is no such file";
#endif
    const test::ScratchDirectory scratch;
    scratch.write("ten.raw", "0123456789");
    auto [network, expected] = without_marks(GetParam());
    const std::string file = scratch.write("n.json", network);
    Problems problems;
    const auto definitions = Definitions::load(ZAM_TEST_MODULES, problems);
    ASSERT_FALSE(problems.any()) << problems.lines().front();
    load_network(file, {GetParam().list('$'), {}}, definitions, problems);

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

INSTANTIATE_TEST_SUITE_P(Networks, Check,
                         testing::ValuesIn(test::load_text_cases(ZAM_TEST_DATA "/networks.test", ">!$")),
                         [](const auto& info) { return info.param.name; });

// Files of hostile size are refused with one message, soon and in bounded memory.
TEST(Check, HostileSizes) {
    const test::ScratchDirectory scratch;
    const auto list_of = [](const std::string& element) {
        std::string list = "{\"modules\": [" + element;
        for (int i = 0; i < 4'000'001; ++i) list += "," + element;
        return list;
    };
    for (const std::string& text :
         {"{\"modules\": \"" + std::string(10'000'000, 'x') + "\"}", std::string(9'000'000, '[') + "]",
          list_of("[]") + "]}", list_of("0") + ",\"x\"]}", std::string("{\"modules\": \"\0\"}", 16)}) {
        Problems problems;
        load_network(scratch.write("n.json", text), {}, {}, problems);
        EXPECT_EQ(problems.count(), 1U);
        EXPECT_LT(problems.lines().at(0).size(), 500U);
    }
}

TEST(Classes, HaveTheirMethodsCalled) {
    const test::ScratchDirectory scratch;
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
    for (const auto& test_case : test::load_text_cases(ZAM_TEST_DATA "/definitions.test", ">!")) {
        const test::ScratchDirectory scratch;
        Problems problems;
        Definitions definitions;
        definitions.add(scratch.write("d.json", test_case.text('>')), problems);
        const auto expected = test_case.list('!');
        ASSERT_EQ(problems.count(), expected.size()) << test_case.name;
        for (std::size_t i = 0; i < problems.count(); ++i) {
            EXPECT_TRUE(problems.lines()[i].ends_with(": " + expected[i])) << problems.lines()[i];
        }
        EXPECT_TRUE(definitions.all().empty());
    }
}

}  // namespace
}  // namespace zam::session
