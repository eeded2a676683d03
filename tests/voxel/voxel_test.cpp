// Voxel text files read through the module: results, messages and where they go, a host and a heap that refuse.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <random>

#include "modules/zam/rd_voxel.h"
#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace zam::test {
namespace {

using namespace std::string_literals;

using Texts = std::vector<std::string>;

const Texts kWrongFormat{"This module support [x(,) y(,) z(,) value] format."};
constexpr const char* kUnexpected = "Unexpected error\n";

class Voxels : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        make_instance();
    }
    void make_instance() {
        out = host::create(instance, "outfld", host::Kind::field);
        host::create(instance, "filename", host::Kind::text);
        host::create(instance, "time_label", host::Kind::unset);
        OMset_name_str_val(instance, OMstr_to_name("filename"), file_.c_str());
        reports.clear();
    }
    void set_header(int lines) {
        host::create(instance, "iheader", host::Kind::integer);
        OMset_name_int_val(instance, OMstr_to_name("iheader"), lines);
    }
    void set_time_key(const std::string& key) {
        host::create(instance, "timekey", host::Kind::text);
        OMset_name_str_val(instance, OMstr_to_name("timekey"), key.c_str());
    }
    void write(const std::string& bytes) const { std::ofstream(file_, std::ios::binary) << bytes; }
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
        write(bytes);
        return update();
    }

    std::vector<xp_long> dims() const {
        HostArray<xp_long> dims;
        int ndim = 0;
        if (FLDget_dims(out, dims.place(), &ndim) != 1) return {};
        return {dims.data(), dims.data() + ndim};
    }
    int ncomp() const {
        int count = -1;
        FLDget_node_data_ncomp(out, &count);
        return count;
    }
    std::string label() const {
        std::string text(1024, '\0');
        char* place = text.data();
        if (OMget_name_str_val(instance, OMstr_to_name("time_label"), &place, 1024) != 1) return "none";
        return text.c_str();
    }
    OMobj_id out{};
    std::string said, printed;  // on the standard error and standard output stream

private:
    const ScratchDirectory scratch_;
    const std::string file_ = scratch_.file("samples.txt");
};

TEST_F(Voxels, FillAUniformField) {
    set_header(1);
    set_time_key("time");
    std::string bytes = "run 7 time= 3.5 s\r\n# x y z pressure, speed\n";
    for (const std::string z : {"0", ".5", "1", "1.5", "2"})
        for (const std::string y : {"-1", "-0.5", "0", "5e-1", "1"})
            for (const std::string x : {"10", "10.5", "11"})
                bytes += x + "," + y + " ,\t" + z + "," + z + "," + x + "\n";
    ASSERT_EQ(read(bytes), 0);  // deliberate: the comment has the first line's columns, and those are two
    bytes.replace(bytes.find("# x y z p"), 9, "# x,y,z,p");
    make_instance();
    ASSERT_EQ(read(bytes), 1) << said;
    EXPECT_EQ(dims(), (std::vector<xp_long>{3, 5, 5}));
    EXPECT_EQ(positions(out, FLDget_points), (std::vector<float>{10, -1, 0, 11, 1, 2}));
    ASSERT_EQ(ncomp(), 2);
    EXPECT_EQ(values(out, 0)[15 * 3], 1.5F);
    EXPECT_EQ(values(out, 1)[7], 10.5F);
    EXPECT_EQ(label(), "time= 3.5 s\r\n");
    int type = 0;
    int flag = 0;
    float null_value = 0.0F;
    std::string text(FLD_LABEL_SIZE, '\0');
    FLDget_grid_type(out, &type);
    FLDget_node_null_data(out, 1, &flag, &null_value);
    FLDget_node_data_label(out, 1, text.data(), FLD_LABEL_SIZE);
    EXPECT_EQ(type, FLD_UNIFORM);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(null_value, -999.0F);
    EXPECT_EQ(text.c_str(), std::string("value_1"));
    EXPECT_EQ(reports, Texts());
    EXPECT_EQ(said + printed, "");

    // another size into the same field
    ASSERT_EQ(read("\n0 0 0 1 2\n1 1 1 3 4\n"), 1) << said;
    EXPECT_EQ(dims(), (std::vector<xp_long>{2, 2, 2}));
    EXPECT_EQ(label(), "");
}

