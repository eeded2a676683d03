// Captures on disk and in memory: what they leave, which messages say that they failed, and what stays then.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "modules/zam/ZBufCapture.h"
#include "tests/capture/capture_fixture.h"

namespace zam::test {
namespace {

const Texts kProgress{"ZBufCapture 0", "ZBufCapture 0", "ZBufCapture 50", "<idle> 100"};

const DepthImage kFirst{{9, 1, 2, 3, 8, 4, 5, 6}, {0.25F, 1}};
const DepthImage kSecond = one_color({7, 10, 20, 30}, {0, 0.5F, 0.75F});

class Capture : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        setenv("USERNAME", "ada", 1);
        make_instance();
    }
    void make_instance() {
        instance = host::create(host::root(), "module", host::Kind::group);
        for (const char* name : {"saveMode", "currCount", "done", "warning"}) set(name, 0);
        set("active", 1);
        set("currSaveMode", 9);
        set("tmpDir", directory.string());
        set("currDir", "");
        set("currTmpDir", "");
        make_list("out", 0);
        make_list("in", 2);
        fill_image(element("in", 0), 2, 1, kFirst);
        fill_image(element("in", 1), 1, 3, kSecond);
    }
    void update(int seq = 7) const { EXPECT_EQ(ZBufCaptureUpdate(instance, 0, seq), 1); }
    std::string set_name(int seq = 7) const { return "ada" + std::to_string(getpid()) + "." + std::to_string(seq); }
    fs::path set_file(const char* name) const { return directory / set_name() / name; }
    /// Lets captures go to the test's directory.
    void continue_set() const { set("currDir", directory.string()); }
    xp_long captures_in_memory() const {
        xp_long count = -1;
        OMget_array_size(host::find(instance, "out"), &count);
        return count;
    }
};

TEST_F(Capture, AppendsFilesToTheSet) {
    update();
    EXPECT_EQ(take_statuses(), kProgress);
    EXPECT_EQ(text("currDir"), directory.string() + "\\" + set_name());
    EXPECT_EQ(text("currTmpDir"), directory.string());
    EXPECT_EQ(get("currSaveMode"), 0);
    update(8);
    EXPECT_EQ(names(), Texts{set_name()});
    EXPECT_EQ(get("currCount"), 4);
    EXPECT_EQ(get("done"), 1);
    EXPECT_EQ(read(set_file("pceimg00000.img")), file_bytes("0000200001", kFirst));
    EXPECT_EQ(read(set_file("pceimg00003.img")), file_bytes("0000100003", kSecond));
    EXPECT_FALSE(fs::exists(set_file("depth.data")));
    EXPECT_EQ(captures_in_memory(), 0);
    EXPECT_EQ(reports, Texts());
}

TEST_F(Capture, GoesWithoutAUserNameAndTakesTheLargestSize) {
    unsetenv("USERNAME");
    const DepthImage wide = one_color({1, 2, 3, 4}, std::vector<float>(99999, 1));
    fill_image(element("in", 0), 99999, 1, wide);
    update(3);
    const std::string name = std::to_string(getpid()) + ".3";
    EXPECT_EQ(text("currDir"), directory.string() + "\\" + name);
    EXPECT_EQ(read(directory / name / "pceimg00000.img"), file_bytes("9999900001", wide));
}

TEST_F(Capture, AppendsFieldsInMemory) {
    set("saveMode", 1);
    set("currCount", 77);  // the list counts
    update();
    EXPECT_EQ(take_statuses(), kProgress);
    update();
    EXPECT_EQ(get("currCount"), 4);
    EXPECT_EQ(captures_in_memory(), 4);
    EXPECT_EQ(values(element("out", 2), 0), (std::vector<float>{9, 1, 2, 3, 8, 4, 5, 6}));
    EXPECT_EQ(values(element("out", 3), 1), kSecond.depths);
    HostArray<xp_long> dims;
    int ndim = 0;
    ASSERT_EQ(FLDget_dims(element("out", 3), dims.place(), &ndim), 1);
    EXPECT_EQ(std::vector<xp_long>(dims.data(), dims.data() + ndim), (std::vector<xp_long>{1, 3}));
    EXPECT_EQ(names(), Texts());
    EXPECT_EQ(text("currDir") + text("currTmpDir") + std::to_string(get("currSaveMode")), "9");
    EXPECT_EQ(reports, Texts());
}

