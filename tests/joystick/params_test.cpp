// Joystick parameter files: texts and members, which file is read, what is saved.
#include <array>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "modules/zam/joystick/QELjoySetParams.h"
#include "tests/support/environment.h"
#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

using namespace std::string_literals;

const std::vector<std::string> kIntegers = [] {
    std::vector<std::string> names{"joystick", "interval"};
    for (const char axis : {'x', 'y', 'z', 'r'}) {
        for (const char i : {'0', '1', '2', '3'}) names.push_back(std::string{axis} + "_pos_" + i + "_mode");
    }
    for (int i = 1; i <= 8; ++i) names.push_back("btn_" + std::to_string(i) + "_mode");
    return names;
}();
const std::vector<std::string> kReals{"threshold",    "pos_threshold", "scale",        "rot_scale",
                                      "rot_offset",   "trans_scale",   "trans_offset", "scale_scale",
                                      "scale_offset", "btn_scale",     "btn_offset"};

/// What is saved first below, as the system writes it.
#if defined(_WIN32)
constexpr const char* kSaved = ZAM_TEST_DATA "/saved_windows.ini";
#else
constexpr const char* kSaved = ZAM_TEST_DATA "/saved_posix.ini";
#endif

std::string load_file(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// A profile without blanks and empty lines, which systems keep or take away.
std::string packed(const std::string& profile) {
    std::string text;
    for (const char c : profile) {
        if (c == ' ' || c == '\r' || (c == '\n' && text.ends_with('\n'))) continue;
        text += c;
    }
    return text;
}

class JoystickParams : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        set_all(-7);
        for (const char* name : {"use_default_file", "load_status", "loaded"}) set_int(name, 0);
        set_text("section", "joy");
        keeper = ZAM_LIB_QELjoySetParams_create(instance);
    }
    void TearDown() override {
        ZAM_LIB_QELjoySetParams_destroy(keeper);
        unset_variable("XP_PATH");
        ModuleTest::TearDown();
    }
    void set_all(int value) const {
        for (const auto& name : kIntegers) set_int(name.c_str(), value);
        for (const auto& name : kReals) set_real(name.c_str(), value);
    }
    int load() const { return ZAM_LIB_QELjoySetParams_load_params(keeper, 0, 0); }
    int init() const { return ZAM_LIB_QELjoySetParams_init_params(keeper, 0, 0); }
    int save() const { return ZAM_LIB_QELjoySetParams_save_params(keeper, 0, 0); }

    void* keeper = nullptr;
    ScratchDirectory scratch;
};

TEST_F(JoystickParams, LoadsEveryKey) {
    for (const auto& one : load_text_cases(ZAM_TEST_DATA "/settings.test", ">=")) {
        const std::string setting = one.list('>')[0];
        std::istringstream expected(one.text('='));
        std::string integer, real, mode;
        expected >> integer >> real >> mode;
        std::string text = "[JOY]\n";
        for (const auto& name : kIntegers) text += name + "=" + setting + "\n";
        for (const auto& name : kReals) text += name + " = " + setting + " \r\n";
        set_text("load_file", scratch.write("a.ini", text));
        set_all(-7);
        std::setlocale(LC_NUMERIC, "de_DE.UTF-8");  // with a decimal comma, where there is such a locale
        EXPECT_EQ(load(), 1);
        std::setlocale(LC_NUMERIC, "C");
        for (const auto& name : kIntegers)
            EXPECT_EQ(get(name), std::stoi(name.ends_with("_mode") ? mode : integer)) << name << one.name;
        const double single = static_cast<double>(std::stof(real));
        for (const auto& name : kReals) {
            const double value = get_real(name.c_str());
            EXPECT_TRUE(std::isnan(single) ? std::isnan(value) : value == single) << name << one.name << value;
        }
    }
    EXPECT_EQ(OMpop_ctx(), 0);  // every context that was pushed has been popped
    EXPECT_EQ(get("load_status"), 1);
    EXPECT_EQ(get("loaded"), 1);
}

