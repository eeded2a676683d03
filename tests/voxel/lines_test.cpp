// Lines, fields and numbers of voxel text, and where a coordinate lies.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "base/file_handle.h"
#include "modules/zam/readers/voxel_grid.h"
#include "modules/zam/readers/voxel_lines.h"
#include "modules/zam/readers/voxel_numbers.h"
#include "tests/support/text_cases.h"

namespace zam::voxel {
namespace {

using namespace std::string_literals;

std::string repeated(std::size_t count, char c) { return std::string(count, c); }

auto rows_of(const char* table) { return test::load_rows(ZAM_TEST_DATA "/lines.test", table); }

TEST(VoxelLines, AreCutToTheirContents) {
    auto rows = rows_of("lines");
    rows.emplace_back(repeated(1022, 'a') + "\t", repeated(1022, 'a'));
    rows.emplace_back(repeated(1020, 'a') + "\tbc", repeated(1020, 'a') + "\tb");  // what the tab pushes out is gone
    rows.emplace_back(repeated(1019, 'a') + "\tbcd", repeated(1019, 'a') + "\tbcd");
    rows.emplace_back(repeated(600, '\t') + "b", repeated(512, '\t'));
    for (const auto& [line, text] : rows) EXPECT_EQ(contents(line), text) << line;
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
    auto rows = rows_of("numbers");
    rows.emplace_back("0." + repeated(400, '0') + "1e402", "10");
    rows.emplace_back(repeated(400, '9'), "inf");
    rows.emplace_back("0." + repeated(400, '0') + "1", "0");
    for (const auto& [field, text] : rows) {
        const float number = std::strtof(text.c_str(), nullptr);
        EXPECT_EQ(to_number(field), number) << field;
        float read = 0.0F;  // of an empty line too
        Fields<','>(field).next(read);
        EXPECT_EQ(read, number) << field;
        float common = number;  // if it is not
        read_common_line<','>(field + "\n", {&common, 1});
        EXPECT_EQ(common, number) << field;
    }
    EXPECT_TRUE(std::isnan(to_number("nan")));
}

TEST(VoxelNumbers, FieldsAreCountedAsTheyAreRead) {
    auto rows = rows_of("fields");
    rows.emplace_back(repeated(1023, ','), "1023");
    for (const auto& [line, fields] : rows)
        EXPECT_EQ(std::to_string(count_fields(line, separator_of(line))), fields) << line;
}

TEST(VoxelGrid, AxesFollowFromTheSamples) {
    for (const auto& [coordinates, expected] : rows_of("axes")) {
        const auto axis = GridAxis::find(test::numbers_in<float>(coordinates));
        ASSERT_EQ(axis.has_value(), expected != "none") << coordinates;
        if (!axis) continue;
        EXPECT_EQ((std::vector{axis->step, static_cast<float>(axis->nodes)}), test::numbers_in<float>(expected))
            << coordinates;
    }
}

TEST(VoxelGrid, CellsAreFoundInFixedPoint) {
    for (const auto& [numbers, cell] : rows_of("cells")) {
        const auto n = test::numbers_in<float>(numbers);
        const GridAxis axis{n.at(0), n.at(1), n.at(2), static_cast<xp_long>(n.at(3))};
        EXPECT_EQ(std::to_string(CellFinder(axis).cell_at(n.at(4))), cell) << numbers;
    }
}

}  // namespace
}  // namespace zam::voxel
