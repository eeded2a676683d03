// Headers as text: data/*.test hold header, model or message, and what comes out on the standard output.
#include <gtest/gtest.h>

#include "modules/zam/ld_rdfld/header_reader.h"
#include "tests/header/header_text.h"
#include "tests/support/text_cases.h"

namespace zam::ldrf::test {
namespace {

/// Marks: > header after its first line, = model, ! message, ~ what goes to the standard output.
std::vector<zam::test::TextCase> load_all() {
    std::vector<zam::test::TextCase> all;
    for (const char* file : {"scanner", "statements", "messages", "steps"}) {
        for (auto& one : zam::test::load_text_cases(ZAM_TEST_DATA "/" + std::string(file) + ".test", ">=!~")) {
            one.name.insert(0, std::string(file) + "_");
            all.push_back(std::move(one));
        }
    }
    return all;
}

class HeaderCase : public testing::TestWithParam<zam::test::TextCase> {};

TEST_P(HeaderCase, GivesModelOrMessage) {
    const auto& expected = GetParam();
    const auto message = expected.list('!');
    const auto output = expected.list('~');
    ASSERT_NE(expected.text('=').empty(), message.empty());
    const FileHandle file = make_file("# AVS a case\n" + expected.text('>'));
    LDRF_alloc(header_model(), 1);
    const Reports reports;
    testing::internal::CaptureStdout();
    const auto header = read_header(file.get(), "a.fld", 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), output.empty() ? "" : output.front());
    ASSERT_EQ(header != nullptr, message.empty());
    if (header) {
        EXPECT_EQ(dump(*header), expected.text('='));
        EXPECT_TRUE(reports.records.empty());
    } else {
        ASSERT_EQ(reports.records.size(), 1U);
        const host::Record& report = reports.records.front();
        EXPECT_EQ(report.text, "Problem reading file a.fld: " + message.front());
        EXPECT_EQ(report.label, "Read Field");
        EXPECT_EQ(report.flags, 2);
        EXPECT_EQ(report.call, "ERRverror");
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, HeaderCase, testing::ValuesIn(load_all()),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace zam::ldrf::test
