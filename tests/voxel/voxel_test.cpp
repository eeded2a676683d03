// Voxel text files read through the module: results, messages and where they go.
#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>

#include "modules/zam/rd_voxel.h"
#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace zam::test {
namespace {

using Texts = std::vector<std::string>;

const Texts kWrongFormat{"This module support [x(,) y(,) z(,) value] format."};

class Voxels : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        make_instance();
    }
    void make_instance() {
        out = host::create(instance, "outfld", host::Kind::field);
        host::create(instance, "time_label", host::Kind::unset);
        set_text("filename", file_);
        reports.clear();
    }
    /// Updates; what goes to the two streams is kept.
    int update() {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int result = ZAMread_voxel_update(instance, 0, 0);
        said = testing::internal::GetCapturedStderr();
        printed = testing::internal::GetCapturedStdout();
        return result;
    }
    int read(const std::string& bytes) {
        scratch_.write("samples.txt", bytes);
        return update();
    }

    OMobj_id out{};
    std::string said, printed;  // on the standard error and standard output stream

private:
    const ScratchDirectory scratch_;
    const std::string file_ = scratch_.file("samples.txt");
};

TEST_F(Voxels, FillAUniformField) {
    set_int("iheader", 1);
    set_text("timekey", "time");
    std::string bytes = "run 7 time= 3.5 s\r\n# x y z pressure, speed\n";
    for (const std::string z : {"0", ".5", "1", "1.5", "2"})
        for (const std::string y : {"-1", "-0.5", "0", "5e-1", "1"})
            for (const std::string x : {"10", "10.5", "11"})
                bytes += x + "," + y + " ,\t" + z + "," + z + "," + x + "\n";
    ASSERT_EQ(read(bytes), 0);  // deliberate: the comment has the first line's columns, and those are two
    bytes.replace(bytes.find("# x y z p"), 9, "# x,y,z,p");
    make_instance();
    ASSERT_EQ(read(bytes), 1) << said;
    EXPECT_EQ(dims(out), (std::vector<xp_long>{3, 5, 5}));
    EXPECT_EQ(positions(out, FLDget_points), (std::vector<float>{10, -1, 0, 11, 1, 2}));
    EXPECT_EQ(values(out, 0)[15 * 3], 1.5F);
    EXPECT_EQ(values(out, 1)[7], 10.5F);
    EXPECT_EQ(text("time_label"), "time= 3.5 s\r\n");
    int type = 0, flag = 0, ncomp = 0;
    FLDget_node_data_ncomp(out, &ncomp);
    EXPECT_EQ(ncomp, 2);
    float null_value = 0.0F;
    std::string label(FLD_LABEL_SIZE, '\0');
    FLDget_grid_type(out, &type);
    FLDget_node_null_data(out, 1, &flag, &null_value);
    FLDget_node_data_label(out, 1, label.data(), FLD_LABEL_SIZE);
    EXPECT_EQ(type, FLD_UNIFORM);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(null_value, -999.0F);
    EXPECT_EQ(label.c_str(), std::string("value_1"));
    EXPECT_EQ(reports, Texts());
    EXPECT_EQ(said + printed, "");

    // another size into the same field
    ASSERT_EQ(read("\n0 0 0 1 2\n1 1 1 3 4\n"), 1) << said;
    EXPECT_EQ(dims(out), (std::vector<xp_long>{2, 2, 2}));
    EXPECT_EQ(text("time_label"), "");
}

/// Cases of data/files.test. Marks: > lines of the file, = values of the first component, ~ time label, ! what is said
/// on the standard error stream, ? report. In parentheses: header lines, time key.
class VoxelFile : public Voxels, public testing::WithParamInterface<TextCase> {};

TEST_P(VoxelFile, GivesValuesOrMessage) {
    const TextCase& test = GetParam();
    std::istringstream form(test.form);
    int lines = 0;
    if (form >> lines) set_int("iheader", lines);
    if (std::string key; form >> key) set_text("timekey", key == "-" ? "" : key);
    set_real("null_value", -5.0);
    const Texts expected = test.list('=');
    EXPECT_EQ(read(test.text('>')), expected.empty() ? 0 : 1);
    EXPECT_EQ(said, test.text('!'));
    EXPECT_EQ(printed, "");
    EXPECT_EQ(reports, test.list('?'));
    EXPECT_EQ(text("time_label"), expected.empty() ? "none" : test.text('~'));
    std::ostringstream found;  // nothing in an output that stays as it was
    for (const float value : values(out, 0)) found << (found.tellp() > 0 ? "," : "") << value;
    EXPECT_EQ(found.str(), expected.empty() ? "" : expected.front());
}

INSTANTIATE_TEST_SUITE_P(Texts, VoxelFile, testing::ValuesIn(load_text_cases(ZAM_TEST_DATA "/files.test", ">=~!?")),
                         [](const auto& info) { return info.param.name; });

TEST_F(Voxels, FilesThatCannotBeReadAreReported) {
    set_text("filename", "nowhere/100%d.txt");
    EXPECT_EQ(update(), 0);
    host::destroy(host::find(instance, "filename"));
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(reports, (Texts{"Cannot open filename.: nowhere/100%d.txt", "Cannot get filename."}));

    make_instance();
    set_text("filename", "/dev/zero");  // has no length, and no end
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(reports, kWrongFormat);
}

/// Ends the program where module and plain form differ.
void compare_with_plain(const std::string& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

TEST(PlainVoxels, AreTheSame) {
    std::mt19937 random(7);
    const auto pick = [&](const auto& from) { return from[random() % std::size(from)]; };
    const std::string kNumbers[] = {"0", "1", "2", "3.0", "1e0", "+2", ".5", "-1", "1.5", "0x2", "2abc", "1e-3", "nan"};
    const std::string kValues[] = {"7", "-0", "1e400", "inf", "1.17549430e-38", "0.1", "x", "123456789.123456789"};
    for (int file = 0; file < 400; ++file) {
        const bool commas = random() % 2 == 0;
        const auto separator = [&] {
            return commas ? pick(Texts{",", ", ", " ,", ",\t"}) : pick(Texts{" ", "  ", "\t", " \t "});
        };
        std::string bytes = random() % 4 == 0 ? "1header\n" : "0";  // lines of it in front, as the comparison has it
        const unsigned odd = file % 2 == 0 ? 4 : 13;                // every second file has ordinary coordinates only
        for (unsigned line = 0; line < 6 + random() % 30; ++line) {
            if (random() % 8 == 0) bytes += pick(Texts{"#,", "", "  ", "\t", "# 1 2 3 4"}) + "\n";
            for (int axis = 0; axis < 3; ++axis) bytes += kNumbers[random() % odd] + separator();
            for (unsigned value = 0; value < random() % 4; ++value) bytes += pick(kValues) + separator();
            bytes += pick(kValues) + pick(Texts{"\n", "\r\n", " \n", "#\n", "\t\n"});
            if (random() % 40 == 0) bytes += std::string(1010 + random() % 20, pick(std::string(" \t,1"))) + "5\n";
        }
        compare_with_plain(bytes);
    }
    std::string large = "0";  // many blocks
    for (int i = 0; i < 40'000; ++i) {
        const int values[] = {i % 40, i / 40 % 40, i / 1600};
        for (const int at : values) large += std::to_string(at * 0.25 - 3.0) + " ";
        large += std::to_string(static_cast<double>(random()) * 1e-3) + "\n";
    }
    compare_with_plain(large);
}

}  // namespace
}  // namespace zam::test
