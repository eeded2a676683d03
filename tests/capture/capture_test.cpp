// Captures on disk and in memory: what they leave, how failures are reported, and what stays then.
#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <functional>

#include "modules/zam/ZBufCapture.h"
#include "platform/directory.h"
#include "tests/capture/capture_fixture.h"
#include "tests/support/environment.h"

namespace zam::test {
namespace {

const Texts kProgress{"ZBufCapture 0", "ZBufCapture 0", "ZBufCapture 50", "<idle> 100"};

const DepthImage kFirst{{9, 1, 2, 3, 8, 4, 5, 6}, {0.25F, 1}};
const DepthImage kSecond = one_color({7, 10, 20, 30}, {0, 0.5F, 0.75F});

class Capture : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        set_variable("USERNAME", "ada");
        make_instance();
    }
    void make_instance() {
        instance = host::create(host::root(), "module", host::Kind::group);
        for (const char* name : {"saveMode", "currCount", "done", "warning"}) set_int(name, 0);
        set_int("active", 1);
        set_int("currSaveMode", 9);
        set_text("tmpDir", scratch.path());
        set_text("currDir", "");
        set_text("currTmpDir", "");
        make_list("out", 0);
        make_list("in", 2);
        fill_image(element("in", 0), 2, 1, kFirst);
        fill_image(element("in", 1), 1, 3, kSecond);
    }
    void update(int seq = 7) const { EXPECT_EQ(ZBufCaptureUpdate(instance, 0, seq), 1); }
    std::string set_name(int seq = 7) const {
        return "ada" + std::to_string(platform::process_id()) + "." + std::to_string(seq);
    }
    fs::path set_file(const char* name) const { return directory / set_name() / name; }
    /// Lets captures go to the test's directory.
    void continue_set() const { set_text("currDir", scratch.path()); }
};

TEST_F(Capture, AppendsFilesToTheSet) {
    update();
    EXPECT_EQ(take_statuses(), kProgress);
    EXPECT_EQ(text("currDir"), scratch.path() + "\\" + set_name());
    EXPECT_EQ(text("currTmpDir"), scratch.path());
    EXPECT_EQ(get("currSaveMode"), 0);
    update(8);
    EXPECT_EQ(names(), Texts{set_name()});
    EXPECT_EQ(get("currCount"), 4);
    EXPECT_EQ(get("done"), 1);
    EXPECT_EQ(scratch.read(set_file("pceimg00000.img")), file_bytes("0000200001", kFirst));
    EXPECT_EQ(scratch.read(set_file("pceimg00003.img")), file_bytes("0000100003", kSecond));
    EXPECT_FALSE(fs::exists(set_file("depth.data")));
    EXPECT_EQ(elements("out"), 0);
    EXPECT_EQ(reports, Texts());
}

TEST_F(Capture, DoesWithoutAUserNameAndTakesTheLargestSize) {
    unset_variable("USERNAME");
    const DepthImage wide = one_color({1, 2, 3, 4}, std::vector<float>(99999, 1));
    fill_image(element("in", 0), 99999, 1, wide);
    update(3);
    const std::string name = std::to_string(platform::process_id()) + ".3";
    EXPECT_EQ(text("currDir"), scratch.path() + "\\" + name);
    EXPECT_EQ(scratch.read(directory / name / "pceimg00000.img"), file_bytes("9999900001", wide));
}

TEST_F(Capture, AppendsFieldsInMemory) {
    set_int("saveMode", 1);
    set_int("currCount", 77);  // the list counts
    update();
    EXPECT_EQ(take_statuses(), kProgress);
    update();
    EXPECT_EQ(get("currCount"), 4);
    EXPECT_EQ(elements("out"), 4);
    EXPECT_EQ(values(element("out", 2), 0), (std::vector<float>{9, 1, 2, 3, 8, 4, 5, 6}));
    EXPECT_EQ(values(element("out", 3), 1), kSecond.depths);
    EXPECT_EQ(dims(element("out", 3)), (std::vector<xp_long>{1, 3}));
    EXPECT_EQ(names(), Texts());
    EXPECT_EQ(text("currDir") + text("currTmpDir") + std::to_string(get("currSaveMode")), "9");
    EXPECT_EQ(reports, Texts());
}

TEST_F(Capture, DoesNothingWithoutACause) {
    const auto expect_nothing = [this](int done) {
        update();
        EXPECT_EQ(take_statuses(), Texts{"<idle> 100"});
        EXPECT_EQ(names(), Texts());
        EXPECT_EQ(get("done"), done);
        EXPECT_EQ(reports, Texts());
    };
    set_int("active", 0);
    expect_nothing(0);
    set_int("active", 1);
    make_list("in", 0);
    expect_nothing(0);
    make_list("in", 2);
    set_int("saveMode", 2);  // captures nothing
    expect_nothing(1);
    take_away("active");
    update();
    EXPECT_EQ(report_call, "ERRverror '' 96");
    reports.clear();
}

