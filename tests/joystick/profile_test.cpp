// Profile files: texts and their lines, and what becomes of the file.
#include "platform/profile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/profile_text.h"
#include "tests/support/scratch_directory.h"

namespace zam::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using platform::find_profile_value;
using platform::set_profile_value;

struct FindCase {
    const char* name;
    std::string text;
    const char* value;  // of key "k" in section "s"; null: none
};
const FindCase kFound[] = {
    {"plain", "[s]\nk=v\n", "v"},
    {"no_line_end", "[s]\nk=v", "v"},
    {"carriage_returns", "[s]\r\nk=v\r\n", "v"},
    {"case", "[S]\nK=V\n", "V"},
    {"blanks", " \t[ s ] \n \tk \t= \t v w \t\n", "v w"},
    {"only_blanks", "[s]\nk= \t \r\nj=2", ""},
    {"single_quotes", "[s]\nk='\"v\"'\n", "\"v\""},
    {"unpaired_quotes", "[s]\nk=\"v'\n", "\"v'"},
    {"one_quote", "[s]\nk=\"\n", "\""},
    {"first_key", "[s]\nk=1\nk=2\n", "1"},
    {"first_section", "[s]\nj=1\n[s]\nk=2\n", nullptr},
    {"other_sections", "k=0\n[t]\nk=1\n[s]\n[u]\nk=2\n", nullptr},
    {"longer_names", "[ss]\nk=1\n[s]\nkk=2\nk k=3\n", nullptr},
    {"longer_by_brackets", "[s]]\nk=1\n[[s]\nk=2\n[s] [t]\nk=3\n", nullptr},
    {"comments", "[s]\n;k=1\n ;k=2\n#k=3\nk=4;5\n", "4;5"},
    {"comment_behind_section", "[s] ; first\nk=1\n", "1"},
    {"commented_section", ";[s]\nk=1\n", nullptr},
    {"no_equals", "[s]\nk\nk=1\n", nullptr},
    {"unfinished_section", "[s\nk=1\n", nullptr},
    {"goes_on_behind_an_unfinished_section", "[s]\n[t\n[\nk=1\n", "1"},
    {"section_ends_at_any_head", "[s]\n[]\nk=1\n", nullptr},
    {"carriage_returns_alone", "[s]\rj=2\rk=1\r[t]\r", "1"},
    {"carriage_return_in_a_line", "[s]\nk=1\rj=2\n", "1"},
    {"byte_order_mark", "\xEF\xBB\xBF[s]\nk=1\n", "1"},
    {"zero_bytes", std::string("[s\0t]\nk\0j=1 \0 2\n", 16), "1 "},
    {"end_of_text_marks", "[s]\n\x1Ak=1\x1A\n\x1A", "1"},
};

TEST(ProfileText, IsSearched) {
    for (const auto& test_case : kFound) {
        const auto value = find_profile_value(test_case.text, "s", " k ");
        const std::string expected = test_case.value ? test_case.value : "(none)";
        EXPECT_EQ(value.value_or("(none)"), expected) << test_case.name;
    }
}

