// Profile files by the calls of every system: ours and that of Windows answer the same.
#include "tests/joystick/profile_fixture.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

TEST_F(ProfileFile, IsSearchedAndSet) {
    for (const auto& one : load_text_cases(ZAM_TEST_DATA "/profiles.test", ">=+")) {
        const auto file = scratch.write(one.name + ".ini", one.text('>'));  // Windows keeps what it has read of a file
        const char* const section = one.form.empty() ? "s" : "";
        const auto values = one.list('=');
        const bool sets = !one.text('+').empty();
        EXPECT_TRUE(!sets || set(file, "9", section) == 1) << one.name;
        const std::string found = values.empty() ? "none" : values[0];
        EXPECT_EQ(get(file, 64, "none  ", section), sets ? "9" : found) << one.name;
    }
}

TEST_F(ProfileFile, FillsTheBuffer) {
    const auto file = scratch.write("a.ini", "[s]\nk=12345\n");
    EXPECT_EQ(get(file), "12345");
    EXPECT_EQ(get(file, 6), "12345");
    EXPECT_EQ(get(file, 5), "1234");
    EXPECT_EQ(get(file, 1), "");
    EXPECT_EQ(get(scratch.file("none"), 3), "no");
    EXPECT_EQ(get(scratch.file("none"), 64, nullptr), "");
    EXPECT_EQ(get(scratch.file("none"), 64, "'x' "), "x");
    EXPECT_EQ(get(scratch.file("none"), 64, "   "), " ");
    char untouched = '#';
    EXPECT_EQ(GetPrivateProfileStringA("s", "k", "x", &untouched, 0, file.c_str()), 0U);
    EXPECT_EQ(GetPrivateProfileStringA("s", "k", "x", nullptr, 9, file.c_str()), 0U);
    EXPECT_EQ(untouched, '#');
}

}  // namespace
}  // namespace zam::test