TEST_F(JoystickParams, LeavesWhatTheFileDoesNotSay) {
    set_text("load_file", scratch.write("a.ini", "[joy]\ninterval=50\n[other]\njoystick=2\n"));
    EXPECT_EQ(load(), 1);
    EXPECT_EQ(get("interval"), 50);
    EXPECT_EQ(get("joystick"), -7);
    EXPECT_EQ(get_real("threshold"), -7);
    // 1023 characters are the longest text
    set_text("load_file", scratch.write("b.ini", "[joy]\nscale=" + std::string(1022, '0') + "12\n"));
    load();
    EXPECT_EQ(get_real("scale"), 1);
}

TEST_F(JoystickParams, NamesTheFile) {
    std::filesystem::create_directory(scratch.file("one"));
    std::filesystem::create_directory(scratch.file("two"));
    scratch.write("one/joy.ini", "[joy]\ninterval=1\n");
    scratch.write("two/joy.ini", "[joy]\ninterval=2\n");
    using State = std::array<int, 4>;  // result, interval of the file read, load_status, loaded
    const auto after = [this](int result) { return State{result, get("interval"), get("load_status"), get("loaded")}; };
    EXPECT_EQ(after(load()), (State{0, -7, 0, 0}));  // no load_file
    set_text("default_file", "joy.ini");
    EXPECT_EQ(after(init()), (State{1, -7, 0, 0}));  // XP_PATH is not set
    set_variable("XP_PATH", (scratch.file("one") + " " + scratch.file("two")).c_str());
    EXPECT_EQ(after(init()), (State{1, 1, 1, 1}));
    EXPECT_EQ(get("use_default_file"), 0);
    set_text("load_file", scratch.file("two\\joy.ini"));
    EXPECT_EQ(after(load()), (State{1, 2, 1, 1}));
    set_int("use_default_file", 1);
    EXPECT_EQ(after(load()), (State{1, 1, 1, 1}));
    set_text("default_file", "none.ini");
    EXPECT_EQ(after(load()), (State{1, 1, 1, 1}));  // a file that is not there was named all the same
    unset_variable("XP_PATH");
    EXPECT_EQ(after(load()), (State{0, 1, 0, 1}));
}

TEST_F(JoystickParams, SavesWithItsOddities) {
    EXPECT_EQ(save(), 1);  // no save_file
    set_int("joystick", 2);
    set_real("threshold", 0.1);
    set_real("scale", 1e10);
    set_real("rot_scale", NAN);
    set_real("btn_scale", -0.5);
    set_int("x_pos_1_mode", 5);
    host::destroy(host::find(instance, "rot_offset"));
    host::create(instance, "scale_offset", host::Kind::unset);
    set_text("save_file", scratch.file("new.ini"));
    EXPECT_EQ(save(), 1);
    const std::string saved = load_file(kSaved);
    EXPECT_EQ(scratch.read("new.ini"), saved);
    for (const char* system : {"posix", "windows"}) {  // each reads what the other has written
        set_int("interval", 1);
        set_real("threshold", 1);
        set_text("load_file",
                 scratch.write(system + "_saved.ini"s, load_file(ZAM_TEST_DATA "/saved_"s + system + ".ini")));
        set_text("save_file", scratch.file(system));
        EXPECT_EQ(load() + save(), 2);
        EXPECT_EQ(scratch.read(system), saved);
    }

    const std::string kept =
        "; mine\r\n[other]\r\njoystick=9\r\n\r\n[Joy]\r\n JOYSTICK = 1 \r\ntrans_scale=3\r\n"
        "btn_offset = 4\r\nunknown\r\n\r\n[last]\r\n";
    set_text("save_file", scratch.write("old.ini", kept));
    EXPECT_EQ(save(), 1);
    EXPECT_EQ(OMpop_ctx(), 0);
    const std::string mixed = packed(scratch.read("old.ini"));
    EXPECT_TRUE(
        mixed.starts_with(";mine\n[other]\njoystick=9\n[Joy]\nJOYSTICK=0\ntrans_scale=3\n"
                          "btn_offset=4\nunknown\nthreshold=0.100000\n"))
        << mixed;
    EXPECT_TRUE(mixed.ends_with("btn_8_mode=-7\n[last]\n")) << mixed;
    set_int("joystick", 4194305);  // a double whose lower half is not 0
    EXPECT_EQ(save(), 1);
    EXPECT_NE(packed(scratch.read("old.ini")).find("\nJOYSTICK=1073741824\n"), std::string::npos);
}

}  // namespace
}  // namespace zam::test