struct SetCase {
    const char* name;
    std::string before, after;  // k=9 set in section s
};
const SetCase kSet[] = {
    {"new_file", "", "[s]\nk=9\n"},
    {"new_section", "[t]\r\nk=1\r\n", "[t]\r\nk=1\r\n[s]\r\nk=9\r\n"},
    {"new_section_behind_an_open_line", "; no end", "; no end\n[s]\nk=9\n"},
    {"new_key", "[s]\nj=1\n\n\n[t]\n", "[s]\nj=1\nk=9\n\n\n[t]\n"},
    {"new_key_in_an_empty_section", "[s]\n\n[t]\nk=1\n", "[s]\nk=9\n\n[t]\nk=1\n"},
    {"new_key_behind_an_open_line", "[s]\r\nj=1", "[s]\r\nj=1\r\nk=9\r\n"},
    {"value", "; a\n[s]\n K = 1 \t; b\nk=2\n", "; a\n[s]\n K = 9\nk=2\n"},
    {"value_in_blanks", "[s]\r\nk= 12 \r\n", "[s]\r\nk= 9 \r\n"},
    {"no_value", "[s]\r\nk= \r\nj", "[s]\r\nk= 9\r\nj"},
    {"value_at_the_end", "[s]\nk=", "[s]\nk=9"},
    {"quoted", "[s]\nk=\"1\"\n", "[s]\nk=9\n"},
    {"no_equals", "[s]\n k ; a\n k \nk=1\n", "[s]\n k ; a\n k=9 \nk=1\n"},
    {"unfinished_section", "[s]\n[t\n\n[t]\n", "[s]\n[t\nk=9\n\n[t]\n"},
    {"carriage_returns_alone", "[s]\rj=1\r[t]\r", "[s]\rj=1\rk=9\r[t]\r"},
    {"new_section_behind_a_byte_order_mark", "\xEF\xBB\xBF", "\xEF\xBB\xBF[s]\nk=9\n"},
};

TEST(ProfileText, IsSet) {
    for (const auto& test_case : kSet) {
        const std::string after = set_profile_value(test_case.before, "s", "k", "9");
        EXPECT_EQ(after, test_case.after) << test_case.name;
        EXPECT_EQ(find_profile_value(after, "s", "k"), "9") << test_case.name;
        EXPECT_EQ(set_profile_value(after, "s", "k", "9"), after) << test_case.name;
    }
}

class ProfileFile : public ::testing::Test {
protected:
    static std::string get(const std::string& file, std::uint32_t size = 64, const char* otherwise = "none  ") {
        std::string buffer(64, '#');
        const auto length = GetPrivateProfileStringA("s", "k", otherwise, buffer.data(), size, file.c_str());
        EXPECT_EQ(std::string(buffer.c_str()).size(), length);
        return buffer.c_str();
    }
    static int set(const std::string& file, const char* value = "9") {
        return WritePrivateProfileStringA("s", "k", value, file.c_str());
    }
    std::ptrdiff_t files() const {
        return std::distance(fs::directory_iterator(scratch.path()), fs::directory_iterator());
    }
    ScratchDirectory scratch;
};

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
    char buffer[8] = "#";
    EXPECT_EQ(GetPrivateProfileStringA(nullptr, "k", "x", buffer, 8, file.c_str()), 0U);
    EXPECT_EQ(GetPrivateProfileStringA("s", nullptr, "x", buffer, 8, file.c_str()), 0U);
    EXPECT_EQ(GetPrivateProfileStringA("s", "k", "x", buffer, 8, nullptr), 0U);
}

TEST_F(ProfileFile, IsReplacedWhole) {
    fs::create_directory(scratch.file("sub"));
    const auto file = scratch.write("sub/a.ini", "[s]\nk=1\n");
    fs::permissions(file, fs::perms(0640));
    fs::create_symlink("sub/a.ini", scratch.file("link.ini"));
    fs::create_symlink("sub/new.ini", scratch.file("dangling.ini"));
    EXPECT_EQ(set(scratch.file("link.ini")), 1);
    EXPECT_TRUE(fs::is_symlink(scratch.file("link.ini")));
    EXPECT_EQ(scratch.read("sub/a.ini"), "[s]\nk=9\n");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
    EXPECT_EQ(set(scratch.path() + "\\sub\\a.ini", "10"), 1);
    EXPECT_EQ(get(file), "10");
    EXPECT_EQ(set(scratch.file("dangling.ini")), 1);
    EXPECT_EQ(scratch.read("sub/new.ini"), "[s]\nk=9\n");
    EXPECT_EQ(files(), 3);  // nothing else is left
}

