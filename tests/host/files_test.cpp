// File names, host variables and opening.
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "tests/host/host_test.h"
#include "tests/support/scratch_directory.h"

namespace zam::host {
namespace {

struct Files : testing::Test {
    void SetUp() override {
        setenv("ZAM_TEST_DIR", "/data", 1);
        setenv("XP_PATH", " /first  /second ", 1);
        unsetenv("ZAM_TEST_NONE");
    }
    static std::string mapped(const char* name, int size = 200) {
        std::string buffer(200, '#');
        return FILEmap_variables(name, buffer.data(), size);
    }
};

TEST_F(Files, VariablesAreExpanded) {
    const char* const kCases[][2] = {
        {"plain", "plain"},
        {"$ZAM_TEST_DIR/a", "/data/a"},
        {"x$ZAM_TEST_DIR", "x/data"},
        {"$ZAM_TEST_NONE/a", "/a"},
        {"$XP_PATH<0>/a", "/first/a"},
        {"$XP_PATH<01>/a", "/second/a"},
        {"$XP_PATH<2>/a", "/a"},
        {"$XP_PATH<99999999999999999999>/a", "/a"},
        {"$XP_PATH<x>", " /first  /second <x>"},
        {"$XP_PATH<0", " /first  /second <0"},
        {"a$", "a$"},
        {"$$ZAM_TEST_DIR", "$/data"},
        {"", ""},
    };
    for (const auto& [name, expanded] : kCases) EXPECT_EQ(mapped(name), expanded) << name;
    EXPECT_EQ(mapped("$ZAM_TEST_DIR/a", 4), "/da");
    EXPECT_EQ(mapped("x", 0)[0], '#');  // no room, not even for the terminator
}

TEST_F(Files, NamesAreTakenApartAndPutTogether) {
    struct Case {
        const char* name;
        bool absolute;
        const char* directory;
    };
    const Case kCases[] = {
        {"a", false, ""},     {"a/b/c", false, "a/b"}, {"a/", false, "a"},        {"/a", true, "/"},
        {"/a/b", true, "/a"}, {"\\a", true, "\\"},     {"c:\\a", true, "c:\\"},   {"c:/a/b", true, "c:/a"},
        {"c:a", true, "c:"},  {"", false, ""},         {"a\\b/c", false, "a\\b"},
    };
    for (const Case& c : kCases) {
        char directory[64];
        EXPECT_EQ(FILEis_path_absolute(c.name) == 1, c.absolute) << c.name;
        EXPECT_STREQ(FILEget_dir_name(c.name, directory, sizeof directory), c.directory) << c.name;
    }
    const char* const kJoined[][3] = {{"a", "b", "a/b"}, {"", "b", "b"}, {"/", "b", "/b"}, {"a\\", "b", "a\\b"}};
    for (const auto& [directory, file, joined] : kJoined) {
        char name[64];
        EXPECT_STREQ(FILEconcat_dir_and_file(directory, file, name, sizeof name), joined);
    }
}

TEST_F(Files, OnlyFilesAreOpened) {
    const test::ScratchDirectory directory;
    std::filesystem::create_directory(directory.file("inner"));
    directory.write("inner/file", "x");
    setenv("ZAM_TEST_DIR", directory.path().c_str(), 1);
    struct Case {
        const char* name;
        const char* mode;
        int error;
    };
    const Case kCases[] = {
        {"$ZAM_TEST_DIR/inner/file", "rb", 0},  {"$ZAM_TEST_DIR\\inner\\file", "rb", 0},
        {"$ZAM_TEST_DIR\\inner\\new", "wb", 0}, {"$ZAM_TEST_DIR/inner", "rb", EISDIR},
        {"$ZAM_TEST_DIR/none", "rb", ENOENT},   {"", "rb", ENOENT},
    };
    for (const Case& c : kCases) {
        errno = 0;
        FILE* file = FILEfopen(c.name, c.mode);
        EXPECT_EQ(file != nullptr, c.error == 0) << c.name;
        EXPECT_TRUE(file || errno == c.error) << c.name;
        if (file) std::fclose(file);
    }
    EXPECT_TRUE(directory.has("inner/new"));
    // a value that repeats without end takes no memory
    setenv("ZAM_TEST_DIR", std::string(60000, 'x').c_str(), 1);
    std::string many;
    for (int k = 0; k < 100000; ++k) many += "$ZAM_TEST_DIR";
    EXPECT_EQ(FILEfopen(many.c_str(), "rb"), nullptr);
}

}  // namespace
}  // namespace zam::host
