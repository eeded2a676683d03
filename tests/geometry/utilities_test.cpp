// Crop and bind, threshold colour, convert colour map: results to the byte, and what stops them.
#include <cstdint>
#include <random>
#include <utility>

#include "base/lanes_target.h"
#include "modules/zam/convert_color_map.h"
#include "modules/zam/cropbind.h"
#include "modules/zam/threshcolor.h"
#include "tests/geometry/geometry_fixture.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

const std::string kOutside = "Error : center > 0 && center < dims[0]\n";

class CropBind : public GeometryTest {
protected:
    std::vector<int> fold(int center, const ByteField& contents) {
        set({{"center", center}});
        set_field(contents);
        EXPECT_EQ(ADDcropbind(instance, 0, 0), 1);
        EXPECT_EQ(reports, Texts());
        return numbers(out);
    }
};

TEST_F(CropBind, FoldsAboutTheColumn) {
    const ByteField row{{8, 1, 1}, 1, {0, 1, 2, 3, 4, 5, 6, 7}, {1, 1, 1, 9, 9, 9}};
    EXPECT_EQ(fold(4, row), (std::vector<int>{4, 5, 6, 7, 4, 3, 2, 1}));
    EXPECT_EQ(dims(out), (std::vector<xp_long>{4, 1, 2}));
    EXPECT_EQ(positions(out, FLDget_points), (std::vector<float>{0, 0, 0, 3, 0, 1}));
    set_array("xy_dist", std::vector<float>{2.5F, 3.5F});
    fold(8, row);
    EXPECT_EQ(positions(out, FLDget_points), (std::vector<float>{0, 0, 0, 2.5F, 3.5F, 1}));
    set_array("xy_dist", std::vector<float>{2.5F});
    EXPECT_EQ(fold(1, row), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(positions(out, FLDget_points), (std::vector<float>{0, 0, 0, 6, 0, 1}));
    // two values per node give the array of the input's size; of other types, bytes are folded
    EXPECT_EQ(fold(1, {{2, 1, 1}, 2, {1, 2, 3, 4}}), (std::vector<int>{2, 2, 0, 0}));
    set_field<std::int16_t>({{4, 1, 1}, 1, {0x0201, 0x0403, 0x0605, 0x0807}});
    set({{"center", 2}});
    EXPECT_EQ(ADDcropbind(instance, 0, 0), 1);
    EXPECT_EQ(numbers(out), (std::vector<int>{0x0403, 0x0203, 0, 0}));
}

TEST_F(CropBind, RunsGoOnInNeighbouringRowsAndEndWithTheVolume) {
    const std::string volume = "abcdefghijklmnopqrstABCDEFGHIJKLMNOPQRST";  // two rows of 20
    for (const auto& [given, expected] : load_rows(ZAM_TEST_DATA "/bytes.test", "folds")) {
        const auto n = numbers_in<std::size_t>(given);
        std::string folded(expected.size() + 7, '?');
        fold_volume(std::as_bytes(std::span(volume).first(n.at(1))), {20, 1, 2}, static_cast<xp_long>(n[0]),
                    std::as_writable_bytes(std::span(folded)));
        std::replace(folded.begin(), folded.end(), '\0', '.');
        EXPECT_EQ(folded, expected + ".......") << given;
    }
}

TEST_F(CropBind, SaysWhatIsWrong) {
    set_field({{4, 1, 1}, 1, {1, 2, 3, 4}});
    for (const double center : {-1e9, 0.0, 5.0, 2147483647.0}) {
        set({{"center", center}});
        EXPECT_EQ(refusal(ADDcropbind), kOutside);
    }
    const ByteField silent[] = {{{4}, 1, {1, 2, 3, 4}}, {{4, 1, 1}, 1, {}}, {{4, 1, 1}, 1, {1, 2, 3, 4}, {}}};
    for (const auto& contents : silent) {
        set_field(contents);
        for (const int center : {2, 5}) {  // the centre is checked first
            set({{"center", center}});
            EXPECT_EQ(refusal(ADDcropbind), center == 5 ? kOutside : "");
        }
    }
    set_field({{xp_long{1} << 30, 1 << 18, 4}, 1, {1}});
    EXPECT_EQ(refusal(ADDcropbind), "Error : Can't allocate memory.\n");
}

class ThreshColor : public GeometryTest {};

TEST_F(ThreshColor, AppendsTheLuminance) {
    for (const auto& [given, luminance] : load_rows(ZAM_TEST_DATA "/bytes.test", "luminances")) {
        const auto n = numbers_in<int>(given);
        const std::vector<int> color(n.begin() + 2, n.end());
        set({{"min", n[0]}, {"max", n[1]}});
        set_field({{static_cast<xp_long>(color.size()) / 4, 1, 1}, 4, color});
        EXPECT_EQ(ADDthreshcolor(instance, 0, 0), 1);
        EXPECT_EQ(std::to_string(numbers(out).back()), luminance) << given;
    }
    // the second node lacks its blue, the third is missing
    const std::string colors{9, 10, 10, 10, 9, 20, 30};
    std::string appended(17, '?');
    append_luminance(std::as_bytes(std::span(colors)), 4, 3, 0, 255, std::as_writable_bytes(std::span(appended)));
    EXPECT_EQ(appended, (std::string{9, 10, 10, 10, 10, 9, 20, 30, 0, 23, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(ThreshColor, IsTheSameOnLanesOfAllWidths) {
    std::mt19937 random(1);
    std::vector<std::int8_t> colors(4 * 1003);
    for (auto& byte : colors) byte = static_cast<std::int8_t>(random());
    for (const std::int64_t target : lanes_targets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        lanes_target().Update(target);
        for (const auto& [min, max] : {std::pair{0, 255}, {-128, 127}, {-30, 50}}) {
            for (const std::size_t nodes : {1003U, 17U, 8U, 1U}) {
                std::vector<std::int8_t> expected;
                for (std::size_t at = 0; at < 4 * nodes; at += 4) {
                    const double r = colors[at + 1], g = colors[at + 2], b = colors[at + 3];
                    const bool cut = (r <= min && g <= min && b <= min) || (r >= max && g >= max && b >= max);
                    const double luminance = cut ? 0.0 : 0.586611 * g + 0.298912 * r + 0.114478 * b;
                    expected.insert(expected.end(), &colors[at], &colors[at] + 4);
                    expected.push_back(static_cast<std::int8_t>(luminance));
                }
                std::vector<std::int8_t> appended(5 * nodes, 99);
                append_luminance(std::as_bytes(std::span(colors)).first(4 * nodes), 4, static_cast<xp_long>(nodes), min,
                                 max, std::as_writable_bytes(std::span(appended)));
                EXPECT_TRUE(appended == expected) << min << " " << nodes;
            }
        }
    }
    lanes_target().DeInit();
}

TEST_F(ThreshColor, KeepsTheShapeAndSaysWhatIsWrong) {
    const ByteField contents{{2, 1}, 5, {0, 3, 3, 3, 9, 0, 40, 40, 40, 8}, {1, 2, 3, 4}};
    set_field(contents);
    EXPECT_EQ(ADDthreshcolor(instance, 0, 0), 1);
    EXPECT_EQ(dims(out), contents.dims);
    EXPECT_EQ(positions(out, FLDget_points), contents.points);
    EXPECT_EQ(numbers(out), (std::vector<int>{0, 3, 3, 3, 9, 3, 0, 40, 40, 40, 8, 40}));
    set_field<std::int16_t>({{1}, 4, {0x0302, 0x0504, 0, 0}, {0, 1}});
    EXPECT_EQ(ADDthreshcolor(instance, 0, 0), 1);  // the first four bytes and the one appended
    EXPECT_EQ(numbers(out), (std::vector<int>{0x0302, 0x0504, 3, 0, 0}));
    for (const auto& silent : {ByteField{{2}, 3, {1, 2, 3, 4, 5, 6}}, ByteField{{2}, 4, {}}}) {
        set_field(silent);
        EXPECT_EQ(refusal(ADDthreshcolor), "");
    }
}

class ConvertColorMap : public GeometryTest {
protected:
    void SetUp() override {
        GeometryTest::SetUp();
        set({{"active", 1}, {"color_map_size", 3}});
        datamap = host::create(instance, "datamap", host::Kind::group);
        for (const auto& [name, value] : {std::pair{"min", 0.0}, {"max", 2.0}}) {
            OMset_real_val(host::create(datamap, name, host::Kind::real), value);
        }
        table = host::create(instance, "color_table", host::Kind::group);
        std::uint8_t first = 1;
        for (const char* name : kNames) {
            const std::vector<std::uint8_t> entries{first, 128, static_cast<std::uint8_t>(200 + first)};
            host::set_values(host::create(datamap, name, host::Kind::array), DTYPE_BYTE, entries.data(), 3);
            host::set_values(host::create(table, name, host::Kind::array), DTYPE_BYTE, &first, 1);
            ++first;
        }
    }
    int update() const { return ZAMconvert_color_map(instance, 0, 0); }
    std::vector<std::vector<int>> columns() const {
        std::vector<std::vector<int>> all;
        for (const char* name : kNames) {
            const auto column = FloatValues::read_array(table, name);
            all.emplace_back(column->span().begin(), column->span().end());
        }
        return all;
    }
    using Columns = std::vector<std::vector<int>>;
    static constexpr const char* kNames[] = {"alpha", "red", "green", "blue"};
    OMobj_id datamap{}, table{};
};

TEST_F(ConvertColorMap, SplitsTheColours) {
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(columns(), (Columns{{1, 128, 201}, {2, 128, 202}, {3, 128, 203}, {4, 128, 204}}));
    EXPECT_EQ(Parameters(table).array("alpha")->type(), int{DTYPE_SHORT});
    set({{"color_map_size", 0}});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(columns(), Columns(4));
    EXPECT_EQ(reports, Texts());
}

TEST_F(ConvertColorMap, StopsSilently) {
    const int before = host::stamp(table);
    const std::pair<const char*, double> stops[] = {{"active", 0}, {"color_map_size", -1}, {"datamap", 0}};
    for (const auto& [name, value] : stops) {
        set({{"active", 1}, {"color_map_size", 3}, {name, value}});  // a number is not a map
        EXPECT_EQ(update(), 0) << name;
    }
    EXPECT_EQ(reports, Texts());
    EXPECT_EQ(host::stamp(table), before);
}

}  // namespace
}  // namespace zam::test
