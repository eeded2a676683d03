// Our own profile files: texts and their lines, and what becomes of the file.
#include <sys/stat.h>

#include <array>

#include "platform/posix/profile_text.h"
#include "tests/joystick/profile_fixture.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using platform::find_profile_value;
using platform::set_profile_value;

TEST(ProfileText, IsSearchedAndSet) {
    for (const auto& one : load_text_cases(ZAM_TEST_DATA "/profiles.test", ">=+")) {
        const std::string text = one.text('>');
        const std::string section = one.form.empty() ? "s" : "";
        const std::string changed = one.text('+');
        if (changed.empty()) {
            const auto values = one.list('=');
            EXPECT_EQ(find_profile_value(text, section, " k ").value_or("()"), values.empty() ? "()" : values[0])
                << one.name;
            continue;
        }
        EXPECT_EQ(set_profile_value(text, section, "k", "9"), changed) << one.name;
        EXPECT_EQ(find_profile_value(changed, section, "k"), "9") << one.name;
        EXPECT_EQ(set_profile_value(changed, section, "k", "9"), changed) << one.name;
    }
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
    const std::string after = "\xFF\xFE[\0s\0]\0\n\0k\0=\0009\0\n\0;\0\xAC\x20\x3D\xD8"s;  // ends in half a pair
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
    char buffer[8] = "#";
    EXPECT_EQ(GetPrivateProfileStringA(nullptr, "k", "x", buffer, 8, file.c_str()), 0U);
    EXPECT_EQ(GetPrivateProfileStringA("s", nullptr, "x", buffer, 8, file.c_str()), 0U);
    EXPECT_EQ(GetPrivateProfileStringA("s", "k", "x", buffer, 8, nullptr), 0U);
    for (const auto& [section, key] : {std::array{"a]b", "k"}, {"", "k"}, {" s ", ""}, {"[x", "k"}}) {
        EXPECT_EQ(WritePrivateProfileStringA(section, key, "v", file.c_str()), 1);
        EXPECT_EQ(GetPrivateProfileStringA(section, key, "", buffer, 8, file.c_str()), 1U) << section;
    }
}

}  // namespace
}  // namespace zam::test
