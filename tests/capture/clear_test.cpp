// Clearing, which deletes what captures wrote and nothing else, and the check of a set.
#include <sys/stat.h>

#include <climits>

#include "modules/zam/ZBufCapture.h"
#include "tests/capture/capture_fixture.h"

namespace zam::test {
namespace {

class Clear : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        fs::create_directory(directory / "set");
        make_list("out", 3);
        make_list("depth", 2);
        set("currCount", 3);
        set("currDir", directory.string() + "\\set");
        for (const char* name : {"pceimg00000.img", "pceimg00002.img"}) write(std::string("set/") + name, "x");
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
    const Texts others{"PCEIMG00001.img",      "pceimg-0001.img", "pceimg.img",       "pceimg00001.IMG",
                       "pceimg00001.img.x",    "pceimg00003.img", "pceimg000001.img", "pceimg0001.img",
                       "pceimg4294967297.img", "pceimgx0001.img"};
    for (const auto& name : others) write("set/" + name, "x");
    fs::create_directory(directory / "set" / "pceimg00001.img");
    const std::string before = text("currDir");
    clear();
    Texts expected = others;
    expected.emplace_back("pceimg00001.img");
    directory /= "set";
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names(), expected);
    directory = directory.parent_path();
    EXPECT_EQ(text("currDir"), before);  // the directory stayed
    EXPECT_EQ(get("currCount"), 0);
}

TEST_F(Clear, GoesByTheFilesThatAreThere) {
    write("set/pceimg00003.img", "x");
    write("set/pceimg100000.img", "x");
    set("currCount", INT_MAX);
    clear();
    EXPECT_EQ(names(), Texts());
    for (const int count : {0, -5}) {
        fs::create_directory(directory / "set");
        write("set/pceimg00000.img", "x");
        set("currCount", count);
        set("currDir", file("set"));
        clear();
        EXPECT_EQ(fs::exists(directory / "set/pceimg00000.img"), true);
        EXPECT_EQ(text("currDir"), file("set"));
    }
}

TEST_F(Clear, DoesWithoutWhatIsMissing) {
    mkfifo(file("set/pceimg00001.img").c_str(), 0600);  // opening it would wait for ever
    clear();
    EXPECT_EQ(names(), Texts{"set"});
    set("currDir", file("none"));
    clear();
    EXPECT_EQ(text("currDir"), file("none"));
    EXPECT_EQ(reports, Texts());
}

struct CheckCase {
    const char* name;
    int count, set_mode, mode;
    const char *directory, *parent;  // null: no such parameter
    int warning, done;
};

const CheckCase kChecks[] = {
    {"consistent", 1, 0, 0, "/tmp\\ada1.0", "/tmp", 0, 1},
    {"nothing captured", 0, 1, 0, "/tmp\\ada1.0", "/elsewhere", 0, 0},
    {"a count below 0", -1, 1, 0, "/tmp\\ada1.0", "/elsewhere", 0, 0},
    {"another mode", 1, 0, 1, "/tmp\\ada1.0", "/tmp", 1, 0},
    {"another parent", 1, 0, 0, "/tmp\\ada1.0", "/var", 1, 1},
    {"a longer parent", 2, 1, 1, "/tmp", "/tmp\\ada1.0", 1, 1},
    {"the same text", 1, 0, 0, "/tmp", "/tmp", 0, 1},
    {"an empty parent", 1, 0, 0, "/tmp\\ada1.0", "", 0, 1},
    {"no parent", 1, 0, 0, "/tmp\\ada1.0", nullptr, 0, 0},
    {"no directory", 1, 0, 0, nullptr, "/tmp", 0, 0},
    {"an empty directory", 1, 0, 0, "", "/tmp", 0, 0},
};

TEST_F(CaptureTest, CheckComparesTheSetWithTheChoices) {
    for (const auto& c : kChecks) {
        SCOPED_TRACE(c.name);
        instance = host::create(host::root(), "module", host::Kind::group);
        set("currCount", c.count);
        set("currSaveMode", c.set_mode);
        set("saveMode", c.mode);
        if (c.directory) set("currDir", c.directory);
        if (c.parent) set("tmpDir", c.parent);
        set("warning", 0);
        set("done", 0);
        EXPECT_EQ(CheckTmpDirUpdate(instance, 0, 0), 1);
        EXPECT_EQ(get("warning"), c.warning);
        EXPECT_EQ(get("done"), c.done);
        EXPECT_EQ(reports, Texts());
    }
}

}  // namespace
}  // namespace zam::test
