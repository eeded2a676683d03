// Lines, fields and numbers of voxel text, and where a coordinate lies.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "base/file_handle.h"
#include "modules/zam/readers/voxel_grid.h"
#include "modules/zam/readers/voxel_lines.h"
#include "modules/zam/readers/voxel_numbers.h"

namespace zam::voxel {
namespace {

using namespace std::string_literals;

std::string repeated(std::size_t count, char c) { return std::string(count, c); }

TEST(VoxelLines, AreCutToTheirContents) {
    struct Case {
        std::string line, text;
    };
    const Case kCases[] = {
        {"1 2 3\n", "1 2 3"},
        {" \t1\t22\t3 \t\r\n", "\t1\t22\t3"},  // only blanks are cut in front; columns count from what is left
        {"1\r2\n", "1\r2"},
        {" \t \r\n", ""},
        {"\v\n", "\v"},
        {repeated(1022, 'a') + "\t", repeated(1022, 'a')},
        {repeated(1020, 'a') + "\tbc", repeated(1020, 'a') + "\tb"},  // what the tab pushes out is gone
        {repeated(1019, 'a') + "\tbcd", repeated(1019, 'a') + "\tbcd"},
        {repeated(600, '\t') + "b", repeated(512, '\t')},
    };
    for (const auto& [line, text] : kCases) EXPECT_EQ(contents(line), text) << line;
}

TEST(VoxelLines, ComeWholeWhateverTheBlocks) {
    std::string bytes;
    std::vector<std::string> expected;
    for (const std::size_t length : {0U, 5U, 1022U, 1023U, 1024U, 262144U, 3U, 261000U, 1100U, 1U, 600000U, 7U}) {
        const std::string line = repeated(length, static_cast<char>('a' + length % 26)) + "\n";
        bytes += line;
        expected.push_back(line.substr(0, kMaxLine));
    }
    bytes += "1 2\0 3\n\0001 2\n"s;
    expected.insert(expected.end(), {"1 2", "", "end"});
    const FileHandle file(std::tmpfile());
    ASSERT_EQ(std::fwrite((bytes + "end and more").data(), 1, bytes.size() + 12, file.get()), bytes.size() + 12);
    LineSource source(file.get(), static_cast<xp_long>(bytes.size() + 3));  // what the file has grown by is not read
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_TRUE(source.rewind());
        std::vector<std::string> lines;
        while (const auto line = source.next()) lines.emplace_back(*line);
        EXPECT_EQ(lines, expected);
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen("true", "r"), ::pclose);
    EXPECT_FALSE(LineSource(pipe.get(), 1).rewind());
}

TEST(VoxelNumbers, AreDecimalAndNarrowed) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    struct Case {
        std::string field;
        float number;
    };
    const Case kCases[] = {
        {"1.5", 1.5F},
        {"-.5", -0.5F},
        {"5.", 5.0F},
        {"+5", 5.0F},
        {"+-5", 0.0F},
        {"- 5", 0.0F},
        {" \v 7", 7.0F},
        {"1.5abc", 1.5F},
        {"1e", 1.0F},
        {"2e+1x", 20.0F},
        {"1d3", 1.0F},
        {"0x10", 0.0F},
        {".", 0.0F},
        {"", 0.0F},
        {"abc", 0.0F},
        {"1e39", kInfinity},
        {"-1e400", -kInfinity},
        {"1e-400", 0.0F},
        {"0.01e401", kInfinity},
        {"0." + repeated(400, '0') + "1e402", 10.0F},
        {repeated(400, '9'), kInfinity},
        {"0." + repeated(400, '0') + "1", 0.0F},
        {"1e99999999999999999999", kInfinity},
        {"1e-99999999999999999999", 0.0F},
        {"0e99999999999999999999", 0.0F},
        {"Infinity", kInfinity},
        {"16777217.0000000001", 16777216.0F},  // by way of double; read as float at once it would be 16777218
        {"1e-45", 1e-45F},
    };
    for (const auto& [field, number] : kCases) {
        EXPECT_EQ(to_number(field), number) << field;
        float read = 0.0F;  // of an empty line too
        Fields<','>(field).next(read);
        EXPECT_EQ(read, number) << field;
    }
    EXPECT_TRUE(std::isnan(to_number("nan")));
}

TEST(VoxelNumbers, FieldsAreCountedAsTheyAreRead) {
    struct Case {
        std::string line;
        int fields;
    };
    const Case kCases[] = {
        {"1 2  3 4", 4}, {"1,2,3,4", 4}, {"1, 2 3,4", 3}, {"1,,3,4", 4},    {"1,2,3,", 3},
        {",2,3,4", 4},   {"1,2,3,,", 4}, {"", 0},         {"# x y z v", 5}, {repeated(1023, ','), 1023},
    };
    for (const auto& [line, fields] : kCases) EXPECT_EQ(count_fields(line, separator_of(line)), fields) << line;
}

TEST(VoxelGrid, AxesFollowFromTheSamples) {
    constexpr float kNone = 0.0F;
    struct Case {
        std::vector<float> coordinates;
        float step;  // kNone: no axis
        xp_long nodes;
    };
    const Case kCases[] = {
        {{0, 1, 2}, 1, 3},
        {{0, 1, 3}, 2, 2},                        // the last increase, not the smallest
        {{3, 0, 1, 0}, 1, 4},                     // the maximum comes first
        {{0, 0.105F, 0.12F}, 0.12F - 0.105F, 9},  // 7.9999995 and 1 make 9 in single precision
        {{0, 1, 2.9F, 3.8F}, 3.8F - 2.9F, 5},
        {{-200, 200}, 400, 0},  // the step is out of range
        {{-200, 0, 200}, 200, 3},
        {{300, 301}, kNone, 0},
        {{-214.75F, -214}, kNone, 0},
        {{5}, kNone, 0},
        {{}, kNone, 0},
        {{2, 1, 1}, kNone, 0},
        {{0, 5e-8F}, kNone, 0},  // scales to 0
        {{0, 1, NAN}, kNone, 0},
        {{0, 1, INFINITY}, kNone, 0},
        {{-3e38F, 3e38F}, kNone, 0},
    };
    for (const auto& [coordinates, step, nodes] : kCases) {
        const auto axis = GridAxis::find(coordinates);
        ASSERT_EQ(axis.has_value(), step != kNone && nodes != 0) << testing::PrintToString(coordinates);
        if (!axis) continue;
        EXPECT_EQ(axis->step, step) << testing::PrintToString(coordinates);
        EXPECT_EQ(axis->nodes, nodes) << testing::PrintToString(coordinates);
    }
}

TEST(VoxelGrid, CellsAreFoundInFixedPoint) {
    struct Case {
        GridAxis axis;
        float at;
        xp_long cell;
    };
    const Case kCases[] = {
        {{0, 2, 0.5F, 5}, 1.5F, 3},          {{0, 2, 0.5F, 5}, 1.49F, 2},       {{0, 2, 0.5F, 5}, 2.5F, -1},
        {{-200, 200, 100, 5}, 200, 4},       {{-200, 200, 100, 5}, 214.8F, -1},  // a difference of more than 32 bits
        {{0, 0.005F, 0.001F, 6}, 0.005F, 5},  // products in double precision would make it 4
        {{0, 0.4F, 0.1F, 5}, 0.3F, 3},       {{0, 300, 100, 4}, 300, -1},
    };
    for (const auto& [axis, at, cell] : kCases) EXPECT_EQ(CellFinder(axis).cell_at(at), cell) << at;
}

}  // namespace
}  // namespace zam::voxel