TEST_F(Capture, RefusesImagesOfAnotherShape) {
    std::vector<Defect> defects(std::begin(kDefects), std::end(kDefects));
    defects.push_back({"three components", 0, [](OMobj_id image) { FLDset_node_data_ncomp(image, 3); }});
    defects.push_back({"wider than five digits", 0, [](OMobj_id image) { set_dims(image, 100000, 1); }});
    continue_set();
    for (const Defect& defect : defects) {
        SCOPED_TRACE(defect.name);
        fill_image(element("in", 1), 1, 3, kSecond);
        defect.spoil(element("in", 1));
        set_int("saveMode", 0);
        update();
        EXPECT_EQ(take_reports(), Texts{"Can not output image.\n"});
        EXPECT_EQ(fs::file_size(directory / "pceimg00000.img"), 26U);
        EXPECT_EQ(fs::file_size(directory / "pceimg00001.img"), defect.left);
        EXPECT_EQ(get("done"), 1);
        set_int("saveMode", 1);
        set_int("done", 0);
        update();
        EXPECT_EQ(take_reports(), (Texts{"Can not copy image.\n", "Can not capture image on Memory.\n"}));
        EXPECT_EQ(elements("out"), 2);
        EXPECT_EQ(get("currCount") + get("done"), 0);
        make_list("out", 0);
    }
}

TEST_F(Capture, SaysWhyThereIsNoDirectory) {
    const std::string no_parent = "Can not get Temporary Directory.\n";
    const std::string not_made = "Can not create Save Directory.\n";
    const std::string outer = "Can not make image save directory.\n";
    scratch.write("plain", "");
    const struct {
        const char* what;
        std::function<void()> prepare;
        Texts expected;
    } kCases[] = {
        {"an empty parent", [&] { set_text("tmpDir", ""); }, {no_parent}},
        {"a parent that is not there", [&] { set_text("tmpDir", scratch.file("none")); }, {not_made, outer}},
        {"a parent that is a file", [&] { set_text("tmpDir", scratch.file("plain")); }, {not_made, outer}},
        {"a name too long", [&] { set_text("tmpDir", scratch.file(std::string(5000, 'x'))); }, {not_made, outer}},
        {"there already", [&] { fs::create_directory(directory / set_name()); }, {not_made, outer}},
        {"in use",
         [&] { scratch.write(set_name() + "/depth.data", "other"); },
         {"Sorry, temporary file is already exist.Please select other directory.\n", outer}},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        make_instance();
        c.prepare();
        update();
        Texts expected = c.expected;
        expected.emplace_back("Can not capture image in Disk.\n");
        EXPECT_EQ(take_reports(), expected);
        EXPECT_EQ(take_statuses(), Texts{"<idle> 100"});
        EXPECT_EQ(text("currDir"), "");
        EXPECT_EQ(get("done"), 0);
    }
    EXPECT_EQ(scratch.read(set_file("depth.data")), "other");
}

TEST_F(Capture, ReportsFilesThatCannotBeWritten) {
    const fs::path image = directory / "pceimg00000.img";
    [[maybe_unused]] const auto full_disk = [&] { fs::create_symlink("/dev/full", image); };
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"a directory of that name", [&] { fs::create_directory(image); }},
#if !defined(_WIN32)  // which has no files that are pipes or always full
        {"a pipe", [&] { mkfifo(image.c_str(), 0600); }},
        {"a full disk, which closing finds", full_disk},
        {"a full disk, which writing finds",
         [&] {
             full_disk();
             fill_image(element("in", 0), 100, 100, one_color({1, 2, 3, 4}, std::vector<float>(10000, 1)));
         }},
#endif
        {"no directory", [&] { set_text("currDir", scratch.file("vanished")); }},
        {"no number", [&] { set_int("currCount", -1); }},
    };
    for (const auto& [what, prepare] : cases) {
        SCOPED_TRACE(what);
        make_instance();
        continue_set();
        prepare();
        const int count = get("currCount");
        update();
        EXPECT_EQ(take_reports(), Texts{"Can not output image.\n"});
        EXPECT_EQ(get("currCount"), count);
        EXPECT_EQ(get("done"), 1);
        fs::remove_all(image);
        EXPECT_EQ(names(), Texts());
    }
}

}  // namespace
}  // namespace zam::test
