// Headers as text: data/*.test hold header, model or message, and what comes out on the standard output.
#include <gtest/gtest.h>

#include <fstream>

#include "modules/zam/ld_rdfld/header_reader.h"
#include "tests/header/header_text.h"

namespace zam::ldrf::test {
namespace {

struct Case {
    std::string name, header, model, message, output;

    friend void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }
};

std::string unescape(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            plain += text[i];
            continue;
        }
        switch (text.at(++i)) {
            case 'f': plain += '\f'; break;
            case 'n': plain += '\n'; break;
            case 'r': plain += '\r'; break;
            case 't': plain += '\t'; break;
            case '0': plain += '\0'; break;
            case 'c': return plain;
            default: plain += text[i];
        }
    }
    return plain;
}

std::vector<Case> load_cases(const std::string& file) {
    std::vector<Case> cases;
    std::ifstream in(std::string(ZAM_TEST_DATA "/") + file + ".test");
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        const std::size_t mark = line.find_first_of(">=!~");
        if (mark > 0) cases.push_back({file + "_" + line.substr(0, mark), "# AVS field file\n", "", "", ""});
        const std::string text = unescape(std::string_view(line).substr(mark + 2));
        switch (line[mark]) {
            case '>': cases.back().header += text + (line.ends_with("\\c") ? "" : "\n"); break;
            case '=': cases.back().model += text + "\n"; break;
            case '!': cases.back().message = text; break;
            default: cases.back().output = text;
        }
    }
    return cases;
}

std::vector<Case> load_all() {
    std::vector<Case> all;
    for (const char* file : {"scanner", "statements", "messages", "steps"}) {
        for (Case& one : load_cases(file)) all.push_back(std::move(one));
    }
    return all;
}

class HeaderCase : public testing::TestWithParam<Case> {};

TEST_P(HeaderCase, gives_model_or_message) {
    const Case& expected = GetParam();
    ASSERT_NE(expected.model.empty(), expected.message.empty());
    const File file = make_file(expected.header);
    LDRF_alloc(header_model(), 1);
    const Reports reports;
    testing::internal::CaptureStdout();
    const auto header = read_header(file.get(), "a.fld", 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected.output);
    ASSERT_EQ(header != nullptr, expected.message.empty());
    if (header) {
        EXPECT_EQ(dump(*header), expected.model);
        EXPECT_TRUE(reports.records.empty());
    } else {
        ASSERT_EQ(reports.records.size(), 1U);
        const host::Record& report = reports.records.front();
        EXPECT_EQ(report.text, "Problem reading file a.fld: " + expected.message);
        EXPECT_EQ(report.label, "Read Field");
        EXPECT_EQ(report.flags, 2);
        EXPECT_EQ(report.call, "ERRverror");
    }
}

INSTANTIATE_TEST_SUITE_P(texts, HeaderCase, testing::ValuesIn(load_all()),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace zam::ldrf::test
