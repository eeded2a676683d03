// Numbers in text and bytes into values, below the module.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>

#include "base/file_handle.h"
#include "contract/types.h"
#include "embedded/host.h"
#include "modules/zam/ld_rdfld/ascii_values.h"
#include "modules/zam/ld_rdfld/crop.h"
#include "modules/zam/ld_rdfld/value_reader.h"

namespace zam::ldrf {
namespace {

FileHandle file_with(const std::string& bytes) {
    FileHandle file(std::tmpfile());
    std::fwrite(bytes.data(), 1, bytes.size(), file.get());
    return file;
}

/// A cursor over a file's words, and what it borrows.
struct Words {
    explicit Words(const std::string& text) : file(file_with(text)) { bytes.attach(file.get()); }

    FileHandle file;
    FileBytes bytes;
    AsciiCursor cursor{bytes};
};

struct NumberCase {
    std::string text;
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
    // words of 1024 characters are numbers, longer ones are not
    {std::string(1021, '0') + "1D0", 1, 1},
    {std::string(1022, '0') + "1D0", kNone, kNone},
    {std::string(1024, '0'), 0, 0},
    {std::string(1025, '0'), kNone, kNone},
};

TEST(AsciiNumbers, AreReadOrRefusedWhole) {
    const auto read_as = [](const NumberCase& number, auto value, double expected) {
        Words words("skipped\n \t" + number.text + "\n");
        ASSERT_EQ(words.cursor.skip_lines(1), 1);
        EXPECT_EQ(words.cursor.read(value), !std::isnan(expected)) << number.text;
        if (!std::isnan(expected)) {
            EXPECT_DOUBLE_EQ(static_cast<double>(value), expected) << number.text;
        }
    };
    for (const NumberCase& number : kNumbers) {
        read_as(number, double{}, number.real);
        read_as(number, std::int32_t{}, number.integer);
    }
}

TEST(AsciiNumbers, BytesTakeTheLowByte) {
    Words words("300 -1 255.9");
    std::uint8_t value = 0;
    for (const int expected : {44, 255, 255}) {
        ASSERT_TRUE(words.cursor.read(value));
        EXPECT_EQ(value, expected);
    }
}

TEST(AsciiNumbers, WordsAndBlanksAcrossBlocks) {
    // words lie across the ends of the reading blocks, one of them longer than any number and than a block
    std::string text;
    for (int i = 0; i < 60000; ++i) text += std::to_string(i) + (i % 3 == 0 ? "\r\n" : "\f  ");
    text += std::string(600000, 'x') + std::string(600000, ' ') + "17";
    Words words(text);
    AsciiCursor& cursor = words.cursor;
    int value = -1;
    for (int i = 0; i < 60000; ++i) {
        ASSERT_TRUE(cursor.read(value));
        ASSERT_EQ(value, i);
    }
    EXPECT_FALSE(cursor.read(value));
    ASSERT_EQ(cursor.skip_words(1), 1);
    ASSERT_TRUE(cursor.read(value));
    EXPECT_EQ(value, 17);
    EXPECT_EQ(cursor.position(), static_cast<xp_long>(text.size()));
    EXPECT_EQ(cursor.skip_words(1), 0);
}

/// `count` nodes, of which every `keep`-th is kept.
KeptNodes line(xp_long count, xp_long keep = 1) {
    KeptNodes kept;
    kept.ndim = 1;
    kept.axis[0] = {.full = count, .factor = static_cast<double>(keep), .count = (count - 1) / keep + 1};
    kept.full_nodes = count;
    kept.nodes = kept.axis[0].count;
    return kept;
}

TEST(Decoding, TypesThatCannotBeDecodedSaySo) {
    const FileHandle file = file_with("12345678");
    std::byte value[8];
    const auto read = [&](const Encoding& encoding, const KeptNodes& kept) {
        ValueReader reader;
        reader.attach(file.get());
        reader.begin({}, encoding);
        return reader.read(kept, value);
    };
    testing::internal::CaptureStderr();
    EXPECT_EQ(read({DTYPE_CHAR, true, false}, line(1))->kind, Fault::not_decoded);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field2: LDRFread_stuff_all: unknown dtype\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(read({7, false, false}, line(2, 2))->kind, Fault::not_decoded);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field3: read_stuff2: unknown dtype\n");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(read({DTYPE_BYTE, false, true}, line(1)));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field: can't swap bytes\n");
    EXPECT_EQ(value[0], std::byte{'1'});
}

TEST(Decoding, NegativeLongsOfFourBytes) {
    std::string wire("\xff\xff\xff\xfe\x00\x00\x00\x07", 8);
    xp_long values[2] = {};
    ASSERT_TRUE(decode_values(reinterpret_cast<std::byte*>(wire.data()), {DTYPE_LONG, true, false},
                              reinterpret_cast<std::byte*>(values), 2));
    EXPECT_EQ(values[0], -2);
    EXPECT_EQ(values[1], 7);
}

struct ShortCase {
    const char* name;
    bool swap;
    xp_long bytes, nodes, keep, stride;  // of the file; of the source
    xp_long asked, got;                  // bytes from the first value kept to the last
};

const ShortCase kShort[] = {
    {"contiguous", false, 6, 2, 1, 1, 8, 6},
    {"contiguous_swapped", true, 6, 2, 1, 1, 8, 6},
    {"strided", false, 17, 4, 1, 2, 28, 17},
    {"strided_in_blocks", false, 3'000'005, 10, 1, 100'000, 3'600'004, 3'000'005},
    {"thinned_and_strided_in_blocks", false, 3'000'005, 10, 2, 100'000, 3'200'004, 3'000'005},
    {"thinned", true, 30, 9, 4, 1, 36, 30},
};

TEST(Decoding, ShortReadSaysHowMuchWasThere) {
    for (const ShortCase& test : kShort) {
        const FileHandle file = file_with(std::string(static_cast<std::size_t>(test.bytes), 'x'));
        ValueReader reader;
        reader.attach(file.get());
        reader.begin({.stride = test.stride}, {DTYPE_INT, false, test.swap});
        std::byte values[64];
        const auto fault = reader.read(line(test.nodes, test.keep), values);
        ASSERT_TRUE(fault) << test.name;
        EXPECT_EQ(fault->kind, Fault::short_read) << test.name;
        EXPECT_EQ(fault->asked, test.asked) << test.name;
        EXPECT_EQ(fault->got, test.got) << test.name;
    }
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
    {"one_node_beyond", 1, 1, 1.0F, 1, 0, 0, {0}},
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
