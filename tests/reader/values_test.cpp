// Numbers in text and bytes into values, below the module.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

#include "contract/types.h"
#include "embedded/host.h"
#include "modules/zam/ld_rdfld/ascii_values.h"
#include "modules/zam/ld_rdfld/crop.h"
#include "modules/zam/ld_rdfld/value_decoding.h"

namespace zam::ldrf {
namespace {

struct CloseTemporary {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using Temporary = std::unique_ptr<std::FILE, CloseTemporary>;

Temporary file_with(const std::string& bytes) {
    Temporary file(std::tmpfile());
    std::fwrite(bytes.data(), 1, bytes.size(), file.get());
    return file;
}

struct NumberCase {
    const char* text;
    double real;     // NaN: no number
    double integer;  // as int; NaN: refused
};

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
const NumberCase kNumbers[] = {
    {"12", 12, 12},
    {"-7", -7, -7},
    {"+3", 3, 3},
    {"+-3", kNone, kNone},
    {"2.75", 2.75, 2},
    {"-2.75", -2.75, -2},
    {"1.5e3", 1500, 1500},
    {"1.5D+03", 1500, 1500},
    {"0.25d-1", 0.025, 0},
    {"4e9", 4e9, kNone},
    {"99999999999", 99999999999.0, kNone},
    {"1e400", HUGE_VAL, kNone},
    {"1e-400", 0, 0},
    {"inf", HUGE_VAL, kNone},
    {"0x10", kNone, kNone},
    {"1,5", kNone, kNone},
    {"12abc", kNone, kNone},
    {"abc", kNone, kNone},
    {"-", kNone, kNone},
    {"", kNone, kNone},
};

TEST(AsciiNumbers, AreReadOrRefusedWhole) {
    for (const NumberCase& number : kNumbers) {
        const Temporary file = file_with(std::string("skipped\n \t") + number.text + "\n");
        AsciiCursor reals(file.get(), 0);
        double real = 0;
        ASSERT_TRUE(reals.skip_lines(1));
        EXPECT_EQ(reals.read(real), !std::isnan(number.real)) << number.text;
        if (!std::isnan(number.real)) {
            EXPECT_DOUBLE_EQ(real, number.real) << number.text;
        }

        AsciiCursor integers(file.get(), 8);
        std::int32_t integer = 0;
        EXPECT_EQ(integers.read(integer), !std::isnan(number.integer)) << number.text;
        if (!std::isnan(number.integer)) {
            EXPECT_EQ(integer, number.integer) << number.text;
        }
    }
}

TEST(AsciiNumbers, BytesTakeTheLowByte) {
    const Temporary file = file_with("300 -1 255.9");
    AsciiCursor cursor(file.get(), 0);
    std::uint8_t value = 0;
    for (const int expected : {44, 255, 255}) {
        ASSERT_TRUE(cursor.read(value));
        EXPECT_EQ(value, expected);
    }
}

TEST(AsciiNumbers, WordsAndBlanksAcrossBlocks) {
    // words lie across the ends of the reading blocks, one of them longer than any number and than a block
    std::string text;
    for (int i = 0; i < 60000; ++i) text += std::to_string(i) + (i % 3 == 0 ? "\r\n" : "\f  ");
    text += std::string(600000, 'x') + std::string(600000, ' ') + "17";
    const Temporary file = file_with(text);
    AsciiCursor cursor(file.get(), 0);
    int value = -1;
    for (int i = 0; i < 60000; ++i) {
        ASSERT_TRUE(cursor.read(value));
        ASSERT_EQ(value, i);
    }
    EXPECT_FALSE(cursor.read(value));
    ASSERT_TRUE(cursor.skip_words(1));
    ASSERT_TRUE(cursor.read(value));
    EXPECT_EQ(value, 17);
    EXPECT_EQ(cursor.position(), static_cast<xp_long>(text.size()));
    EXPECT_FALSE(cursor.skip_words(1));
}

TEST(Decoding, TypesThatCannotBeDecodedSaySo) {
    const Temporary file = file_with("12345678");
    std::byte value[8];
    const auto decode = [&](const Encoding& encoding, Asking asking) {
        PlainBytes bytes(file.get(), 0);
        return decode_values(bytes, encoding, value, 1, 1, asking);
    };
    testing::internal::CaptureStderr();
    EXPECT_EQ(decode({DTYPE_CHAR, true, false}, Asking::whole_field), Decoded::failed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field2: LDRFread_stuff_all: unknown dtype\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(decode({7, false, false}, Asking::cropped_field), Decoded::failed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field3: read_stuff2: unknown dtype\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(decode({DTYPE_BYTE, false, true}, Asking::whole_field), Decoded::ok);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field: can't swap bytes\n");
    EXPECT_EQ(value[0], std::byte{'1'});
}

TEST(Decoding, NegativeLongsOfFourBytes) {
    const Temporary file = file_with(std::string("\xff\xff\xff\xfe\x00\x00\x00\x07", 8));
    PlainBytes bytes(file.get(), 0);
    xp_long values[2] = {};
    ASSERT_EQ(decode_values(bytes, {DTYPE_LONG, true, false}, reinterpret_cast<std::byte*>(values), 2, 1), Decoded::ok);
    EXPECT_EQ(values[0], -2);
    EXPECT_EQ(values[1], 7);
}

TEST(Decoding, ShortReadSaysHowMuchWasThere) {
    std::string text;
    host::set_recorder([&](const host::Record& record) { text = record.text; });
    const Temporary file = file_with("123456");
    std::byte values[8];
    for (const bool swap : {false, true}) {
        PlainBytes bytes(file.get(), 0);
        EXPECT_EQ(decode_values(bytes, {DTYPE_INT, false, swap}, values, 2, 1), Decoded::reported);
        EXPECT_EQ(text, "Attempted binary read of 8 bytes read only 6");
    }
    host::set_recorder(nullptr);
}

struct CropCase {
    const char* name;
    int min, max;
    float factor;
    xp_long dim;
    int expected_min, expected_max;
    std::vector<xp_long> nodes;
};

const CropCase kCrops[] = {
    {"not_set", kCropNotSet, kCropNotSet, kFactorNotSet, 5, 0, 4, {0, 1, 2, 3, 4}},
    {"box", 1, 3, 1.0F, 5, 1, 3, {1, 2, 3}},
    {"beyond", 9, 12, 1.0F, 5, 3, 4, {3, 4}},
    {"empty", 3, 3, 1.0F, 5, 0, 4, {0, 1, 2, 3, 4}},
    {"reversed", 3, 2, 1.0F, 5, 0, 4, {0, 1, 2, 3, 4}},
    {"every_second", 0, 4, 2.0F, 5, 0, 4, {0, 2, 4}},
    {"fraction", 1, 9, 2.5F, 10, 1, 9, {1, 3, 6, 8}},
    {"larger_than_the_box", 0, 4, 50.0F, 5, 0, 4, {0}},
    {"not_a_number", 0, 4, std::numeric_limits<float>::quiet_NaN(), 5, 0, 4, {0, 1, 2, 3, 4}},
    {"one_node", 0, 4, 2.0F, 1, 0, 0, {0}},
    {"negative", -3, -1, -1.0F, 3, 0, 2, {0, 1, 2}},
};

TEST(CropRange, BoxesAndFactorsAreBroughtIntoRange) {
    for (const CropCase& test : kCrops) {
        HeaderModel header;
        header.ndim = 1;
        header.dims = {test.dim};
        header.crop_min[0] = test.min;
        header.crop_max[0] = test.max;
        header.downsize[0] = test.factor;
        CropSettings crop = CropSettings::from_header(header);
        EXPECT_EQ(crop.insists(1), test.min < 0 && test.min != kCropNotSet) << test.name;
        crop.normalise(1, header.dims);
        EXPECT_EQ(crop.min[0], test.expected_min) << test.name;
        EXPECT_EQ(crop.max[0], test.expected_max) << test.name;
        EXPECT_EQ(crop.end[0], test.dim) << test.name;
        KeptNodes kept;
        ASSERT_TRUE(select_nodes(header, crop, kept)) << test.name;
        std::vector<xp_long> nodes;
        for (xp_long i = 0; i < kept.axis[0].count; ++i) nodes.push_back(kept.axis[0].node(i));
        EXPECT_EQ(nodes, test.nodes) << test.name;
    }
}

}  // namespace
}  // namespace zam::ldrf
