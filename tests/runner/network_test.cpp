// Networks of the real modules: what they write and print is beside them.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/runner/support.h"

namespace zam::test {
namespace {

struct NetworkCase {
    const char* name;
    int status;
};

// steps: forward, backward over the end, a step by number, data flipped; another module follows the step.
// volume: a bar along x below the middle of the picture; turned by 90 degrees it stands right of the middle.
// joystick: classes whose methods run as their parameters change, a joystick plugged in late, polls, settings loaded.
// failing: a reader that cannot read, and what follows from that.
const NetworkCase kNetworks[] = {{"steps", 0}, {"volume", 0}, {"joystick", 0}, {"failing", 1}};

class Networks : public testing::TestWithParam<NetworkCase> {};

TEST_P(Networks, WriteWhatIsExpected) {
    const auto folder = std::filesystem::path(ZAM_TEST_NETWORKS) / GetParam().name;
    const Scratch scratch;
    const std::string command = "cd '" + folder.string() +
                                "' && unset ZAM_MODULE_PATH && '" ZAM_PROGRAM "' run network.json --output-dir '" +
                                scratch.file("") + "' --log '" + scratch.file("log") + "' >'" + scratch.file("stdout") +
                                "' 2>'" + scratch.file("stderr") + "' </dev/null";
    const int status = std::system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), GetParam().status);
    for (const auto& entry : std::filesystem::directory_iterator(folder / "expected")) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string expected{std::istreambuf_iterator<char>(in), {}};
        EXPECT_EQ(scratch.read(entry.path().filename()), expected) << entry.path();
    }
}

INSTANTIATE_TEST_SUITE_P(Real, Networks, testing::ValuesIn(kNetworks),
                         [](const auto& info) { return info.param.name; });

TEST(Info, FilesOfEachKind) {
    const Scratch scratch;
    const std::string command = "cd '" ZAM_TEST_NETWORKS "/../reader/data' && '" ZAM_PROGRAM "' info ";
    ASSERT_EQ(std::system((command + "written_out.fld >" + scratch.file("out")).c_str()), 0);
    EXPECT_EQ(scratch.read("out"),
              "file        written_out.fld (field file)\n"
              "grid        uniform\n"
              "dims        5 x 3 (15 nodes)\n"
              "space       2\n"
              "extent      0 0 to 4 2\n"
              "component   0: int, veclen 1, label \"height\", units \"m\", min 0, max 24\n"
              "time steps  3: \"1.50\" \"2.50\" \"3.50\"\n");
    ASSERT_EQ(std::system((command + "../../frt/data/m8_big_i8_plane.dat >" + scratch.file("grid")).c_str()), 0);
    EXPECT_EQ(scratch.read("grid"),
              "file        ../../frt/data/m8_big_i8_plane.dat (Fortran-record grid)\n"
              "grid        structured\n"
              "dims        5 x 4 (20 nodes)\n"
              "space       2\n"
              "extent      1.25 0.5 to 6 3.5\n"
              "component   0: float, veclen 1, label \"\", units \"\", min 37.166668, max 48.5\n"
              "component   1: float, veclen 1, label \"\", units \"\", min 70.5, max 81.833336\n"
              "time steps  1: 0.75\n");
    const std::string depths("\0\0\0\0\0\0\0\x3f", 8);  // 0, 0.5
    scratch.write("pceimg00000.img", "0000200001abcdABCD" + depths);
    ASSERT_EQ(
        std::system((command + scratch.file("pceimg00000.img") + " | tail -n +2 >" + scratch.file("capture")).c_str()),
        0);
    EXPECT_EQ(scratch.read("capture"),
              "grid        uniform\n"
              "dims        2 x 1 (2 nodes)\n"
              "space       2\n"
              "component   0: byte, veclen 4, label \"opacity, red, green, blue\", units \"\", min 65, max 100\n"
              "component   1: float, veclen 1, label \"depth\", units \"\", min 0, max 0.5\n");
    scratch.write("short.img", "0000200001abcdABCD" + depths.substr(1));
    EXPECT_EQ(
        WEXITSTATUS(std::system(("'" ZAM_PROGRAM "' info " + scratch.file("short.img") + " 2>/dev/null").c_str())), 1);
    scratch.write("voxel.txt", "time 1\n# x,y,z,a,b\n-1,0 ,+1e1,7,-2\r\n1,\t4,12,8,.5\n");
    ASSERT_EQ(
        std::system(("'" ZAM_PROGRAM "' info " + scratch.file("voxel.txt") + " >" + scratch.file("text")).c_str()), 0);
    EXPECT_EQ(scratch.read("text"),
              "file        " + scratch.file("voxel.txt") +
                  " (voxel text)\n"
                  "grid        uniform\n"
                  "dims        2 x 2 x 2 (8 nodes)\n"
                  "space       3\n"
                  "extent      -1 0 10 to 1 4 12\n"
                  "component   0: float, veclen 1, label \"value_0\", units \"\", min 7, max 8\n"
                  "component   1: float, veclen 1, label \"value_1\", units \"\", min -2, max 0.5\n"
                  "time steps  1\n");
    scratch.write("one.txt", "1 2 3 4\n");  // no grid
    EXPECT_NE(std::system(("'" ZAM_PROGRAM "' info " + scratch.file("one.txt") + " 2>/dev/null").c_str()), 0);
    scratch.write("bad.fld", "# AVS\nndim = 3\n");
    EXPECT_EQ(WEXITSTATUS(std::system(("'" ZAM_PROGRAM "' info " + scratch.file("bad.fld") + " 2>/dev/null").c_str())),
              1);
}

}  // namespace
}  // namespace zam::test
