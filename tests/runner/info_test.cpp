// What is told of data files, and of such that cannot be read: one line an error, whatever bytes the file has.
#include <gtest/gtest.h>

#include "tests/runner/support.h"

namespace zam::test {
namespace {

using namespace std::string_literals;

const std::string kToken = "zam: f: error: Problem reading file f: Unknown keyword at or near \"";
const std::string kDepths("\0\0\0\0\0\0\0\x3f", 8);  // 0, 0.5
const std::string kGrid = "0 0 0 1\n1 1 1 2\n1 1 1 -999\n1 1 1 nan\n";
const std::string kNotVoxels = "zam: error: f cannot be read as voxel text\n";

const struct {
    const char* name;
    std::string bytes, out, err;  // `out` is some of the lines; empty: nothing is told
} kFiles[] = {
    {"returns_and_escapes", "# AVS\r\nndim=1\r\n*\x1B]labels=p\r\n", "", kToken + "labels\"\n"},
    {"long_word", "# AVS\nn" + std::string(400, 'x'), "", kToken + "n" + std::string(59, 'x') + "...\"\n"},
    {"word_of_60", "# AVS\n" + std::string(60, 'x'), "", kToken + std::string(60, 'x') + "\"\n"},
    {"control_bytes", "# AVS\n\"\x1B[31m\t\x7F\xC2\x9B\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80\xFF\"\n", "",
     kToken + "\"\\x1B[31m\\x09\\x7F\\xC2\\x9B\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80\\xFF\"\"\n"},
    {"no_data", "# AVS\nndim=1 dim1=2 nspace=1 data=byte\nvariable 1 file=none filetype=binary", "",
     "zam: f: error: cannot open file none\n"},
    {"short_grid", "\x0C\0\0\0\3\0\0\0"s, "", "zam: f: error: Error! read jmax.\n"},
    {"short_capture", "0000500005abc", "", "zam: error: f is shorter than the size at its beginning says\n"},
    {"no_step", "0 0 0 1\n1 1 0 2\n", "",
     "zam: f: error: 2 samples make no grid: z never increases from one to the next, or is not finite, or too large or "
     "too close for ten millionths in 32 bits\n"},
    {"one_sample", "0 0 0 1\n", "", "zam: f: error: a grid needs two samples, there are 1\n"},
    {"no_z", "0 0 0 1\n1 2\n", "", "Unexpected error in reading z.\n" + kNotVoxels},
    {"returns_in_a_good_header", "# AVS\r\nndim=1\r\ndim1=2 nspace=1\r\ndata=byte \x1B\r\n\f\fab",
     "dims        2 (2 nodes)\n", ""},
    {"capture", "0000200001abcdABCD" + kDepths,
     "file        f (capture file)\ngrid        uniform\ndims        2 x 1 (2 nodes)\nspace       2\n"
     "component   0: byte, veclen 4, label \"opacity, red, green, blue\", units \"\", min 65, max 100\n"
     "component   1: float, veclen 1, label \"depth\", units \"\", min 0, max 0.5\n",
     ""},
    {"samples", "time 1\n# x,y,z,a,b\n-1,0 ,+1e1,7,-2\r\n1,\t4,12,8,.5\n1,4,10,-3\n",
     "file        f (voxel text)\ngrid        uniform\ndims        2 x 2 x 2 (8 nodes)\nspace       3\n"
     "extent      -1 0 10 to 1 4 12\n"
     "component   0: float, veclen 1, label \"value_0\", units \"\", min -3, max 8\n"
     "component   1: float, veclen 1, label \"value_1\", units \"\", min -2, max 0.5\n"
     "samples     3, 3 of them in the grid, at 3 nodes\n",
     ""},
    {"later_samples_stay", "1 1 1 9\n" + kGrid + "0 0 0 4\n",
     "min 4, max 4\nsamples     6, 6 of them in the grid, at 2 nodes\n",
     "zam: f: warning: 4 samples share a node with a later one, which stays; are all steps multiples of the last "
     "one?\n"},
    {"identifiers", "1 0 0 0\n300 1 1 1\n301 2 2 2\n", "dims        301 x 3 x 3 (2709 nodes)\n",
     "zam: f: warning: 2 samples lie outside the grid: coordinates are x, y and z, below 214.7483647\n"},
    {"grids_beyond_memory", "200 200 200 1\n0 0 0 2\n.0625 .0625 .0625 1\n",
     "samples     3, 3 of them in the grid, at 3 nodes\n",
     "zam: f: warning: few of the nodes have a sample; do the lines begin with x, y and z?\n"},
};

TEST(Info, TellsOfFiles) {
    for (const auto& file : kFiles) {
        const Scratch scratch;
        scratch.write("f", file.bytes);
        const auto run = scratch.zam("info f", ">.out 2>.err", "");
        EXPECT_EQ(run.status, file.out.empty() ? 1 : 0) << file.name;
        EXPECT_EQ(run.err, file.err) << file.name;
        EXPECT_EQ(run.out.find('\r'), std::string::npos) << file.name;
        EXPECT_TRUE(file.out.empty() ? run.out.empty() : run.out.find(file.out) != std::string::npos)
            << file.name << ": " << run.out;
    }
}

TEST(Info, TellsOfFilesOfOtherPrograms) {
    const std::pair<std::string, const char*> files[] = {
        {"written_out.fld",
         " (field file)\ngrid        uniform\ndims        5 x 3 (15 nodes)\nspace       2\nextent      0 0 to 4 2\n"
         "component   0: int, veclen 1, label \"height\", units \"m\", min 0, max 24\n"
         "time steps  3: \"1.50\" \"2.50\" \"3.50\"\n"},
        {"../../frt/data/m8_big_i8_plane.dat",
         " (Fortran-record grid)\ngrid        structured\ndims        5 x 4 (20 nodes)\nspace       2\n"
         "extent      1.25 0.5 to 6 3.5\n"
         "component   0: float, veclen 1, label \"\", units \"\", min 37.166668, max 48.5\n"
         "component   1: float, veclen 1, label \"\", units \"\", min 70.5, max 81.833336\n"
         "time steps  1: 0.75\n"},
    };
    const Scratch scratch;
    for (const auto& [name, out] : files) {
        const std::string path = ZAM_TEST_NETWORKS "/../reader/data/" + name;
        EXPECT_EQ(scratch.zam("info " + path, ">.out 2>.err", "").out, "file        " + path + out);
    }
}

}  // namespace
}  // namespace zam::test
