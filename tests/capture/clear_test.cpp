// Clearing, which deletes what captures wrote and nothing else, and the check of a set.
#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <climits>
#include <sstream>

#include "modules/zam/ZBufCapture.h"
#include "tests/capture/capture_fixture.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

using CaptureCheck = CaptureTest;

class Clear : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        fs::create_directory(directory / "set");
        make_list("out", 3);
        make_list("depth", 2);
        set_int("currCount", 3);
        set_text("currDir", scratch.path() + "\\set");
        for (const char* name : {"pceimg00000.img", "pceimg00002.img"}) scratch.write(std::string("set/") + name, "x");
    }
    void clear() const { EXPECT_EQ(ZBufClearUpdate(instance, 0, 0), 1); }
};

TEST_F(Clear, EndsTheSet) {
    clear();
    EXPECT_EQ(names(), Texts());
    EXPECT_EQ(elements("out"), 0);
    EXPECT_EQ(elements("depth"), 2);
    EXPECT_EQ(get("currCount"), 0);
    EXPECT_EQ(text("currDir"), "");
    EXPECT_EQ(reports, Texts());
    EXPECT_EQ(statuses, Texts());
}

TEST_F(Clear, DeletesNothingElse) {
    const Texts others{"PCEIMG00004.img",      "pceimg-0001.img", "pceimg.img",       "pceimg00005.IMG",
                       "pceimg00001.img.x",    "pceimg00006.img", "pceimg000001.img", "pceimg0001.img",
                       "pceimg4294967297.img", "pceimgx0001.img"};
    set_int("currCount", 6);
    for (const auto& name : others) scratch.write("set/" + name, "x");
    fs::create_directory(directory / "set" / "pceimg00001.img");
    const std::string before = text("currDir");
    clear();
    Texts expected = others;
    expected.emplace_back("pceimg00001.img");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names("set"), expected);
    EXPECT_EQ(text("currDir"), before);  // the directory stayed
    EXPECT_EQ(get("currCount"), 0);
}

TEST_F(Clear, GoesByTheFilesThatAreThere) {
    scratch.write("set/pceimg00003.img", "x");
    scratch.write("set/pceimg100000.img", "x");
    set_int("currCount", INT_MAX);
    clear();
    EXPECT_EQ(names(), Texts());
    for (const int count : {0, -5}) {
        fs::create_directory(directory / "set");
        scratch.write("set/pceimg00000.img", "x");
        set_int("currCount", count);
        set_text("currDir", scratch.file("set"));
        clear();
        EXPECT_EQ(fs::exists(directory / "set/pceimg00000.img"), true);
        EXPECT_EQ(text("currDir"), scratch.file("set"));
    }
}

TEST_F(Clear, DoesWithoutWhatIsMissing) {
#if !defined(_WIN32)                                            // which has no such files
    mkfifo(scratch.file("set/pceimg00001.img").c_str(), 0600);  // opening it would wait forever
    clear();
    EXPECT_EQ(names(), Texts{"set"});
#endif
    set_text("currDir", scratch.file("none"));
    clear();
    EXPECT_EQ(text("currDir"), scratch.file("none"));
    EXPECT_EQ(reports, Texts());
}

TEST_F(CaptureCheck, ComparesTheSetWithTheChoices) {
    for (const auto& [given, expected] : load_rows(ZAM_TEST_DATA "/checks.test", "checks")) {
        SCOPED_TRACE(given);
        std::istringstream in(given);
        int count = 0, set_mode = 0, mode = 0;
        std::string current, parent;
        in >> count >> set_mode >> mode >> current >> parent;
        instance = host::create(host::root(), "module", host::Kind::group);
        set_int("currCount", count);
        set_int("currSaveMode", set_mode);
        set_int("saveMode", mode);
        if (current != "-") set_text("currDir", current == "empty" ? "" : current);
        if (parent != "-") set_text("tmpDir", parent == "empty" ? "" : parent);
        for (const char* name : {"warning", "done"}) set_int(name, 0);
        EXPECT_EQ(CheckTmpDirUpdate(instance, 0, 0), 1);
        EXPECT_EQ(std::to_string(get("warning")) + " " + std::to_string(get("done")), expected);
        EXPECT_EQ(reports, Texts());
    }
}

}  // namespace
}  // namespace zam::test