TEST_F(Capture, DoesNothingWithoutACause) {
    const auto expect_nothing = [this](const char* what, int done) {
        SCOPED_TRACE(what);
        update();
        EXPECT_EQ(take_statuses(), Texts{"<idle> 100"});
        EXPECT_EQ(names(), Texts());
        EXPECT_EQ(get("done"), done);
        EXPECT_EQ(reports, Texts());
        make_instance();
    };
    set("active", 0);
    expect_nothing("not active", 0);
    set("saveMode", 2);
    expect_nothing("a mode that captures nothing", 1);
    take_away("saveMode");
    expect_nothing("no mode", 0);
    make_list("in", 0);
    expect_nothing("no images", 0);
    take_away("in");
    expect_nothing("no list", 0);
    take_away("active");
    update();
    EXPECT_EQ(take_reports(), Texts{"Can't get active ( this module activate flag )\n"});
    EXPECT_EQ(report_call, "ERRverror '' 96");
    EXPECT_EQ(get("currCount"), 2);
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
        set("saveMode", 0);
        update();
        EXPECT_EQ(take_reports(), Texts{"Can not output image.\n"});
        EXPECT_EQ(fs::file_size(directory / "pceimg00000.img"), 26U);
        EXPECT_EQ(fs::file_size(directory / "pceimg00001.img"), defect.left);
        EXPECT_EQ(get("done"), 1);
        set("saveMode", 1);
        set("done", 0);
        update();
        EXPECT_EQ(take_reports(), (Texts{"Can not copy image.\n", "Can not capture image on Memory.\n"}));
        EXPECT_EQ(captures_in_memory(), 2);
        EXPECT_EQ(get("currCount") + get("done"), 0);
        make_list("out", 0);
    }
}

TEST_F(Capture, SaysWhyThereIsNoDirectory) {
    const Texts outer{"Can not make image save directory.\n", "Can not capture image in Disk.\n"};
    const auto expect_reports = [this](const char* what, Texts expected, const Texts& outer_reports) {
        SCOPED_TRACE(what);
        expected.insert(expected.end(), outer_reports.begin(), outer_reports.end());
        update();
        EXPECT_EQ(take_reports(), expected);
        EXPECT_EQ(take_statuses(), Texts{"<idle> 100"});
        EXPECT_EQ(text("currDir"), "");
        EXPECT_EQ(get("done"), 0);
        make_instance();
    };
    const Texts no_parent{"Can not get Temporary Directory.\n", "Can not capture image in Disk.\n"};
    take_away("tmpDir");
    expect_reports("no parent", no_parent, {});
    set("tmpDir", "");
    expect_reports("an empty parent", no_parent, {});
    set("tmpDir", file("none"));
    expect_reports("a parent that is not there", {"Can not create Save Directory.\n"}, outer);
    write("plain", "");
    set("tmpDir", file("plain"));
    expect_reports("a parent that is a file", {"Can not create Save Directory.\n"}, outer);
    set("tmpDir", file(std::string(5000, 'x')));
    expect_reports("a name too long", {"Can not create Save Directory.\n"}, outer);
    fs::create_directory(directory / set_name());
    expect_reports("there already", {"Can not create Save Directory.\n"}, outer);
    write(set_name() + "/depth.data", "other");
    expect_reports("in use", {"Sorry, temporary file is already exist.Please select other directory.\n"}, outer);
    EXPECT_EQ(read(set_file("depth.data")), "other");
    fs::remove_all(directory / set_name());
    take_away("currDir");
    update();
    EXPECT_EQ(take_reports(), outer);
    EXPECT_FALSE(fs::exists(directory / set_name()));  // nobody would know of it
}

TEST_F(Capture, ReportsFilesThatCannotBeWritten) {
    const auto expect_failure = [this](const char* what) {
        SCOPED_TRACE(what);
        update();
        EXPECT_EQ(take_reports(), Texts{"Can not output image.\n"});
        EXPECT_EQ(get("currCount"), 0);
        EXPECT_EQ(get("done"), 1);
        fs::remove_all(directory / "pceimg00000.img");
    };
    continue_set();
    fs::create_symlink("/dev/full", directory / "pceimg00000.img");
    expect_failure("a full disk");
    fs::create_directory(directory / "pceimg00000.img");
    expect_failure("a directory of that name");
    mkfifo(file("pceimg00000.img").c_str(), 0600);
    expect_failure("a pipe");
    set("currDir", file("vanished"));
    expect_failure("no directory");
    set("currCount", -1);
    continue_set();
    update();
    EXPECT_EQ(take_reports(), Texts{"Can not output image.\n"});
    EXPECT_EQ(names(), Texts());
}

TEST_F(Capture, SeesADiskThatFillsUp) {
    // a limit on the size of files stands for the disk; it strikes within the depths
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    auto* const handler = signal(SIGXFSZ, SIG_IGN);
    continue_set();
    const DepthImage large = one_color({1, 2, 3, 4}, std::vector<float>(10000, 1));
    fill_image(element("in", 1), 100, 100, large);
    const rlimit limit{60000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    update();
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_EQ(take_reports(), Texts{"Can not output image.\n"});
    EXPECT_EQ(get("currCount"), 0);
    EXPECT_EQ(read(directory / "pceimg00000.img"), file_bytes("0000200001", kFirst));
}

}  // namespace
}  // namespace zam::test
