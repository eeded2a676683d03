// File names, host variables and opening.
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "tests/host/host_test.h"
#include "tests/support/environment.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

namespace zam::host {
namespace {

struct Files : testing::Test {
    void SetUp() override {
        test::set_variable("ZAM_TEST_DIR", "/data");
        test::set_variable("XP_PATH", " /first  /second ");
        test::unset_variable("ZAM_TEST_NONE");
    }
    static std::string mapped(const char* name, int size = 200) {
        std::string buffer(200, '#');
        return FILEmap_variables(name, buffer.data(), size);
    }
};

TEST_F(Files, VariablesAreExpanded) {
    for (const auto& c : test::load_text_cases(ZAM_TEST_DATA "/variables.test", ">="))
        EXPECT_EQ(mapped(c.list('>')[0].c_str()), c.list('=')[0]) << c.name;
    EXPECT_EQ(mapped("$ZAM_TEST_DIR/a", 4), "/da");
    EXPECT_EQ(mapped("x", 0)[0], '#');  // no room, not even for the terminator
}

TEST_F(Files, NamesAreTakenApartAndPutTogether) {
    const std::tuple<const char*, bool, const char*> kCases[] = {
        {"a", false, ""},     {"a/b/c", false, "a/b"}, {"a/", false, "a"},        {"/a", true, "/"},
        {"/a/b", true, "/a"}, {"\\a", true, "\\"},     {"c:\\a", true, "c:\\"},   {"c:/a/b", true, "c:/a"},
        {"c:a", true, "c:"},  {"", false, ""},         {"a\\b/c", false, "a\\b"},
    };
    for (const auto& [name, absolute, expected] : kCases) {
        char directory[64];
        EXPECT_EQ(FILEis_path_absolute(name) == 1, absolute) << name;
        EXPECT_STREQ(FILEget_dir_name(name, directory, sizeof directory), expected) << name;
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
    test::set_variable("ZAM_TEST_DIR", directory.path().c_str());
    const std::tuple<const char*, const char*, int> kCases[] = {
        {"$ZAM_TEST_DIR/inner/file", "rb", 0},  {"$ZAM_TEST_DIR\\inner\\file", "rb", 0},
        {"$ZAM_TEST_DIR\\inner\\new", "wb", 0}, {"$ZAM_TEST_DIR/inner", "rb", EISDIR},
        {"$ZAM_TEST_DIR/none", "rb", ENOENT},   {"", "rb", ENOENT},
    };
    for (const auto& [name, mode, error] : kCases) {
        errno = 0;
        FILE* file = FILEfopen(name, mode);
        EXPECT_EQ(file != nullptr, error == 0) << name;
        EXPECT_TRUE(file || errno == error) << name;
        if (file) std::fclose(file);
    }
    EXPECT_TRUE(directory.has("inner/new"));
    // a value that repeats without end takes no memory
    test::set_variable("ZAM_TEST_DIR", std::string(60000, 'x').c_str());
    std::string many;
    for (int k = 0; k < 100000; ++k) many += "$ZAM_TEST_DIR";
    EXPECT_EQ(FILEfopen(many.c_str(), "rb"), nullptr);
}

}  // namespace
}  // namespace zam::host