TEST_F(ProfileFile, StaysInUtf16) {
    const std::string before = "\xFF\xFE[\0s\0]\0\n\0k\0=\0001\0;\0\xE4\0\n\0;\0\xAC\x20\x3D\xD8"s;
    const std::string after = "\xFF\xFE[\0s\0]\0\n\0k\0=\0009\0\n\0;\0\xAC\x20\x3D\xD8"s;  // half a pair at the end
    const auto swapped = [](std::string text) {
        for (std::size_t i = 0; i < text.size(); i += 2) std::swap(text[i], text[i + 1]);
        return text;
    };
    for (const bool big : {false, true}) {
        const auto file = scratch.write("a.ini", big ? swapped(before) : before);
        EXPECT_EQ(get(file), "1;\xC3\xA4");
        EXPECT_EQ(set(file, "\xFF"), 0);
        EXPECT_EQ(set(file), 1);
        EXPECT_EQ(scratch.read("a.ini"), big ? swapped(after) : after);
    }
}

TEST_F(ProfileFile, ThatCannotBeUsed) {
    const auto read_only = scratch.write("read_only.ini", "[s]\nk=1\n");
    fs::permissions(read_only, fs::perms(0444));
    EXPECT_EQ(set(read_only), 0);
    EXPECT_EQ(get(read_only), "1");
    ASSERT_EQ(mkfifo(scratch.file("pipe").c_str(), 0600), 0);
    fs::create_symlink("round", scratch.file("round"));
    const auto large = scratch.write("large.ini", "[s]\nk=1\n");
    fs::resize_file(large, (4U << 20) + 1);
    for (const std::string& file :
         {scratch.path(), scratch.file("pipe"), scratch.file("none/a.ini"), scratch.file("round"), large,
          scratch.file(std::string(300, 'x')), std::string("/dev/zero"), std::string()}) {
        EXPECT_EQ(set(file), 0) << file;
        EXPECT_EQ(get(file), "none") << file;
    }
    const auto full = scratch.write("full.ini", "[s]\nk=1\n;" + std::string((4U << 20) - 12, 'x'));
    EXPECT_EQ(set(full, "123456789"), 0);  // would be too large to be read again
    EXPECT_EQ(get(full), "1");
    EXPECT_EQ(files(), 5);
}

TEST(ProfileText, BelongsToNoNameBeforeTheFirstSection) {
    const std::string text = set_profile_value("\xEF\xBB\xBF\n[]\nk=1\n", "", "k", "9");
    EXPECT_EQ(text, "\xEF\xBB\xBFk=9\n\n[]\nk=1\n");
    EXPECT_EQ(find_profile_value(text, "", "k"), "9");
    EXPECT_EQ(find_profile_value("[]\nk=1\n", "", "k"), std::nullopt);
}

TEST_F(ProfileFile, KeepsOnlyWhatCanBeFoundAgain) {
    const auto file = scratch.file("a.ini");
    for (const auto& [section, key, value] : {std::array{"s\n[t]", "k", "v"},
                                              {"s", "k\nj", "v"},
                                              {"s", "k", "v\nj=2"},
                                              {"s", "k=", "v"},
                                              {"s", ";k", "v"},
                                              {"s", "[k]", "v"},
                                              {nullptr, "k", "v"},
                                              {"s", nullptr, "v"},
                                              {"s", "k", nullptr}}) {
        EXPECT_EQ(WritePrivateProfileStringA(section, key, value, file.c_str()), 0);
    }
    EXPECT_FALSE(fs::exists(file));
    char buffer[8];
    for (const auto& [section, key] : {std::array{"a]b", "k"}, {"", "k"}, {" s ", ""}, {"[x", "k"}}) {
        EXPECT_EQ(WritePrivateProfileStringA(section, key, "v", file.c_str()), 1);
        EXPECT_EQ(GetPrivateProfileStringA(section, key, "", buffer, 8, file.c_str()), 1U) << section;
    }
}

}  // namespace
}  // namespace zam::test
