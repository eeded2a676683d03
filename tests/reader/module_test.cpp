// What the parameters do: crop, steps, encodings, and what is kept from call to call.
#include <limits>

#include "reader_fixture.h"

namespace zam::test {
namespace {

const std::string kGrid = "ndim=3 dim1=4 dim2=3 dim3=2 nspace=3 veclen=1 data=int field=uniform";

class Crop : public ReadField {
protected:
    std::string grid(const std::string& more = {}) { return field_file(kGrid + more, bytes_of(counting<int>(24))); }
};

TEST_F(Crop, HeaderBoxKeepsPositionsAndValues) {
    ASSERT_EQ(read(grid(" crop_min=1 0 0 crop_max=3 2 1 downsize1=2.0 min_ext=0 0 0 max_ext=6 2 1")), 1);
    EXPECT_EQ(dims(out()), std::vector<xp_long>({2, 3, 2}));
    EXPECT_EQ(values(out(), 0), std::vector<double>({1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23}));
    EXPECT_EQ(points(out()), std::vector<float>({2, 0, 0, 6, 2, 1}));
    EXPECT_EQ(get("min0"), 1);
    EXPECT_EQ(get("max0"), 3);
    EXPECT_EQ(get("end0"), 4);
    EXPECT_EQ(get_real("factor0"), 2.0);
    EXPECT_EQ(get("ndim"), 3);
}

TEST_F(Crop, CheckShowsTheHeaderAndExecReadsWithTheUsersValues) {
    set("check", 1);
    ASSERT_EQ(read(grid(" crop_min=1 1 0 crop_max=3 2 1")), 1);
    EXPECT_EQ(get("min0"), 1);
    EXPECT_EQ(get("max1"), 2);
    EXPECT_TRUE(dims(out()).empty()) << "only the header was asked for";
    EXPECT_EQ(update(), 0) << "nothing has been read that could be stepped";

    set("min0", 2);
    set("max0", 3);
    set("min1", 0);
    set("factor1", 2.0);
    set("exec", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(get("exec"), 0);
    EXPECT_EQ(get("check"), 1);
    EXPECT_EQ(dims(out()), std::vector<xp_long>({2, 2, 2}));
    EXPECT_EQ(values(out(), 0), std::vector<double>({2, 3, 10, 11, 14, 15, 22, 23}));
}

TEST_F(Crop, AHeaderThatInsistsIsReadAtOnce) {
    set("check", 1);
    ASSERT_EQ(read(grid(" crop_min=-1 0 0 crop_max=2 2 1")), 1);
    EXPECT_EQ(get("check"), 1);
    EXPECT_EQ(dims(out()), std::vector<xp_long>({3, 3, 2}));
}

TEST_F(Crop, EveryKindOfSourceAndField) {
    // x, y, z and value as columns and as arrays, cropped the same way, must give the same field
    const auto all = counting<int>(24);
    std::string columns = "a heading\n";
    std::vector<float> x, y, z, v;
    for (const int node : all) {
        x.push_back(static_cast<float>(node % 4));
        y.push_back(static_cast<float>(node / 4 % 3) * 2);
        z.push_back(static_cast<float>(node / 12) * 3);
        v.push_back(static_cast<float>(node));
        columns += std::to_string(x.back()) + " " + std::to_string(y.back()) + " name " + std::to_string(z.back()) +
                   " " + std::to_string(node) + "\n";
    }
    file("columns.txt", columns);
    file("arrays.bin", bytes_of(x) + bytes_of(y) + bytes_of(z) + bytes_of(v));
    file("swapped.bin", bytes_of(x, true) + bytes_of(y, true) + bytes_of(z, true) + bytes_of(v, true));
    const std::string grid =
        "ndim=3 dim1=4 dim2=3 dim3=2 nspace=3 data=float field=irregular\n"
        "crop_min=1 0 0 crop_max=3 2 1 downsize1=1.5 downsize2=2.0\n";
    const std::string text_options = "skip=1 stride=5 offset=";
    const std::string text = "coord 1 file=columns.txt filetype=ascii " + text_options + "0\n" +
                             "coord 2 file=columns.txt filetype=ascii " + text_options + "1\n" +
                             "coord 3 file=columns.txt filetype=ascii " + text_options + "3\n" +
                             "variable 1 file=columns.txt filetype=ascii " + text_options + "4\n";
    const auto binary = [](const std::string& name) {
        return "coord 1 file=" + name + " filetype=binary\ncoord 2 file=" + name + " filetype=binary skip=96\n" +
               "coord 3 file=" + name + " filetype=binary offset=48\nvariable 1 file=" + name +
               " filetype=binary skip=200 offset=22\n";
    };
    const std::vector<double> expected{1, 2, 9, 10, 13, 14, 21, 22};
    const std::vector<float> positions{1, 0, 0, 2, 0, 0, 1, 4, 0, 2, 4, 0, 1, 0, 3, 2, 0, 3, 1, 4, 3, 2, 4, 3};
    for (const std::string& sources : {text, binary("arrays.bin"), binary("swapped.bin")}) {
        set("swap", sources.find("swapped") != std::string::npos ? 1 : 0);
        ASSERT_EQ(read(field_file(grid + sources)), 1) << sources << reports[0];
        EXPECT_EQ(values(out(), 0), expected) << sources;
        EXPECT_EQ(coordinates(out()), positions) << sources;
    }
}

class Encodings : public ReadField {};

TEST_F(Encodings, PortableAndSwapExcludeEachOther) {
    set("portable", 1);
    seq = host::now();
    set("swap", 1);
    EXPECT_EQ(DVLDread_field_set_params(instance, 0, seq), 1);
    EXPECT_EQ(get("portable"), 0);
    EXPECT_EQ(get("swap"), 1);
    seq = host::now();
    set("portable", 1);
    EXPECT_EQ(DVLDread_field_set_params(instance, 0, seq), 1);
    EXPECT_EQ(get("portable"), 1);
    EXPECT_EQ(get("swap"), 0);
}

TEST_F(Encodings, PortableAndFlipReadTheStepAgain) {
    const auto numbers = counting<int>(24, 1000);
    ASSERT_EQ(read(field_file(kGrid, bytes_of(numbers, true))), 1);
    EXPECT_NE(values(out(), 0)[0], 1000);
    set("portable", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(values(out(), 0)[1], 1001);
    set("flip", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(values(out(), 0)[0], 1023);
    EXPECT_EQ(values(out(), 0)[23], 1000);
}

TEST_F(Encodings, PositionsFollowTheValues) {
    const std::string sources = "data=float field=irregular nstep=2\ncoord 1 filetype=binary skip=8\n";
    const std::string steps = "variable 1 filetype=binary\nEOT\nvariable 1 filetype=binary\nEOT";
    const std::string data = bytes_of(counting<float>(4, 1), true);
    ASSERT_EQ(read(field_file("ndim=1 dim1=2 nspace=1 " + sources + steps, data)), 1);
    EXPECT_NE(coordinates(out()), std::vector<float>({3, 4}));
    for (const char* encoding : {"portable", "swap"}) {
        set("swap", std::string(encoding) == "swap" ? 1 : 0);
        set("portable", std::string(encoding) == "portable" ? 1 : 0);
        ASSERT_EQ(update(), 1);
        EXPECT_EQ(values(out(), 0), std::vector<double>({1, 2})) << encoding;
        EXPECT_EQ(coordinates(out()), std::vector<float>({3, 4})) << encoding;
    }
}

TEST_F(Encodings, PlacesOfLongsFollowTheirSize) {
    // four bytes each as XDR, eight natively: step 2 begins where step 1 ends in the encoding in force
    file("longs.bin", std::string("\0\0\0\1\0\0\0\2\0\0\0\3\0\0\0\4\7\0\0\0\0\0\0\0", 24) + std::string(8, '\0'));
    ASSERT_EQ(read(field_file("ndim=1 dim1=2 nspace=1 data=long field=uniform nstep=2\n"
                              "variable 1 file=longs.bin filetype=binary close=0")),
              1);
    set("stepno", 2);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(values(out(), 0), std::vector<double>({7, 0}));
    set("portable", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(values(out(), 0), std::vector<double>({3, 4}));
}

class Steps : public ReadField {
protected:
    /// Three steps of two nodes: a plain step, then a block of one that repeats.
    std::string three_steps() {
        file("data.bin", bytes_of(counting<float>(8)));
        return field_file(
            "ndim=1 dim1=2 nspace=1 data=float field=uniform nstep=3\n"
            "variable 1 file=data.bin filetype=binary\ntime value=\"0.5 s\"\nEOT\n"
            "DO\nvariable 1 file=data.bin filetype=binary skip=8 close=0\ntime value=2\nEOT\nENDDO");
    }
};

TEST_F(Steps, ForwardAndBackwardWrapAround) {
    ASSERT_EQ(read(three_steps()), 1);
    EXPECT_EQ(get("nsteps"), 3);
    EXPECT_EQ(text("time_string"), "0.5 s");
    const std::pair<const char*, int> moves[] = {{"backward", 3}, {"forward", 1}, {"forward", 2}};
    for (const auto& [trigger, step] : moves) {
        set(trigger, 1);
        ASSERT_EQ(update(), 1);
        EXPECT_EQ(get("stepno"), step);
        EXPECT_EQ(values(out(), 0)[0], 2.0 * (step - 1)) << "the block goes on where the step before stopped";
    }
    EXPECT_EQ(text("time_string"), "2.00");
    EXPECT_EQ(update(), 0) << "nothing asked for";
    set("stepno", 99);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(get("stepno"), 3);
}

TEST_F(Steps, StoredStepsAreNotReadAgain) {
    ASSERT_EQ(read(three_steps()), 1);
    set("store_all", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(values(out(), 0), std::vector<double>({0, 1}));
    file("data.bin", "gone");
    set("stepno", 3);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(values(out(), 0), std::vector<double>({4, 5}));
    OMobj_id step{};
    EXPECT_EQ(host::time_values(out_all()), std::vector<float>({0.5F, 2.0F, 2.0F}));
    ASSERT_EQ(FLDget_time_node_data(out_all(), 1, &step), 1);
    EXPECT_EQ(values(step, 0), std::vector<double>({2, 3}));

    set("flip", 1);  // asks for other values than those stored
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(reports.size(), 1U);
    EXPECT_EQ(values(out(), 0), std::vector<double>({4, 5})) << "outputs stay as they were";
    EXPECT_EQ(update(), 0) << "a failed read releases the file";
    EXPECT_EQ(reports.size(), 1U);
}

TEST_F(Steps, ANewFileIsNeverStoredAtOnce) {
    set("store_all", 1);
    set("store_all_visible", 1);
    ASSERT_EQ(read(three_steps()), 1);
    EXPECT_EQ(get("store_all"), 0);
    EXPECT_EQ(get("store_all_visible"), 0);
}

TEST_F(Steps, FailuresAreWrittenBackToo) {
    set("check", 1);
    set("exec", 1);
    EXPECT_EQ(read(directory_.string() + "/none.fld"), 0);
    EXPECT_EQ(get("exec"), 0);
    EXPECT_EQ(read(three_steps()), 1);
    EXPECT_TRUE(dims(out()).empty()) << "only the header was asked for";

    set("check", 0);
    ASSERT_EQ(read(three_steps()), 1);
    file("data.bin", "gone");
    set("forward", 1);
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(get("stepno"), 2);
    EXPECT_EQ(get("exec"), 0);
}

struct StoredCase {
    const char* name;
    std::string header;                // of two steps of two nodes
    std::vector<float> first, second;  // points
};

const StoredCase kStored[] = {
    {"own_extents",
     "field=uniform\nmin_ext=1 max_ext=2\nvariable 1 file=values.bin filetype=binary\nEOT\nmin_ext=3 max_ext=5\nEOT",
     {1, 2},
     {3, 5}},
    {"own_positions",
     "field=rectilinear\ncoord 1 file=values.bin filetype=binary\nvariable 1 file=values.bin filetype=binary\nEOT\n"
     "coord 1 file=values.bin filetype=binary skip=8\nEOT",
     {0, 1},
     {2, 3}},
    {"kept_open",
     "field=uniform\ncoord 1 file=values.bin filetype=binary close=0\nvariable 1 file=values.bin filetype=binary",
     {0, 1},
     {2, 3}},
};

TEST_F(Steps, StoredStepsKeepTheirPositions) {
    for (const StoredCase& test : kStored) {
        file("values.bin", bytes_of(counting<float>(4)));
        ASSERT_EQ(read(field_file("ndim=1 dim1=2 nspace=1 data=float nstep=2 " + test.header)), 1) << reports[0];
        set("store_all", 1);
        ASSERT_EQ(update(), 1) << test.name;
        file("values.bin", "gone");
        for (const int step : {2, 1, 2}) {
            set("stepno", step);
            ASSERT_EQ(update(), 1) << test.name;
            const std::vector<float>& expected = step == 1 ? test.first : test.second;
            EXPECT_EQ(points(out()), expected) << test.name << step;
            float low = -1, high = -1;
            ASSERT_EQ(FLDget_coord_extent(out(), &low, &high), 1);
            EXPECT_EQ((std::vector<float>{low, high}), expected) << test.name << step;
        }
    }
}

TEST_F(Steps, StoredStepsNeedNoRangeAndNoFile) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    file("values.bin", bytes_of(std::vector<float>{1, 2, none, none, 3, none}));
    file("times.bin", bytes_of(std::vector<float>{0.5F, 1.5F, 2.5F}));
    ASSERT_EQ(read(field_file("ndim=1 dim1=2 nspace=1 data=float field=uniform nstep=3\n"
                              "time file=times.bin filetype=binary close=0\n"
                              "variable 1 file=values.bin filetype=binary close=0")),
              1);
    set("store_all", 1);
    ASSERT_EQ(update(), 1);
    for (const char* name : {"values.bin", "times.bin"}) std::filesystem::remove(directory_ / name);
    for (const int step : {2, 3}) {
        set("stepno", step);
        ASSERT_EQ(update(), 1);
        EXPECT_EQ(text("time_string"), std::to_string(step - 1) + ".500000");
        float low = 0, high = 0;
        EXPECT_EQ(FLDget_node_data_minmax(out(), 0, &low, &high) == 1, step == 3);
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(Steps, OneStepIgnoresForward) {
    ASSERT_EQ(read(field_file("ndim=1 dim1=2 nspace=1 data=float field=uniform", bytes_of(counting<float>(2)))), 1);
    set("forward", 1);
    EXPECT_EQ(update(), 0);
    EXPECT_TRUE(reports.empty());
}

TEST_F(Steps, InlineStepsFollowEachOther) {
    ASSERT_EQ(read(field_file("ndim=1 dim1=2 nspace=1 data=float field=uniform nstep=3", bytes_of(counting<float>(6)))),
              1);
    set("stepno", 3);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(values(out(), 0), std::vector<double>({4, 5}));
}

struct OpenCase {
    const char* name;
    std::string statements;  // of one-node steps; a.bin, a.txt and a.rec hold 0, 1, ..., b.bin 100, 101, ...
    std::vector<double> values;
};

const std::string kA = "variable 1 file=a.bin filetype=binary close=0 ";
const std::string kB = "variable 1 file=b.bin filetype=binary close=0 ";
const std::string kText = "variable 1 file=a.txt filetype=ascii close=0 ";
const std::string kRecords = "variable 1 file=a.rec filetype=unformatted close=0 ";
const std::string kThreeTimes = "\ntime value=0 EOT time value=1 EOT time value=2 EOT";

const OpenCase kOpen[] = {
    {"one_statement", kA, {0, 1, 2, 3, 4}},
    {"one_statement_and_times", kA + kThreeTimes, {0, 1, 2, 3, 4}},
    {"block_of_two_files", "DO " + kA + "EOT " + kB + "EOT ENDDO", {0, 100, 1, 101, 2}},
    {"another_file_between", kA + "EOT " + kB + "EOT " + kA + "EOT " + kA + "EOT " + kB + "EOT", {0, 100, 1, 2, 101}},
    {"own_skip_and_offset", kA + "skip=4 EOT " + kA + "skip=8 EOT " + kA + "offset=1 EOT EOT EOT", {1, 4, 6, 7, 8}},
    {"copies_have_none", "DO " + kA + "skip=4 offset=1 EOT ENDDO", {2, 3, 4, 5, 6}},
    {"empty_step_in_a_block", "DO " + kA + "EOT " + kB + "EOT EOT ENDDO", {0, 100, 101, 1, 102, 103, 2}},
    {"stride_goes_on", "DO " + kA + "stride=3 offset=1 EOT ENDDO", {1, 4, 7, 10, 13}},
    {"closed_between", "DO " + kA + "EOT variable 1 file=a.bin filetype=binary EOT ENDDO", {0, 1, 0, 1, 0}},
    {"closed_for_good", "variable 1 file=a.bin filetype=binary skip=8", {2, 2, 2, 2, 2}},
    {"words", kText + "skip=1", {4, 5, 6, 7, 8}},
    {"lines_of_the_next_step",
     kText + "EOT " + kText + "skip=1 EOT " + kText + "skip=1 offset=2 EOT EOT EOT",
     {0, 4, 10, 11, 12}},
    {"records", kRecords + "skip=16", {2, 4, 6, 8, 10}},
    {"records_with_an_offset", "DO " + kRecords + "offset=1 EOT ENDDO", {1, 2, 4, 6, 8}},
};

TEST_F(Steps, SourcesKeptOpenGoOnWhereTheyStopped) {
    std::string lines, records;
    for (int i = 0; i < 64; ++i) lines += std::to_string(i) + (i % 4 == 3 ? "\n" : " ");
    for (int i = 0; i < 64; i += 2)
        records += "\x08" + bytes_of(std::vector<int>{i, i + 1}).insert(0, 3, '\0') + std::string("\x08\0\0\0", 4);
    file("a.bin", bytes_of(counting<int>(64)));
    file("b.bin", bytes_of(counting<int>(64, 100)));
    file("a.txt", lines);
    file("a.rec", records);
    for (const OpenCase& test : kOpen) {
        const auto nstep = test.values.size();
        const std::string header =
            "ndim=1 dim1=1 nspace=1 data=int field=uniform nstep=" + std::to_string(nstep) + "\n";
        const std::string name = field_file(header + test.statements);
        std::vector<int> order{1, 3, 2};  // a jump first
        for (std::size_t step = 1; step <= nstep; ++step) order.push_back(static_cast<int>(step));
        ASSERT_EQ(read(name), 1) << test.name << reports.back();
        for (const int step : order) {
            if (static_cast<std::size_t>(step) > nstep) continue;
            set("stepno", step);
            if (nstep > 1) {
                ASSERT_EQ(update(), 1) << test.name << reports.back();
            }
            EXPECT_EQ(values(out(), 0), std::vector<double>{test.values[static_cast<std::size_t>(step) - 1]})
                << test.name << " step " << step;
        }
    }
}

TEST_F(Steps, CoordinatesOfEarlierStepsHoldOn) {
    file("x.txt", "5 6\n");
    const std::string header =
        "ndim=1 dim1=2 nspace=1 data=float field=irregular nstep=2\n"
        "coord 1 file=x.txt filetype=ascii\nvariable 1 filetype=binary\nEOT\n"
        "variable 1 filetype=binary skip=8\nEOT";
    ASSERT_EQ(read(field_file(header, bytes_of(counting<float>(4)))), 1);
    set("forward", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(coordinates(out()), std::vector<float>({5, 6}));
    EXPECT_EQ(values(out(), 0), std::vector<double>({2, 3}));
}

struct GivenCase {
    const char* name;
    const char* statements;
    std::vector<float> points, range;  // of the nodes 1 2 3 4
};

const GivenCase kGiven[] = {
    {"both", "min_ext=-5.0 max_ext=5 min_val=-3 max_val=9", {-5, 5}, {-3, 9}},
    {"none", "", {0, 3}, {1, 4}},
    {"low_ends", "min_ext=-5.0 min_val=-3", {0, 3}, {1, 4}},
    {"high_ends", "max_ext=-5.0 max_val=-3", {0, 3}, {1, 4}},
    {"the_value_that_stands_for_nothing", "min_ext=-7 max_ext=-1 min_val=-1 max_val=-1", {-7, -1}, {-1, -1}},
    {"ends_in_two_steps", "min_ext=-5 min_val=-3 EOT max_ext=5 max_val=9 EOT", {0, 3}, {1, 4}},
};

TEST_F(Steps, HalfOfARangeIsNone) {
    for (const GivenCase& test : kGiven) {
        const std::string header = "ndim=1 dim1=4 nspace=1 data=float field=uniform\n";
        const bool two_steps = std::string(test.statements).ends_with("EOT");
        ASSERT_EQ(read(field_file(header + test.statements, bytes_of(counting<float>(two_steps ? 8 : 4, 1)))), 1);
        EXPECT_EQ(points(out()), test.points) << test.name;
        std::vector<float> range(2);
        ASSERT_EQ(FLDget_node_data_minmax(out(), 0, &range[0], &range[1]), 1);
        EXPECT_EQ(range, test.range) << test.name;
    }
}

}  // namespace
}  // namespace zam::test