TEST_F(Voxels, SamplesLandInTheirCells) {
    struct Case {
        const char* name;
        std::string bytes;
        std::vector<float> values;  // of component 0 of two
    };
    const std::string corners = "0 0 0 1 9\n1 1 1 2 9\n";
    const std::vector<float> expected{1, -5, -5, -5, -5, -5, -5, 2};
    const Case kCases[] = {
        {"gaps", corners, expected},
        {"no line end", corners.substr(0, corners.size() - 1), expected},
        {"CR LF, blank and commented lines", " \r\n0 0 0 1 9\r\n\t\r\n1 0 0 7 9 #no\r\n1 1 1 2 9\r\n", expected},
        {"tabs", "0\t0\t\t0 1\t9\n\t1 1 1\t2\t9\t\n", expected},
        {"later wins", "0 0 0 8 9\n" + corners, expected},
        {"more fields than columns", corners + "0 0 0 1 9 8 7\n", expected},
        {"beyond the fixed point",
         "0 0 0 1 9\n300 0 0 5 5\n0 0 0 1 9\n100 1 1 2 9\n",
         {1, -5, -5, -5, -5, -5, -5, -5, -5, -5, -5, -5, -5, 2, -5, -5}},
        {"x fastest", corners + "1 0 0 3 9\n0 1 0 4 9\n0 0 1 5 9\n", {1, 3, 4, -5, 5, -5, -5, 2}},
        {"missing values", "0 0 0 1 9\n1 0 0\n1 1 1 2\n", expected},
        {"empty between commas", "0,0,0,1,9\n1,0,0,,4\n0,1,0, ,4\n1,1,1,2,\n", expected},
        {"not a number is 0", "a b c 1 9\n1 1 1 2 9\n", expected},
        {"not a number is 0 for values", "0 0 0 x 9\n1 1 1 2 9\n", {0, -5, -5, -5, -5, -5, -5, 2}},
        {"long lines are cut", "0 0 0 1 9" + std::string(1020, ' ') + "#\n1 1 1 2 9" + std::string(3000, '1') + "#\n",
         expected},
        {"tabs push values out",
         "0 0 0 1 9\n1 1 1" + std::string(700, '\t') + "2 9\n",
         {1, -5, -5, -5, -5, -5, -5, -5}},
        {"a NUL ends its line", "0 0 0 1 9\0#\n\0 5 5 5\n1 1 1 2 9\n"s, expected},
    };
    for (const auto& test : kCases) {
        make_instance();
        host::create(instance, "null_value", host::Kind::real);
        OMset_name_real_val(instance, OMstr_to_name("null_value"), -5.0);
        EXPECT_EQ(read(test.bytes), 1) << test.name << ": " << said;
        EXPECT_EQ(values(out, 0), test.values) << test.name;
    }
}

TEST_F(Voxels, FailuresAreSaidOnce) {
    struct Case {
        std::string bytes;
        int header;
        std::string said;
        Texts reports;
    };
    const Case kCases[] = {
        {"", 0, "", kWrongFormat},
        {"\n \n", 0, "", kWrongFormat},
        {"1 2 3\n1 2 3 4\n", 0, "", kWrongFormat},
        {"0 0 0 1\n1 1 1 1\n", 2, "", kWrongFormat},
        {"0 0 0 1\n1 1 1 1\n", 2147483647, "", kWrongFormat},
        {"0 0 0 1\n", -1, kUnexpected, {}},
        {"# a b c\n", 0, kUnexpected, {}},
        {"0 0 0 1\n1 1 0 1\n", 0, kUnexpected, {}},
        {"0 0 0 1\n1 nan 1 1\n2 2 2 2", 0, kUnexpected, {}},
        {"0 0 0 1\n2e-7 2e-7 2e-7 1\n200 200 200 1\n200.0001 200.0001 200.0001 1", 0, kUnexpected, {}},  // 8e18 nodes
        {"0,0,0,1\n,1,1,1\n", 0, "Unexpected error in reading x.\n", {}},
        {"0 0 0 1\n1\n1\n", 0, "Unexpected error in reading y.\n", {}},
        {"0,0,0,1\n1,1, ,1\n", 0, "Unexpected error in reading z.\n", {}},
    };
    for (const auto& test : kCases) {
        make_instance();
        set_header(test.header);
        EXPECT_EQ(read(test.bytes), 0) << test.bytes.substr(0, 80);
        EXPECT_EQ(said, test.said) << test.bytes.substr(0, 80);
        EXPECT_EQ(reports, test.reports) << test.bytes.substr(0, 80);
        EXPECT_EQ(printed, "");
        EXPECT_EQ(ncomp(), 0) << "the output stays as it was";
        EXPECT_EQ(label(), "none");
    }
}

TEST_F(Voxels, FilesThatCannotBeReadAreReported) {
    OMset_name_str_val(instance, OMstr_to_name("filename"), "nowhere/100%d.txt");
    EXPECT_EQ(update(), 0);
    host::destroy(host::find(instance, "filename"));
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(reports, (Texts{"Cannot open filename.: nowhere/100%d.txt", "Cannot get filename."}));

    make_instance();
    OMset_name_str_val(instance, OMstr_to_name("filename"), "/dev/zero");  // has no length, and no end
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(reports, kWrongFormat);
}

TEST_F(Voxels, TheLabelStartsAtTheKey) {
    struct Case {
        std::string header;
        int lines;
        std::string key, label;
    };
    const Case kCases[] = {
        {"time 1\nTime 2\nno\n", 3, "ime", "ime 2\n"},
        {"time 1\n#time 2 3 4\n", 1, "time", "time 1\n"},
        {"time 1\n", 1, "tame", ""},
        {"a\n", 1, "", "a\n"},
        {"t" + std::string(400, 'x') + "\n", 1, "t", "t" + std::string(254, 'x')},
        {std::string(1020, ' ') + "time 1\n", 1, "tim", "tim"},  // cut with its line
        {std::string(1020, ' ') + "time 1\n", 1, "time", ""},
        {"a\0time\n"s, 1, "time", ""},
    };
    for (const auto& test : kCases) {
        make_instance();
        set_header(test.lines);
        set_time_key(test.key);
        EXPECT_EQ(read(test.header + "# 1 2 3\n0 0 0 1\n1 1 1 1\n"), 1) << test.header << said << reports.size();
        EXPECT_EQ(label(), test.label) << test.header;
    }
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
