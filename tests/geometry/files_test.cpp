// Listing files: patterns, what a directory holds, and the module's two passes.
#if defined(_WIN32)
#include <io.h>
#endif

#include <filesystem>

#include "modules/zam/get_files.h"
#include "platform/find_files.h"
#include "tests/geometry/geometry_fixture.h"
#include "tests/support/environment.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

namespace fs = std::filesystem;
using Names = Texts;

TEST(Patterns, MatchAsOnWindows) {
    for (const auto& one : load_text_cases(ZAM_TEST_DATA "/patterns.test", ">=!")) {
        const std::string pattern = one.list('>')[0];
        for (const auto& name : one.list('=')) EXPECT_TRUE(platform::matches_pattern(name, pattern)) << pattern << name;
        for (const auto& name : one.list('!'))
            EXPECT_FALSE(platform::matches_pattern(name, pattern)) << pattern << name;
    }
    // no pattern takes exponential time
    std::string hard;
    for (int i = 0; i < 1000; ++i) hard += "*a";
    EXPECT_FALSE(platform::matches_pattern(std::string(255, 'a'), hard + "b"));
}

TEST(Patterns, AreBuiltFromDirectoryAndExtension) {
    EXPECT_EQ(listing_pattern("d", ""), "d\\*.");
    EXPECT_EQ(listing_pattern("d\\", "*"), "d\\*");
    EXPECT_EQ(listing_pattern("d\\\\", "a%s"), "d\\\\*.a%s");  // one backslash is dropped
    EXPECT_EQ(listing_pattern("\\", "x"), "\\*.x");
}

class GetFiles : public GeometryTest {
protected:
    void SetUp() override {
        GeometryTest::SetUp();
        for (const char* name : {"inner.txt", "empty"}) fs::create_directory(folder / name);
        for (const char* name : {"b.txt", "D.TXT", "a.txt", "README", ".hidden.txt", "c.dat"}) scratch.write(name, "");
        set_int("nFiles", 0);
        files = host::create(instance, "files", host::Kind::texts);
    }
    Names names() const {
        Names all;
        xp_long size = 0;
        OMget_array_size(files, &size);
        for (xp_long i = 0; i < size; ++i) all.push_back(host::text_at(files, i).value_or("-"));
        return all;
    }
    int update() const { return GetFilesCore_update(instance, 0, 0); }

    const ScratchDirectory scratch;
    const fs::path folder = scratch.path();
    OMobj_id files{};
};

TEST_F(GetFiles, ListsNamesInTheOrderOfTheirBytes) {
    set_variable("ZAM_TEST_FILES", folder.string().c_str());
    std::string backslashes = folder.string();
    std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
    const Names every{".hidden.txt", "D.TXT", "README", "a.txt", "b.txt", "c.dat"};
    const Names texts{".hidden.txt", "D.TXT", "a.txt", "b.txt"};
    const std::tuple<std::string, const char*, Names> cases[] = {
        {folder.string(), "*", every},           {backslashes + "\\", "*", every},
        {folder.string() + "/", "txt", texts},   {"$ZAM_TEST_FILES", "TxT", texts},
        {folder.string(), "", {"README"}},       {folder.string(), "d?t", {"c.dat"}},
        {folder.string(), "none", {}},           {folder.string() + "/empty", "*", {}},
        {folder.string() + "/nowhere", "*", {}}, {folder.string() + "/a.txt", "*", {}},
    };
    for (const auto& [directory, extension, expected] : cases) {
        SCOPED_TRACE(directory + " " + extension);
        set_text("dir", directory);
        set_text("ext", extension);
        EXPECT_EQ(update(), 1);
        EXPECT_EQ(get("nFiles"), static_cast<int>(expected.size()));
        Names all = expected;
        all.resize(names().size(), "-");
        EXPECT_EQ(names(), all);
    }
    EXPECT_EQ(reports, Names());
    const auto found = platform::find_files(folder.string() + "\\*.txt");
    ASSERT_EQ(found.size(), 5U);
#if !defined(_WIN32)  // where files are hidden by an attribute, and have one that tells what was backed up
    EXPECT_TRUE(found[0].attributes == platform::kHidden && found[1].attributes == 0);
#endif
    EXPECT_TRUE(found[4].name == "inner.txt" && found[4].attributes == platform::kDirectory);
}

#if defined(_WIN32)
TEST_F(GetFiles, AgreesWithTheSystem) {
    // not: what Wine does otherwise than Windows, "*." and "?" before a dot or at the end
    for (const std::string pattern : {"*", "*.*", "*.txt", "a*", "b*.*", "*.t*", "*txt", "README.", "README.*", "*.TXT",
                                      "inner.*", "none*", ".hidden.txt", "?.txt"}) {
        std::vector<std::string> names, expected;
        for (const auto& file : platform::find_files(folder.string() + "/" + pattern)) names.push_back(file.name);
        _finddata64i32_t record{};
        const intptr_t listing = _findfirst64i32((folder.string() + "/" + pattern).c_str(), &record);
        for (bool more = listing != -1; more; more = _findnext64i32(listing, &record) == 0)
            expected.emplace_back(record.name);
        if (listing != -1) _findclose(listing);
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(names, expected) << pattern;
    }
}
#endif

TEST_F(GetFiles, ClearsWhatThereIsAndStopsQuietly) {
    set_text("dir", folder.string());
    set_text("ext", "txt");
    EXPECT_EQ(update(), 1);
    set_text("dir", "");
    for (const int claimed : {2, 2147483647}) {
        set_int("nFiles", claimed);
        EXPECT_EQ(update(), 1);
        EXPECT_EQ(names(), claimed == 2 ? (Names{"-", "-", "a.txt", "b.txt"}) : Names(4, "-"));
        EXPECT_EQ(get("nFiles"), claimed);
    }
}

}  // namespace
}  // namespace zam::test
